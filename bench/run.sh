#!/bin/sh
# Runs every benchmark of a build folder; each measures a reference in the
# same run and prints its ratio to it. At the end, one table of them all:
# the work, its reference, the ratio, the goal and whether it holds.
set -e
build="${1:-build/default}"
status=0
results=$(mktemp)
trap 'rm -f "$results"' EXIT
for bench in "$build"/bench/bench_*; do
  [ -x "$bench" ] || continue
  echo "== $(basename "$bench")"
  "$bench" | tee -a "$results" | grep -v '^@result' || status=1
done
echo
grep '^@result' "$results" | cut -f2- | awk -F '\t' '
  BEGIN { printf "%-44s %9s  %-28s %9s %7s %9s  %s\n", "work", "s", "reference", "s", "ratio", "goal", "holds" }
  { printf "%-44s %9s  %-28s %9s %7s %9s  %s\n", $1, $2, $3, $4, $5, $6, $7 }'
exit $status
