# The two commands of the README: `make run` and `make test`.
.PHONY: setup build run test asan fuzz bench clean

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

asan: setup
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@ctest --preset asan

fuzz: setup
	@./tools/fuzz.sh

bench: build
	@./bench/run.sh build/default

clean:
	rm -rf build
