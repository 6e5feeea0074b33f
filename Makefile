# The two entry points: `make demo` and `make test`. Both install what is
# missing from Debian first, then configure and build with CMake.
# Cross builds (they install the cross compilers and qemu-user if missing):
# `make test-bigendian` runs the unit and system tests against an s390x
# daemon under qemu-s390x; `make cross-ppc` builds the static PowerPC
# daemon in build-ppc/.
JOBS ?= $(shell nproc)
# Cross compiling the generated bindings takes much memory per job.
CROSS_JOBS ?= 2

.PHONY: all deps build build-asan build-hardened build-fuzz test test-plain test-asan test-hostile fuzz check-onvif demo bench clean test-bigendian cross-ppc

all: build

deps:
	@scripts/bootstrap.sh

build: deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build build -j$(JOBS)

build-asan: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DVANTEL_SANITIZE=ON
	cmake --build build-asan -j$(JOBS)

test-plain: build
	ctest --test-dir build --output-on-failure -j2

test-asan: build-asan
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir build-asan --output-on-failure -j2

# For recorders on untrusted networks: every camera conversation and the
# command port under limits. test-hostile shows the hostile-camera table of
# both builds side by side.
build-hardened: deps
	cmake -S . -B build-hardened -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVANTEL_HARDENED=ON
	cmake --build build-hardened -j$(JOBS)

test-hostile: build build-hardened
	build/tests/system_tests --gtest_filter='Hostile*'
	build-hardened/tests/system_tests --gtest_filter='Hostile*'

# libFuzzer (clang): every target runs FUZZ_SECONDS, one per core at a time.
FUZZ_SECONDS ?= 30
build-fuzz:
	@scripts/bootstrap.sh clang libclang-rt-14-dev
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVANTEL_FUZZ=ON -DBUILD_TESTING=OFF
	cmake --build build-fuzz -j$(JOBS) --target fuzz_targets

fuzz: build-fuzz
	scripts/fuzz.sh build-fuzz $(FUZZ_SECONDS)

check-onvif:
	@scripts/check-onvif.sh

test: test-plain test-asan check-onvif

# The demo needs the daemon and vantelctl only, not the test suites.
demo: deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build build -j$(JOBS) --target vantel vantelctl
	scripts/demo.sh

test-bigendian: build
	JOBS=$(CROSS_JOBS) scripts/cross-s390x-test.sh

cross-ppc: deps
	JOBS=$(CROSS_JOBS) scripts/cross-ppc.sh

# Not part of `make test`: one table of CPU, instructions, wall, size and
# memory against a minimal client and libonvif (bench/README.md).
bench: build
	bench/run.sh

clean:
	rm -rf build build-asan build-hardened build-fuzz build-s390x build-ppc
