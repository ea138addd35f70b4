#!/bin/sh
# Builds the libFuzzer targets with clang and AddressSanitizer, and runs each
# for FUZZ_SECONDS (default 60) on its seed
# corpus. Fails on any crash: the input that made it is kept in
# build/fuzz/artifacts/<name>/.
set -e
cd "$(dirname "$0")/.."
seconds="${FUZZ_SECONDS:-60}"
if [ ! -f src/fuzz/CMakeLists.txt ]; then
  echo "fuzz: no fuzz targets"
  exit 0
fi
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
failed=""
for fuzzer in build/fuzz/fuzz/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  name=$(basename "$fuzzer")
  corpus="build/fuzz/corpus/$name"
  artifacts="build/fuzz/artifacts/$name"
  log="build/fuzz/$name.log"
  mkdir -p "$corpus" "$artifacts"
  seeds="src/fuzz/seeds/$name"
  [ -d "$seeds" ] || seeds=""
  echo "fuzz: $name for ${seconds}s"
  # The log, not a pipe: a pipe would hide the fuzzer's exit status.
  if "$fuzzer" -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=0 \
      -artifact_prefix="$artifacts/" "$corpus" $seeds >"$log" 2>&1; then
    tail -n 3 "$log"
  else
    status=$?
    tail -n 60 "$log"
    echo "fuzz: $name FAILED with status $status; inputs in $artifacts/"
    failed="$failed $name"
  fi
done
if [ -n "$failed" ]; then
  echo "fuzz: failures:$failed"
  exit 1
fi
