#!/usr/bin/env bash
# Installs the Debian packages that the project needs, as root or through sudo. Asks nothing; what is there is left alone.
set -euo pipefail

usage() {
    cat <<'TEXT'
usage: scripts/setup.sh [--demo | --all] [--list]
  --demo   what building the programs and running the demo needs
  --all    what tests, benchmarks, fuzzing and the checks need as well (default)
  --list   print the packages, one a line, and install nothing
TEXT
}

demo_packages=(
    cmake ninja-build g++ pkg-config
    libcurl4-openssl-dev libssl-dev libjsoncpp-dev libcpp-httplib-dev libpcre2-dev zlib1g-dev libbrotli-dev libelf-dev
    libidn2-dev
    ca-certificates curl openssl unzip zip procps
    libwxgtk3.2-dev wx3.2-i18n libgtk-3-dev libdbusmenu-glib-dev libx11-dev libsm-dev gettext librsvg2-bin
)
check_packages=(
    clang-14 clang-tidy-14 clang-format-14 libclang-rt-14-dev llvm-14
    libgtest-dev libgmock-dev libbenchmark-dev
    libspdlog-dev libpugixml-dev libtinyxml2-dev libabsl-dev libboost-dev
    nginx-light tinyproxy valgrind python3
    xvfb xauth openbox tint2 xdotool x11-utils imagemagick dbus dbus-daemon at-spi2-core adwaita-icon-theme fonts-dejavu-core
    python3-gi python3-polib python3-xlib
    dpkg-dev file lintian desktop-file-utils appstream
)

packages=("${demo_packages[@]}" "${check_packages[@]}")
list=no
for argument in "$@"; do
    case $argument in
        --demo) packages=("${demo_packages[@]}") ;;
        --all) packages=("${demo_packages[@]}" "${check_packages[@]}") ;;
        --list) list=yes ;;
        -h | --help) usage; exit 0 ;;
        *) echo "setup: unknown option $argument" >&2; usage >&2; exit 2 ;;
    esac
done
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

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "setup: these packages are missing, and installing them needs root or sudo: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo -n)
    if ! sudo -n true 2>/dev/null; then
        # Without a terminal sudo could only fail; with one it asks for the password itself.
        if [ ! -t 0 ]; then
            echo "setup: sudo needs a password; run as root: apt-get install ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
fi

apt() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o Dpkg::Use-Pty=0 "$@"
}

echo "setup: installing ${missing[*]}"
apt update
apt install --no-install-recommends "${missing[@]}"
echo "setup: installed ${#missing[@]} packages"
