#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Brings NetworkManager, its OpenVPN plug-in and a D-Bus daemon where they are not installed: unpacks them, with what
# they need, into build/networkmanager/root, which the demo and tests lay over /usr in namespaces of their own. Installed,
# it would take over the machine's devices. As root, for apt-get's sake; does nothing where all of it is there.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=networkmanager
. scripts/common.sh

root=build/networkmanager/root
new=$PWD/build/networkmanager/new

unpack() {
    local apt=(apt-get -q -y -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=600) archive
    rm -rf "$new"
    mkdir -p "$new/archives/partial" "$new/root/usr/bin" "$new/root/usr/sbin" "$new/root/usr/lib"
    ln -s usr/bin usr/sbin usr/lib "$new/root"
    "${apt[@]}" update
    "${apt[@]}" -o "Dir::Cache::archives=$new/archives" --download-only --no-install-recommends install \
        network-manager network-manager-openvpn dbus-daemon
    for archive in "$new"/archives/*.deb; do
        dpkg-deb --fsys-tarfile "$archive" | tar -x --keep-directory-symlink -C "$new/root"
    done
    mv "$new/root" "$root"
    rm -r "$new"
}

if [ -d "$root" ] || networkmanager_is_installed; then
    exit 0
fi
need_writable_checkout
[ "$(id -u)" -eq 0 ] || fail "NetworkManager is missing; to unpack it, run as root: $PWD/scripts/networkmanager.sh"
logged "unpacking NetworkManager (is there a network?)" build/logs/networkmanager.log unpack
echo "networkmanager: unpacked into $root"
