# Two commands for a newcomer: `make demo` and `make test`. Each first runs
# scripts/setup.sh, which installs the Debian packages that are missing
# (KVDATA_SETUP=0 skips that).
JOBS ?= 2
SETUP = scripts/setup.sh

.PHONY: all build test demo test-asan bench fuzz fuzz-ci fuzz-build windows windows-test stress-test crash-test install clean

all: build

# Everything the tests need: library, tool, test programs.
build:
	$(SETUP) test
	cmake --preset default -DKVDATA_BUILD_TESTS=ON
	cmake --build --preset default -j $(JOBS)

test: build
	ctest --preset default

# Only the library and the tool, then the main job on a fresh data directory.
# The build folder is the one `make test` uses, so the library is built once.
demo:
	$(SETUP) demo
	cmake --preset default -DKVDATA_BUILD_TESTS=OFF
	cmake --build --preset default -j $(JOBS) --target kvdata kvdata_static kvdata_tool
	./build/tools/kvdata demo

# The stress and crash tests at full strength (the suite runs them small):
# KVSTRESS_WORKERS processes doing KVSTRESS_OPS operations each, for at most
# KVSTRESS_SECONDS; KVCRASH_TRIALS deaths per family.
STRESS_WORKERS ?= 8
STRESS_OPS ?= 20000
STRESS_SECONDS ?= 60
CRASH_TRIALS ?= 200
stress-test: build
	KVSTRESS_WORKERS=$(STRESS_WORKERS) KVSTRESS_OPS=$(STRESS_OPS) KVSTRESS_SECONDS=$(STRESS_SECONDS) \
	  ./build/tests/kvdata_stress_tests --gtest_filter='*Stress*'

crash-test: build
	KVCRASH_TRIALS=$(CRASH_TRIALS) ./build/tests/kvdata_stress_tests --gtest_filter='CrashTest.*'

test-asan:
	$(SETUP) test
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan

# libFuzzer targets (clang, libfuzzer-14-dev). Each target starts from the
# seeds the library makes and from its corpus of earlier runs under
# build-fuzz/corpus; `fuzz` runs each for FUZZ_SECONDS, `fuzz-ci` for about
# 30 s, and both print every target's execution count. A crash leaves its
# input as build-fuzz/crash-<target>-*: copy it into
# tests/fuzz/regressions/<target>/ so that `make test` replays it for good.
FUZZ_SECONDS ?= 600
FUZZ_TARGETS = dba items keyfile customers orders invoices numbers locklog
fuzz-build:
	$(SETUP) fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	./build-fuzz/fuzz/kvfuzz_seeds build-fuzz/corpus

fuzz: fuzz-build
	@FUZZ_SECONDS=$(FUZZ_SECONDS) scripts/run_fuzz.sh build-fuzz $(FUZZ_TARGETS)

# The short run for CI starts from the seeds with a fixed random seed: it
# repeats the same inputs on every machine, so it checks that nothing found
# before has come back; `make fuzz` is the one that explores.
fuzz-ci: fuzz-build
	@FUZZ_SECONDS=30 FUZZ_SEED=1 scripts/run_fuzz.sh build-fuzz $(FUZZ_TARGETS)

# The optimised user build (no tests, no -Werror), then every benchmark.
bench:
	$(SETUP) bench
	cmake --preset release
	cmake --build --preset release -j $(JOBS)
	@for b in build-release/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

# Installs the release build below PREFIX (default /usr/local).
PREFIX ?= /usr/local
install:
	$(SETUP) demo
	cmake --preset release -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build --preset release -j $(JOBS)
	cmake --install build-release

# kvdata.dll for 32- and 64-bit Windows (mingw-w64), with its import
# libraries libkvdata.dll.a and kvdata.lib.
windows:
	$(SETUP) windows
	cmake --preset mingw-i686
	cmake --build --preset mingw-i686 -j $(JOBS) --target kvdata
	cmake --preset mingw-x64
	cmake --build --preset mingw-x64 -j $(JOBS) --target kvdata

# Both test suites are compiled (the 32-bit one is not run); both DLLs'
# export tables are checked; the 64-bit suite runs under Wine in a private
# prefix. The prefix is set up first and its server left to finish: Wine's
# helper processes started on the way would otherwise inherit the test
# discovery's output pipe and keep it open.
WINE_ENV = WINEDEBUG=-all WINEPREFIX=$(CURDIR)/build-win64/wineprefix
# Under Wine a test gets one second try: Wine's own process start-up under
# load is slow and uneven; a test that fails twice still fails the run.
WINE_RETRY = --repeat until-pass:2
windows-test: windows
	cmake --build --preset mingw-i686 -j $(JOBS)
	cmake --build --preset mingw-x64 -j $(JOBS)
	scripts/check_exports.sh build-win32/kvdata.dll include/kvdata src/exports/kvdata.def
	scripts/check_exports.sh build-win64/kvdata.dll include/kvdata src/exports/kvdata.def
	$(WINE_ENV) wineboot -i >/dev/null 2>&1
	$(WINE_ENV) wineserver -w
	$(WINE_ENV) ctest --preset mingw-x64 $(WINE_RETRY); status=$$?; $(WINE_ENV) wineserver -k; exit $$status

clean:
	rm -rf build build-asan build-release build-fuzz build-win32 build-win64
