#!/usr/bin/env bash
# Checks that every C++ file under src/ and bench/ is laid out as .clang-format
# says; prints the files that are not (fix them with `make format`).
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"
bad=0
while IFS= read -r -d '' f; do
  if ! clang-format --dry-run -Werror "$f" >/dev/null 2>&1; then
    echo "not formatted: $f"
    bad=1
  fi
done < <(find src bench \( -name '*.cpp' -o -name '*.h' \) -print0)
exit $bad
