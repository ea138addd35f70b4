#!/bin/sh
# Starts the application from a build folder; until the desktop
# application exists there, shows what slidebox-cli offers.
build="${1:-build/default}"
if [ -x "$build/bin/slidebox" ]; then
  exec "$build/bin/slidebox"
fi
exec "$build/bin/slidebox-cli" --help
