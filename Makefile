# The two commands of the README: `make run` and `make test`.
.PHONY: setup build run test package package-check install-check asan fuzz bench format clean

export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := 1

setup:
	@./tools/setup.sh

build: setup
	@cmake --preset default >/dev/null
	@cmake --build --preset default

run: build
	@./tools/run.sh build/default

test: build
	@ctest --preset default

# The Debian package of the build, slidebox_<version>_<arch>.deb, put here.
package: build
	@rm -rf build/default/package slidebox_*.deb
	@cpack -G DEB --config build/default/CPackConfig.cmake -B build/default/package >/dev/null
	@cp build/default/package/slidebox_*.deb .
	@ls slidebox_*.deb

# The package checked with Debian's tools (also part of `make test`), then
# installed into a bare Debian 12 root and run from there.
package-check: build
	@ctest --preset default -L package

install-check: package
	@./tools/install_check.sh slidebox_*.deb

# GCC 12's leak checker follows the __tls_get_addr interception into a
# dynamic TLS slot glibc has not filled (Qt's image plugins make one) and
# crashes at exit; without the interception it still scans every thread's TLS.
# tools/lsan.supp names the system libraries whose own leaks are not ours.
asan: setup
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@ASAN_OPTIONS="$${ASAN_OPTIONS:+$$ASAN_OPTIONS:}intercept_tls_get_addr=0" \
	  LSAN_OPTIONS="$${LSAN_OPTIONS:+$$LSAN_OPTIONS:}suppressions=$(CURDIR)/tools/lsan.supp" \
	  ctest --preset asan

fuzz: setup
	@./tools/fuzz.sh

bench: build
	@./bench/run.sh build/default

# Lays out every C++ file as .clang-format says (make test checks it).
format:
	@find src bench \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format -i

clean:
	rm -rf build
