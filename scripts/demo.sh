#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The client's main job on this machine: a gateway on loopback, a signed component fetched over HTTPS, verified, loaded
# and driven until Ctrl-C: by the desktop client where there is a display, else by the headless one, whose status lines
# come out here. As root the component builds a real tunnel, in namespaces, so that the machine's network stays as it
# is; elsewhere a simulated one. Installs and builds what is missing; asks nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=demo
. scripts/common.sh
. scripts/demo_session.sh
. scripts/demo_tunnel.sh

usage() {
    cat <<'TEXT'
usage: scripts/demo.sh [options]
  --tunnel       a real tunnel, or none at all (as root; without this and --simulated: real where that can be)
  --engine NAME  what builds it: openvpn (default), networkmanager; means --tunnel
  --simulated    a tunnel that takes all states and carries nothing, which needs no rights
  --type TYPE    the component: plugindll (tunnel plug-in, default), plugindllnotunnel, hostchecker
  --lang CODE    the desktop client's language: one of lang/*.po (default: the session's)
  --headless     without windows, also where there is a display
  --seconds N    ask the client to stop after N seconds, as Ctrl-C would
  --build-only   install and build, run nothing
Ctrl-C asks the client to stop, a second one ends it at once.
Exit status: the client's own; 0 after Ctrl-C; 1 where a real tunnel was wanted and none came or something of it stayed.
TEXT
}

misused() {
    echo "demo: $1" >&2
    usage >&2
    exit 2
}

type=plugindll
tunnel=where-possible
engine=openvpn
lang=
headless=no
seconds=0
build_only=no
inside=no
arguments=("$@")
while [ $# -gt 0 ]; do
    case $1 in
        --type) type=${2-}; shift ;;
        --tunnel) tunnel=real ;;
        --engine) tunnel=real engine=${2-}; shift ;;
        --simulated) tunnel=simulated ;;
        --seconds) seconds=${2-}; shift ;;
        --lang) lang=${2-}; shift ;;
        --headless) headless=yes ;;
        --build-only) build_only=yes ;;
        --inside) # the script's own, see run_in_namespaces; nowhere but in a process namespace of its own
            [ $$ -eq 1 ] || misused "unknown option $1"
            inside=yes
            ;;
        -h | --help) usage; exit 0 ;;
        *) misused "unknown option $1" ;;
    esac
    [ $# -eq 0 ] || shift
done
case $type in
    plugindll) ;;
    plugindllnotunnel | hostchecker)
        [ "$tunnel" != real ] || misused "a component of type $type builds no tunnel"
        tunnel=simulated
        ;;
    *) misused "unknown component type \"$type\"" ;;
esac
case $engine in
    openvpn | networkmanager) ;;
    *) misused "there is no engine \"$engine\"" ;;
esac
[ -z "$lang" ] || [ -f "lang/$lang.po" ] || misused "there are no texts in \"$lang\""
case $seconds in
    *[!0-9]* | '') misused "--seconds needs a whole number" ;;
esac

if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    headless=yes
fi

# Runs the check $1. If it says that something is missing for a real tunnel, the demo ends, or the simulated one is
# shown where the choice was left to the script.
decide() {
    local missing
    [ "$tunnel" != simulated ] || return 0
    missing=$("$1")
    [ -n "$missing" ] || return 0
    [ "$tunnel" != real ] || fail "no tunnel can be built here: $missing"
    echo "demo: no tunnel can be built here: $missing; a simulated one is shown" >&2
    tunnel=simulated
}

install_and_build() {
    need_writable_checkout
    echo "== packages"
    scripts/setup.sh --demo
    decide missing_in_kernel
    if [ "$engine" = networkmanager ]; then
        scripts/networkmanager.sh
    fi
    echo "== build (release)"
    # With the development key, which the demo's gateway signs with, whatever key a package was made with before.
    logged "the build" build/logs/demo-build.log \
        configure_and_build release -U NEBRIX_COMPONENT_PUBLIC_KEY -D NEBRIX_BUILD_BENCH=OFF
}

trap clean_up EXIT
# Before the client runs, Ctrl-C just ends the demo.
trap 'asked=yes; exit 0' INT TERM

if [ $inside = yes ]; then
    make_machine
    run_session
    exit
fi
decide missing_rights
install_and_build
if [ $build_only = yes ]; then
    exit 0
fi
if [ $tunnel = simulated ]; then
    directory=$(mktemp -d)
    run_session
else
    run_in_namespaces
fi
