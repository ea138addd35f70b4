#!/bin/sh
# Runs a test in a PID namespace of its own, with its own /proc, so that it
# sees and signals only the processes it started (and whatever it leaves
# behind ends with it). As root the namespace is made directly; otherwise in
# a user namespace, where the machine allows one. Where neither can be made
# the test runs as it is, and the lock the tests hold keeps them apart.
if unshare --pid --fork --mount-proc true 2>/dev/null; then
    exec unshare --pid --fork --mount-proc -- "$@"
fi
if unshare --user --map-current-user --pid --fork --mount-proc true 2>/dev/null; then
    exec unshare --user --map-current-user --pid --fork --mount-proc -- "$@"
fi
exec "$@"
