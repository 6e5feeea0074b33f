# 32-bit big-endian PowerPC Linux, the recorder's board: Debian's cross
# compiler (g++-powerpc-linux-gnu), fully static, sized for a small flash.
# zlib and wolfSSL are cross-built from Debian's source packages by
# scripts/cross-ppc.sh into VANTEL_PPC_PREFIX; the gSOAP runtime is the one
# every build compiles (cmake/onvif.cmake).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
# Archives of link-time-optimised objects need the plugin-aware tools.
set(CMAKE_AR powerpc-linux-gnu-gcc-ar)
set(CMAKE_RANLIB powerpc-linux-gnu-gcc-ranlib)

if(NOT VANTEL_PPC_PREFIX)
  get_filename_component(VANTEL_PPC_PREFIX ${CMAKE_CURRENT_LIST_DIR}/../../build/ppc-prefix ABSOLUTE)
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VANTEL_PPC_PREFIX)

set(CMAKE_FIND_ROOT_PATH ${VANTEL_PPC_PREFIX} /usr/powerpc-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# glibc's time_t is 32 bits on ppc32 unless asked otherwise; a UsernameToken
# made after 2038-01-19 would carry 1969 as its creation time. Everything
# that sees a time_t (wolfSSL, the gSOAP runtime and plugins, our code) is
# built with the 64-bit one. Each function and object in its own section,
# so that the linker drops what nothing calls; no position-independent code
# (Debian's default), which a fixed-address static program does not need and
# which costs a GOT pointer set-up in every function on ppc32.
set(VANTEL_PPC_FLAGS "-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64 -fno-pie -ffunction-sections -fdata-sections")
set(CMAKE_C_FLAGS_INIT "${VANTEL_PPC_FLAGS}")
# stdsoap2.h includes <iostream>, whose static initialiser builds the
# standard streams and with them every locale facet of libstdc++ and the
# wide-character and iconv parts of glibc: a megabyte that nothing here
# uses (the daemon prints with stdio). <iostream> is made empty, and the
# stream classes the gSOAP runtime names come from <istream>; any use of
# std::cout and the like then fails to compile rather than to run.
set(CMAKE_CXX_FLAGS_INIT "${VANTEL_PPC_FLAGS} -D_GLIBCXX_IOSTREAM -include istream")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--gc-sections")
# A map file next to every program, for scripts/size-breakdown.py.
set(CMAKE_CXX_LINK_EXECUTABLE
  "<CMAKE_CXX_COMPILER> <FLAGS> <CMAKE_CXX_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET> -Wl,-Map=<TARGET>.map <LINK_LIBRARIES>")
# 64-bit atomics are library calls on ppc32.
set(CMAKE_C_STANDARD_LIBRARIES "-latomic")
set(CMAKE_CXX_STANDARD_LIBRARIES "-latomic")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc)
