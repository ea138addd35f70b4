#!/bin/sh
# Runs every benchmark of a build folder; each prints its ratio to a
# reference measured in the same run.
set -e
build="${1:-build/default}"
status=0
for bench in "$build"/bench/bench_*; do
  [ -x "$bench" ] || continue
  echo "== $(basename "$bench")"
  "$bench" || status=1
done
exit $status
