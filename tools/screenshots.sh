#!/bin/sh
# Pictures of the application's windows (main window in the floating and
# the normal kind with several libraries, preferences, new-library dialog,
# help, about), taken under a virtual X server so that they show what a
# desktop shows. Usage: tools/screenshots.sh [build folder] [output folder]
set -eu
build="${1:-build/default}"
out="${2:-$build/screenshots}"
program="$build/tools/slidebox-screenshots"
if [ ! -x "$program" ]; then
  echo "screenshots: $program is missing; build first (make build)" >&2
  exit 1
fi
mkdir -p "$out"
QT_QPA_PLATFORM=xcb exec xvfb-run -a -s "-screen 0 1280x800x24" "$program" "$out"
