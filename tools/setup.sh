#!/bin/sh
# Installs every Debian package Slidebox needs to build, run and test.
# Idempotent and quiet when everything is already there. Works as root,
# or through sudo for another user.
set -e

PACKAGES="
  build-essential cmake ninja-build ccache pkg-config make
  qt6-base-dev qt6-base-dev-tools qt6-tools-dev qt6-tools-dev-tools
  qt6-l10n-tools qt6-translations-l10n qt6-image-formats-plugins qt6-qpa-plugins libgl-dev libxkbcommon-dev libxcb1-dev x11-utils
  liblcms2-dev libplist-dev libplist-utils libtiff-dev libjpeg-dev libpng-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  xvfb xauth xdotool openbox trayer findutils procps
  clang clang-format libclang-rt-14-dev
  colord-data icc-profiles-free libgs-common liblcms2-utils python3
  dpkg-dev fakeroot file lintian debootstrap appstream desktop-file-utils
  help2man man-db bash-completion
"

missing=""
for p in $PACKAGES; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing="$missing $p"
  fi
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" -eq 0 ]; then SUDO=""; else SUDO="sudo"; fi
echo "Installing:$missing"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
# shellcheck disable=SC2086
$SUDO apt-get install -y -qq --no-install-recommends $missing >/dev/null
