#!/usr/bin/env bash
# Checks that every C++ file under src/ and bench/ is laid out as .clang-format
# says; names the files that are not (`make format` lays them out).
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"
out=$(find src bench \( -name '*.cpp' -o -name '*.h' \) -print0 |
  xargs -0 clang-format --dry-run -Werror 2>&1) && exit 0
echo "$out" | grep -o '^[^:]*\.\(cpp\|h\):' | sort -u | sed 's/:$//; s/^/not formatted: /'
exit 1
