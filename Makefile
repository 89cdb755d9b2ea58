# Two commands for a newcomer: `make test` and `make demo`.
JOBS ?= 2

.PHONY: all build test demo test-asan bench clean

all: build

build:
	cmake --preset default
	cmake --build --preset default -j $(JOBS)

test: build
	ctest --preset default

demo: build
	./build/tools/kvdata demo

test-asan:
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan

bench:
	cmake --preset release
	cmake --build --preset release -j $(JOBS)
	@for b in build-release/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

clean:
	rm -rf build build-asan build-release
