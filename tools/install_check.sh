#!/bin/bash
# Installs the Debian package into a bare Debian 12 root and runs the
# programs from there, with no build tree in sight:
#   tools/install_check.sh [PACKAGE.deb]      (default: the one `make package` made)
# The minimal root is made once by debootstrap from the Debian mirror apt
# uses on this machine and kept under ~/.cache/slidebox/debootstrap, with
# the packages apt downloads into it. Needs root (chroot, mount).
set -euo pipefail
if [[ $(id -u) != 0 ]]; then exec sudo "$0" "$@"; fi
cd "$(dirname "$0")/.."

deb=${1:-$(ls slidebox_*.deb 2>/dev/null | tail -n 1)}
[[ -f $deb ]] || { echo "install_check: no package; run 'make package' first" >&2; exit 2; }
cache=${SLIDEBOX_DEBOOTSTRAP_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/slidebox/debootstrap}
suite=bookworm
started=$SECONDS

# "URI SUITE" of every Debian 12 source apt knows here, one-line or deb822.
debian_sources() {
    local file
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
        [[ -f $file ]] && cat "$file" && echo
    done | awk -v suite="$suite" '
        /^deb[ \t]/ { line = $0; gsub(/\[[^]]*\]/, "", line); split(line, f)
                      if (f[3] ~ "^" suite "(-updates|-security)?$") print f[2], f[3]; next }
        /^Types:/ { deb = ($0 ~ /[ \t]deb([ \t]|$)/) }
        /^URIs:/ { uri = $2 }
        /^Suites:/ { if (deb) for (i = 2; i <= NF; i++) if ($i ~ "^" suite "(-updates|-security)?$") print uri, $i }
        /^$/ { deb = 0; uri = "" }'
}
sources=$(debian_sources)
mirror=$(awk -v suite="$suite" '$2 == suite { print $1; exit }' <<<"$sources")
[[ -n $mirror ]] || { echo "install_check: apt here has no $suite source" >&2; exit 1; }

base=$cache/$suite-minbase.tar
mkdir -p "$cache/archives/partial"
if [[ ! -f $base ]]; then
    echo "install_check: making the bare $suite root (once)"
    fresh=$(mktemp -d /tmp/slidebox-debootstrap.XXXXXX)
    mount -t tmpfs -o size=2g tmpfs "$fresh" 2>/dev/null || true
    made=0
    debootstrap --variant=minbase "$suite" "$fresh" "$mirror" >"$cache/debootstrap.log" 2>&1 &&
        tar -C "$fresh" -cf "$base.part" . && mv "$base.part" "$base" && made=1
    umount "$fresh" 2>/dev/null || true
    rm -rf --one-file-system "$fresh"
    ((made)) || { tail -n 20 "$cache/debootstrap.log" >&2; exit 1; }
    echo "install_check: bare root made in $((SECONDS - started)) s"
fi

root=$(mktemp -d /tmp/slidebox-root.XXXXXX)
mounts=()
cleanup() {
    local m
    for ((m = ${#mounts[@]} - 1; m >= 0; m--)); do umount -l "${mounts[m]}" 2>/dev/null || true; done
    rm -rf --one-file-system "$root"
}
trap cleanup EXIT
# In memory where the system allows: unpacking and removing a root of a few
# hundred megabytes on disk takes longer than all the rest.
mount -t tmpfs -o size=2g tmpfs "$root" 2>/dev/null && mounts+=("$root")
tar -C "$root" -xf "$base"
chmod 755 "$root" # apt's download user walks it
for m in proc dev; do
    mount --bind "/$m" "$root/$m" && mounts+=("$root/$m")
done
mount --bind "$cache/archives" "$root/var/cache/apt/archives" && mounts+=("$root/var/cache/apt/archives")
awk '{ print "deb", $1, $2, "main" }' <<<"$sources" >"$root/etc/apt/sources.list"
cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true
cp "$deb" "$root/tmp/"
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 "$@"; }

step=$SECONDS
inside apt-get update -qq
# Without the recommendations of the dependencies, to show that Depends
# suffice; with the package's own (the profiles the colour toolkit reads).
recommends=$(dpkg-deb -f "$deb" Recommends | tr -d ',')
# shellcheck disable=SC2086
inside env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    -o Dpkg::Options::=--force-unsafe-io "/tmp/$(basename "$deb")" $recommends >"$root/tmp/apt.log" 2>&1 ||
    { tail -n 30 "$root/tmp/apt.log" >&2; exit 1; }
echo "install_check: installed with its dependencies in $((SECONDS - step)) s"

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

version=$(inside slidebox-cli --version) || fail "slidebox-cli --version"
echo "$version"
[[ $version == "slidebox-cli $(dpkg-deb -f "$deb" Version)" ]] || fail "version '$version' is not the package's"

profile=$(inside find /usr/share/color/icc -name '*.icc' | sort | head -n 1)
if [[ -z $profile ]]; then
    fail "no ICC profile installed with the package"
else
    inside slidebox-cli icc info "$profile" >"$root/tmp/info.txt" || fail "slidebox-cli icc info $profile"
    head -n 3 "$root/tmp/info.txt"
    grep -qx 'valid: yes' "$root/tmp/info.txt" || fail "icc info does not find $profile valid"
fi

# icc transform and icc compare run in programs of their own: the package's
# film strip into Lab, compared with itself, the gamut image's words drawn
# by the module icc compare loads for them.
if inside slidebox-cli icc transform --src "/usr/share/slidebox/icc/sRGB Profile.icc" \
    /usr/share/slidebox/slidebox.png /tmp/lab.tif; then
    inside slidebox-cli icc compare /tmp/lab.tif /tmp/lab.tif /tmp/gamut.png >"$root/tmp/compare.txt" ||
        fail "slidebox-cli icc compare of the transformed image"
    grep -qx 'no-difference: yes' "$root/tmp/compare.txt" || fail "icc compare finds a difference"
    [[ -s $root/tmp/gamut.png ]] || fail "icc compare wrote no gamut image"
else
    fail "slidebox-cli icc transform"
fi

# The application keeps running until it is told to quit: alive after five
# seconds offscreen is the pass; its log must not say a resource is missing.
status=0
mkdir -m 700 "$root/tmp/runtime"
inside env QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=/tmp/runtime timeout 5 slidebox >"$root/tmp/app.log" 2>&1 || status=$?
echo "slidebox ran offscreen for 5 s; its log:"; head -n 5 "$root/tmp/app.log"
[[ $status == 124 ]] || fail "slidebox ended with status $status"
if grep -iE "cannot|can't|could not|not found|no such" "$root/tmp/app.log"; then
    fail "slidebox complains when started from the package"
fi

echo "install_check: $((SECONDS - started)) s before clean-up"
exit $((failures > 0))
