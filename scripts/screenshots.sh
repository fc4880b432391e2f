#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the pictures of docs/screenshots.md and the README anew: the desktop client against the demo gateway, on desktops
# of the script's own, in namespaces where the gateway has a name and nothing of this machine is seen. Asks nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=screenshots
. scripts/common.sh

usage() {
    cat <<'TEXT'
usage: scripts/screenshots.sh [--to DIRECTORY] [SCENE...]
  --to DIRECTORY  where the pictures go (default: docs/img)
  SCENE           one of those at the end of scripts/screenshots.py (default: all)
Installs what setup.sh does, and builds. Needs the Debian package libfaketime as well, for times that stay the same.
TEXT
}

# In the namespaces, as their root.
take_pictures() {
    mount -t tmpfs pictures /mnt
    mount -t tmpfs pictures /tmp
    echo "127.0.0.1 localhost gateway.example" >/mnt/hosts
    mount --bind /mnt/hosts /etc/hosts
    ip link set lo up
    export NEBRIX_BIN=$PWD/build/dev/bin NEBRIX_SCREENSHOTS=/mnt/others PYTHONDONTWRITEBYTECODE=1 TMPDIR=/mnt
    exec /usr/bin/python3 scripts/screenshots.py "$@"
}

target=docs/img
while [ $# -gt 0 ]; do
    case $1 in
        --to) target=${2-}; shift 2 || { usage >&2; exit 2; } ;;
        --inside) shift; take_pictures "$@" ;; # the script's own
        -h | --help) usage; exit 0 ;;
        -*) echo "screenshots: unknown option $1" >&2; usage >&2; exit 2 ;;
        *) break ;;
    esac
done

mkdir -p "$target"
target=$(realpath "$target")
case $PWD/:$target/ in
    *:/tmp/* | *:/mnt/* | /tmp/* | /mnt/*) fail "neither the checkout nor DIRECTORY can lie in /tmp or /mnt" ;;
esac
scripts/setup.sh --all
compgen -G '/usr/lib/*/faketime/libfaketime.so.1' >/dev/null ||
    fail "as root, run: apt-get install --no-install-recommends libfaketime"
need_writable_checkout
echo "== build (dev)"
logged "the configuration" build/logs/screenshots-configure.log cmake --preset dev -U NEBRIX_COMPONENT_PUBLIC_KEY
logged "the build" build/logs/screenshots-build.log cmake --build --preset dev --target \
    nebrixclient nebrix-component-host nebrix-demo-gateway nebrix_catalogs nebrix_images \
    nebrix-tunnel-simulated nebrix-notunnel nebrix-hostchecker test-plugin test-zoo
namespaces=(--mount --net --pid --fork --kill-child --mount-proc)
[ "$(id -u)" -eq 0 ] || namespaces+=(--user --map-root-user)
echo "== pictures"
unshare "${namespaces[@]}" scripts/screenshots.sh --inside "$target" "$@"
