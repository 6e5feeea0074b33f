# The two entry points: `make demo` and `make test`. Both install what is
# missing from Debian first, then configure and build with CMake.
JOBS ?= $(shell nproc)

.PHONY: all deps build build-asan test test-plain test-asan check-onvif demo clean

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

check-onvif:
	@scripts/check-onvif.sh

test: test-plain test-asan check-onvif

demo: build
	scripts/demo.sh

clean:
	rm -rf build build-asan
