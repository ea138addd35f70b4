#!/bin/sh
# Pictures of the application's windows (main window in every kind with
# several libraries, the status item kind docked and loose with its tray
# icon, preferences, new-library dialog, help, about), taken under a
# virtual X server with a window manager and a panel's tray, so that they
# show what a desktop shows. Where openbox or trayer is missing the
# pictures are taken without it (the status item then shows its handle).
# Usage: tools/screenshots.sh [build folder] [output folder]
set -eu
build="${1:-build/default}"
out="${2:-$build/screenshots}"
program="$build/tools/slidebox-screenshots"
if [ ! -x "$program" ]; then
  echo "screenshots: $program is missing; build first (make build)" >&2
  exit 1
fi
mkdir -p "$out"
session='
  pids=""
  if command -v openbox >/dev/null; then openbox >/dev/null 2>&1 & pids="$pids $!"; fi
  if command -v trayer >/dev/null; then
    trayer --edge top --align right --widthtype request --height 24 \
      --SetDockType true --SetPartialStrut true >/dev/null 2>&1 & pids="$pids $!"
  fi
  sleep 1
  status=0
  "$0" "$1" || status=$?
  [ -z "$pids" ] || kill $pids 2>/dev/null || true
  exit $status'
env -u DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM=xcb \
  xvfb-run -a -s "-screen 0 1280x800x24" sh -c "$session" "$program" "$out"
