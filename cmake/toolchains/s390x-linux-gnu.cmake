# s390x (64-bit big-endian) Linux with Debian's cross compiler
# (g++-s390x-linux-gnu) against build/sysroot-s390x, which
# scripts/sysroot-s390x.sh fills with the target's -dev packages.
#
# The sysroot is not CMAKE_SYSROOT: that would hide the cross glibc and
# libstdc++ in /usr/s390x-linux-gnu. Both are searched as find roots instead.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)

if(NOT VANTEL_SYSROOT)
  get_filename_component(VANTEL_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-s390x ABSOLUTE)
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VANTEL_SYSROOT)

set(CMAKE_FIND_ROOT_PATH ${VANTEL_SYSROOT} /usr/s390x-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The sysroot's headers, the multiarch folder first.
foreach(lang C CXX)
  set(CMAKE_${lang}_STANDARD_INCLUDE_DIRECTORIES
    ${VANTEL_SYSROOT}/usr/include/s390x-linux-gnu ${VANTEL_SYSROOT}/usr/include)
endforeach()

# Test discovery and ctest run the target's programs through qemu-user.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L /usr/s390x-linux-gnu)
