#!/bin/sh
# Starts the photo application from PATH, detached from the caller: a
# session of its own, no terminal, its output nowhere, so that it lives on
# after the caller and the caller's output ends with this script.

program=$(command -v iPhoto) || {
    echo "iPhoto was not found on PATH"
    exit 1
}
if command -v setsid > /dev/null; then
    setsid nohup "$program" < /dev/null > /dev/null 2>&1 &
else
    nohup "$program" < /dev/null > /dev/null 2>&1 &
fi
exit 0
