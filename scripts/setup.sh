#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages that the project needs, as root or through sudo. Asks nothing; what is there is left alone.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=setup
. scripts/common.sh

usage() {
    cat <<'TEXT'
usage: scripts/setup.sh [--demo | --package | --all] [--list]
  --demo     what building the programs and running the demo needs
  --package  what packaging/package.sh needs as well
  --all      what tests, benchmarks, fuzzing and the checks need as well (default)
  --list     print the packages, one a line, and install nothing
TEXT
}

demo_packages=(
    cmake ninja-build g++ pkg-config
    libcurl4-openssl-dev libssl-dev libjsoncpp-dev libcpp-httplib-dev libpcre2-dev zlib1g-dev libbrotli-dev libelf-dev
    libarchive-dev libidn2-dev libproxy-dev libsystemd-dev
    ca-certificates curl openssl unzip zip procps
    openvpn iproute2 iputils-ping
    libwxgtk3.2-dev wx3.2-i18n libgtk-3-dev libgtk-layer-shell-dev libwayland-dev libx11-dev libsm-dev gettext librsvg2-bin
)
package_packages=(dpkg-dev debhelper file lintian desktop-file-utils appstream python3)
check_packages=(
    clang-14 clang-tidy-14 clang-format-14 libclang-rt-14-dev llvm-14
    libgtest-dev libgmock-dev libbenchmark-dev
    libspdlog-dev libpugixml-dev libtinyxml2-dev libabsl-dev libboost-dev
    nginx-light tinyproxy valgrind zsh fish
    xvfb xauth openbox tint2 sway xwayland grim xdotool x11-utils imagemagick dbus dbus-daemon at-spi2-core adwaita-icon-theme fonts-dejavu-core
    python3-gi python3-jsonschema python3-polib python3-xlib
)

set_name=all
list=no
for argument in "$@"; do
    case $argument in
        --demo | --package | --all) set_name=${argument#--} ;;
        --list) list=yes ;;
        -h | --help) usage; exit 0 ;;
        *) echo "setup: unknown option $argument" >&2; usage >&2; exit 2 ;;
    esac
done
packages=("${demo_packages[@]}")
[ "$set_name" = demo ] || packages+=("${package_packages[@]}")
[ "$set_name" != all ] || packages+=("${check_packages[@]}")
if [ "$list" = yes ]; then
    printf '%s\n' "${packages[@]}"
    exit 0
fi

is_installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

missing=()
for package in "${packages[@]}"; do
    is_installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    echo "setup: all ${#packages[@]} packages are installed"
    exit 0
fi

# A derivative names the release that it is made from beside its own.
release=$(. /etc/os-release 2>/dev/null; echo "${DEBIAN_CODENAME:-${VERSION_CODENAME-}} ${PRETTY_NAME-another system}")
case ${release%% *}:$set_name in
    bookworm:* | trixie:demo | trixie:package) ;;
    *) fail "this is ${release#* }; Debian 12 (bookworm), and without --all Debian 13 (trixie), are supported, \
and ${#missing[@]} packages are missing here" ;;
esac

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    by_hand="${#missing[@]} packages are missing; as root, run: $PWD/scripts/setup.sh --$set_name"
    command -v sudo >/dev/null || fail "$by_hand"
    as_root=(sudo -n)
    if ! sudo -n true 2>/dev/null; then
        # Without a terminal sudo could only fail; with one it asks for the password itself.
        [ -t 0 ] || fail "$by_hand"
        sudo true || fail "$by_hand"
        as_root=(sudo)
    fi
fi

install_missing() {
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y
        -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=600)
    "${apt[@]}" update
    "${apt[@]}" install --no-install-recommends "${missing[@]}"
}

# Not below build/, which may be for others to write.
log=$(mktemp --suffix=.log -t nebrix-setup-XXXXXX)
echo "setup: installing ${#missing[@]} of ${#packages[@]} packages"
logged "installing packages (is there a network?)" "$log" install_missing
rm -f "$log"
echo "setup: installed"
