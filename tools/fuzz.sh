#!/bin/sh
# Builds the libFuzzer targets with clang and AddressSanitizer, and runs each
# for FUZZ_SECONDS (default 60) on its seed corpus. Fails on any crash.
set -e
cd "$(dirname "$0")/.."
seconds="${FUZZ_SECONDS:-60}"
if [ ! -f src/fuzz/CMakeLists.txt ]; then
  echo "fuzz: no fuzz targets"
  exit 0
fi
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
for fuzzer in build/fuzz/fuzz/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  name=$(basename "$fuzzer")
  corpus="build/fuzz/corpus/$name"
  mkdir -p "$corpus"
  seeds="src/fuzz/seeds/$name"
  [ -d "$seeds" ] || seeds=""
  echo "fuzz: $name for ${seconds}s"
  "$fuzzer" -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=0 "$corpus" $seeds 2>&1 | tail -n 3
done
