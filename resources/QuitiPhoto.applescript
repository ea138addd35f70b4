#!/bin/sh
# Quits the photo application: asks each running "iPhoto" process of this
# user to quit, as its Quit command would, and returns once they have all
# ended, so that its preference file may be rewritten afterwards. Gives up
# after 10 seconds and says so (the text goes to the caller's log).

# The ids of this user's processes named exactly "iPhoto" that still run
# (one that has ended and waits to be collected by its parent does not).
running() {
    for dir in /proc/[0-9]*; do
        [ -O "$dir" ] || continue
        read -r name 2>/dev/null < "$dir/comm" || continue
        [ "$name" = iPhoto ] || continue
        read -r stat 2>/dev/null < "$dir/stat" || continue
        case "${stat##*) }" in
            Z* | X*) continue ;;
        esac
        echo "${dir#/proc/}"
    done
}

pids=$(running)
[ -n "$pids" ] || exit 0
kill -TERM $pids 2>/dev/null

tries=0
while [ "$tries" -lt 100 ]; do
    [ -n "$(running)" ] || exit 0
    sleep 0.1
    tries=$((tries + 1))
done
echo "iPhoto did not quit within 10 seconds"
exit 1
