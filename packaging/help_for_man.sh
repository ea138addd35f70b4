#!/bin/sh
# What help2man reads of a program: its own --help and --version, with each
# synopsis that runs over several lines joined into one, so that every
# command stays one entry of the man page.  Usage: help_for_man.sh PROGRAM ARG
program=$1
shift
if [ "$1" != --help ]; then
    exec "$program" "$@"
fi
"$program" --help | awk '
    # Indented 3 to 30 columns: the rest of the synopsis above (descriptions
    # stand at column 31).
    /^   +[^ ]/ && match($0, /[^ ]/) <= 31 && held != "" { sub(/^ +/, " "); held = held $0; next }
    { if (NR > 1) print held; held = $0 }
    END { print held }'
