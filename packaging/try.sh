#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes a bare Debian, builds the packages in a copy of it, and tries each package alone in another: installs it, has its
# programs do what they are for, purges it, and looks for what is left. As root; needs debootstrap and a network.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=try
. scripts/common.sh

usage() {
    cat <<'TEXT'
usage: packaging/try.sh SUITE [DIRECTORY] [PACKAGE...]
  SUITE      bookworm or trixie
  DIRECTORY  where the systems lie, and stay for the next time; /var/tmp/nebrix-SUITE by default
  PACKAGE    only these
Packages are made for the release that they are built in: libraries have other names in another. Where NEBRIX_TRY_PACKAGES
names a folder, the packages in it are tried, which were built on that release, and none are built.
TEXT
}

case ${1-} in
    bookworm | trixie) suite=$1 ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
esac
top=${2:-/var/tmp/nebrix-$suite}
shift $(($# < 2 ? $# : 2))
wanted=("$@")
[ "$(id -u)" -eq 0 ] || fail "only root can make a system" 2

# What is mounted and started for the trials ends with this script, however it ends.
if [ "${NEBRIX_TRY_INSIDE-}" != yes ]; then
    NEBRIX_TRY_INSIDE=yes exec unshare --mount --pid --fork --kill-child --mount-proc \
        "$0" "$suite" "$top" "${wanted[@]}"
fi

mkdir -p "$top/logs"
pristine=$top/pristine
builder=$top/builder
machine=$top/machine
source=/usr/src/nebrix

make_pristine() {
    [ ! -e "$pristine/etc/debian_version" ] || return 0
    debootstrap --variant=minbase "$suite" "$pristine" ${NEBRIX_TRY_MIRROR:+"$NEBRIX_TRY_MIRROR"}
    # This machine's way to its mirror, if it has one of its own.
    cp /etc/apt/apt.conf.d/99* "$pristine/etc/apt/apt.conf.d/" 2>/dev/null || true
    rm -f "$pristine"/var/cache/apt/archives/*.deb
}

# fresh SYSTEM: a copy of the bare one.
fresh() {
    umount -R "$1/proc" "$1/dev" "$1/tmp" 2>/dev/null || true
    rm -rf --one-file-system "$1"
    cp -a --reflink=auto "$pristine" "$1"
    cp /etc/resolv.conf "$1/etc/resolv.conf"
    enter "$1"
}

enter() {
    mount -t proc proc "$1/proc"
    mount --rbind /dev "$1/dev"
    mount -t tmpfs -o mode=1777 tmpfs "$1/tmp"
}

# become SYSTEM COMMAND...: in place of the shell, so that $! is the command.
become() {
    local system=$1
    shift
    exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        ${DISPLAY:+"DISPLAY=$DISPLAY"} chroot "$system" "$@"
}

# on SYSTEM COMMAND...
on() {
    (become "$@")
}

build() {
    if [ ! -e "$builder$source" ]; then
        fresh "$builder"
    else
        enter "$builder"
    fi
    mkdir -p "$builder$source/build/packages"
    if [ -n "${NEBRIX_TRY_PACKAGES-}" ]; then
        rm -f "$builder$source"/build/packages/*.deb
        cp "$NEBRIX_TRY_PACKAGES"/*.deb "$builder$source/build/packages/"
        on "$builder" apt-get -qq update
    else
        find "$builder$source" -mindepth 1 -maxdepth 1 ! -name build -exec rm -rf {} +
        tar --exclude=./build --exclude=./.git -cf - . | tar -xf - -C "$builder$source"
        on "$builder" "$source/packaging/package.sh"
    fi
    # The other end of what is tried: a gateway and a display.
    on "$builder" sh -c "apt-get -qq install --reinstall --no-install-recommends $source/build/packages/nebrix-sign_*.deb \
        xvfb xauth xdotool imagemagick"
}

packages_of() {
    on "$1" dpkg-query -W -f='${Package}\n' | sort
}

# Every file of the system but what apt, dpkg, systemd and the accounts' tools keep for themselves.
files_of() {
    find "$1" -xdev \( -path "$1/var/lib/apt" -o -path "$1/var/lib/dpkg" -o -path "$1/var/cache" -o -path "$1/var/log" \
        -o -path "$1/run" -o -path "$1/var/lib/systemd" -o -path "$1/var/lib/private" -o -path "$1/etc/mtab" \
        -o -path "$1/etc/default/locale" -o -path "$1/etc/vconsole.conf" \
        -o -path "$1/etc/machine-id" -o -path "$1/etc/shadow-" -o -path "$1/etc/gshadow-" \
        -o -path "$1/root" -o -path "$1/tmp" -o -path "$1/proc" -o -path "$1/dev" -o -path "$1/etc/ld.so.cache" \
        -o -path "$1/*/__pycache__" \) -prune -o -printf '/%P\n' | sort
}

# wait_for FILE PATTERN: at most half a minute.
wait_for() {
    local tenths=300
    until grep -qE "$2" "$1"; do
        [ $((tenths -= 1)) -gt 0 ] || { echo "no \"$2\":"; cat "$1"; return 1; }
        sleep 0.1
    done
}

# start_gateway SYSTEM PROGRAM [OPTION...]: in the background; sets gateway and gateway_log.
start_gateway() {
    gateway_log=$top/logs/gateway.out
    : >"$gateway_log"
    become "$@" >"$gateway_log" 2>&1 &
    gateway=$!
    wait_for "$gateway_log" '^listening '
}

stop() {
    kill -TERM "$1"
    wait "$1"
}

# link_to TYPE
link_to() {
    awk -v type="$1" '$1 == "mediation" && $2 == type { print $3 }' "$gateway_log"
}

# The gateway makes its certificate anew each time; this home trusts whatever it has.
trust_gateway() {
    local authority
    authority=$(sed -n 's/^listening //p' "$gateway_log")
    mkdir -p "$machine/root/.Nebrix"
    echo "<nebrixclient><sslcertignoredomains><domains>$authority</domains></sslcertignoredomains></nebrixclient>" \
        >"$machine/root/.Nebrix/nebrixclient.xml"
}

built_gateway() {
    start_gateway "$builder" nebrix-demo-gateway --continue 1
    trust_gateway
}

use_nebrixclient_cli() {
    built_gateway
    local out=$top/logs/client.out
    link_to hostchecker | on "$machine" nebrixclient-cli - >"$out"
    grep -qx 'status: session over' "$out"
    link_to plugindll | become "$machine" nebrixclient-cli --changes-only - >"$out" &
    wait_for "$out" '^vpn: connected'
    stop $!
    stop "$gateway"
    on "$machine" sh -c 'dpkg-query -L nebrixclient-cli | grep -q user/nebrixclient-cli@.service'
}

use_nebrixclient() {
    built_gateway
    local display=:77 windows
    become "$builder" Xvfb $display -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
    local server=$!
    local tenths=300
    until [ -S "$builder/tmp/.X11-unix/X77" ] || [ $((tenths -= 1)) -eq 0 ]; do
        sleep 0.1
    done
    mkdir -p "$machine/tmp/.X11-unix"
    mount --bind "$builder/tmp/.X11-unix" "$machine/tmp/.X11-unix"
    DISPLAY=$display become "$machine" nebrixclient "$(link_to plugindll)" >"$top/logs/desktop.out" 2>&1 &
    local client=$!
    wait_for "$machine/tmp/nebrixclient.log" 'DllStart2|plugindll|Module loaded'
    sleep 3
    windows=$(DISPLAY=$display on "$builder" xdotool search --onlyvisible --name '' | wc -l)
    DISPLAY=$display on "$builder" import -window root png:- >"$top/logs/desktop.png"
    [ "$windows" -gt 0 ]
    stop $client
    stop "$gateway"
    umount "$machine/tmp/.X11-unix"
    kill $server
}

use_nebrix_component_host() {
    local status=0
    on "$machine" /usr/libexec/nebrixclient/nebrix-component-host </dev/null >"$top/logs/host.out" 2>&1 || status=$?
    echo "by itself it ends with $status:"
    cat "$top/logs/host.out"
    [ $status -gt 0 ] && [ $status -lt 126 ]
}

use_nebrix_sign() {
    on "$machine" sh -euc '
        cd /tmp
        cp /usr/libexec/nebrix-demo-gateway/libnebrix-notunnel.so .
        nebrix-sign keygen private.pem public.pem
        nebrix-sign sign --key private.pem libnebrix-notunnel.so
        nebrix-sign verify --key public.pem libnebrix-notunnel.so
        nebrix-sign pack --key public.pem libnebrix-notunnel.so
        echo x >>libnebrix-notunnel.so
        ! nebrix-sign verify --key public.pem libnebrix-notunnel.so'
    start_gateway "$machine" nebrix-demo-gateway
    [ "$(grep -c '^mediation ' "$gateway_log")" -eq 3 ]
    stop "$gateway"
    on "$machine" sh -euc '
        apt-get -qq install --no-install-recommends gcc libc6-dev make >/dev/null
        cd /tmp
        for type in hostchecker notunnel tunnel; do
            nebrix-sign new $type my$type
            make -C my$type
            nebrix-sign check my$type/libmy$type.so
        done
        apt-get -qq install --no-install-recommends /packages/nebrixclient-cli_*.deb /packages/nebrix-component-host_*.deb
        make -C myhostchecker try
        make -C mytunnel try TRY="--seconds 5"'
}

use_nebrix_sdk() {
    on "$machine" sh -euc '
        cd /tmp
        apt-get -qq install --no-install-recommends cmake gcc libc6-dev libsystemd-dev make pkg-config >/dev/null
        cc -std=c99 -Wall -Wextra -Werror $(pkg-config --cflags nebrix-sdk) -I /usr/share/nebrix-sdk/components \
            /usr/share/nebrix-sdk/components/notunnel/*.c /usr/share/nebrix-sdk/components/common/*.c \
            $(pkg-config --libs nebrix-sdk) -o component.so
        cmake -S /usr/share/nebrix-sdk -B components
        cmake --build components
        mkdir project
        cp /usr/share/nebrix-sdk/templates/hostchecker.c project/
        printf "%s\n" "cmake_minimum_required(VERSION 3.18)" "project(mine LANGUAGES C)" \
            "find_package(nebrix-sdk 1.0 REQUIRED)" "nebrix_add_component(mine hostchecker.c)" >project/CMakeLists.txt
        cmake -S project -B built
        cmake --build built
        [ -s built/libmine.so ]'
}

# What its documents say, word for word, with each way of finding it.
use_libtessel_dev() {
    on "$machine" sh -euc '
        cd /tmp
        apt-get -qq install --no-install-recommends cmake g++ make pkg-config >/dev/null
        cmake -S /usr/share/doc/libtessel-dev/examples -B examples
        cmake --build examples
        ctest --test-dir examples --output-on-failure
        c++ -std=c++20 /usr/share/doc/libtessel-dev/examples/uri.cpp $(pkg-config --cflags --libs tessel-http) -o uri
        ./uri'
}

# Nor is kept what another package merely suggests.
purge() {
    on "$machine" apt-get -qq purge --autoremove -o APT::AutoRemove::RecommendsImportant=false \
        -o APT::AutoRemove::SuggestsImportant=false "$@"
}

# With its dependencies, the packages made here among them; with what it recommends, unless told otherwise.
install() {
    local name=$1 more=()
    shift
    case $name in nebrixclient*) more=(/packages/nebrix-component-host_*.deb) ;; esac
    on "$machine" sh -c "apt-get -qq install $* /packages/${name}_*.deb ${more[*]}"
}

try_package() {
    local name=$1 before with without
    fresh "$machine"
    mkdir "$machine/packages"
    cp "$builder$source"/build/packages/*.deb "$machine/packages/"
    on "$machine" apt-get -qq update
    packages_of "$machine" >"$top/packages.before"
    files_of "$machine" >"$top/files.before"
    before=$(wc -l <"$top/packages.before")
    with=$(on "$machine" sh -c "apt-get -s install /packages/${name}_*.deb /packages/nebrix-component-host_*.deb" |
        grep -c '^Inst ')
    install "$name" --no-install-recommends
    without=$(($(packages_of "$machine" | wc -l) - before))
    echo "$name: $without packages, $with with what is recommended"
    "use_${name//-/_}"
    case $name in
        # Debian 13 protects the init system, which GTK's session bus brings.
        nebrixclient) purge --allow-remove-essential "$name" nebrix-component-host systemd-sysv ;;
        nebrixclient-cli) purge "$name" nebrix-component-host ;;
        nebrix-sign) purge "$name" nebrixclient-cli nebrix-component-host gcc libc6-dev make ;;
        nebrix-sdk) purge "$name" cmake gcc libc6-dev libsystemd-dev make pkg-config ;;
        libtessel-dev) purge "$name" cmake g++ make pkg-config ;;
        *) purge "$name" ;;
    esac
    packages_of "$machine" | diff "$top/packages.before" -
    ! { files_of "$machine" | diff "$top/files.before" - || true; } | grep '^[<>]' || return 1
    echo "$name: nothing is left of it"
}

need_writable_checkout
echo "try: a bare $suite"
logged "making a system" "$top/logs/pristine.log" make_pristine
echo "try: building"
logged "building" "$top/logs/build.log" build
for name in nebrix-component-host nebrixclient-cli nebrix-sign nebrix-sdk libtessel-dev nebrixclient; do
    [ -z "${wanted[*]}" ] || [[ " ${wanted[*]} " = *" $name "* ]] || continue
    logged "trying $name" "$top/logs/$name.log" try_package "$name"
    grep -aE "^$name: ([0-9]+ packages|nothing)" "$top/logs/$name.log"
done
echo "try: everything is as it should be on $suite"
