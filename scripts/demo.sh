#!/usr/bin/env bash
# The client's main job on this machine: a gateway on loopback, a signed component fetched over HTTPS, verified, loaded
# and driven until Ctrl-C: by the desktop client where there is a display, else by the headless one, whose status lines
# come out here. Installs and builds what is missing; asks nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=demo
. scripts/common.sh

usage() {
    cat <<'TEXT'
usage: scripts/demo.sh [options]
  --type TYPE    the component: plugindll (tunnel plug-in, default), plugindllnotunnel, hostchecker
  --lang CODE    the desktop client's language: fr, en, de, es (default: the session's)
  --headless     without windows, also where there is a display
  --seconds N    ask the client to stop after N seconds, as Ctrl-C would
  --build-only   install and build, run nothing
Ctrl-C asks the client to stop, a second one ends it at once.
Exit status: the client's own; 0 after Ctrl-C.
TEXT
}

type=plugindll
lang=
headless=no
seconds=0
build_only=no
while [ $# -gt 0 ]; do
    case $1 in
        --type) type=${2-}; shift ;;
        --seconds) seconds=${2-}; shift ;;
        --lang) lang=${2-}; shift ;;
        --headless) headless=yes ;;
        --build-only) build_only=yes ;;
        -h | --help) usage; exit 0 ;;
        *) echo "demo: unknown option $1" >&2; usage >&2; exit 2 ;;
    esac
    [ $# -eq 0 ] || shift
done
case $type in
    plugindll | plugindllnotunnel | hostchecker) ;;
    *) echo "demo: unknown component type \"$type\"" >&2; usage >&2; exit 2 ;;
esac
case $lang in
    fr | en | de | es | '') ;;
    *) echo "demo: there are no texts in \"$lang\"" >&2; usage >&2; exit 2 ;;
esac
case $seconds in
    *[!0-9]* | '') echo "demo: --seconds needs a whole number" >&2; exit 2 ;;
esac

if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    headless=yes
fi

bin=$PWD/build/release/bin
directory=
gateway=
mediation=
client=
timer=
asked=no

# The headless client ends by itself at the second signal; the desktop client has bounded its end already.
ask_client() {
    local signal=TERM
    if [ $asked = yes ] && [ $headless = no ]; then
        signal=KILL
    fi
    asked=yes
    if [ -n "$client" ]; then
        kill "-$signal" "$client" 2>/dev/null || true
    fi
}

# Every way out passes here: nothing that this script started stays behind.
clean_up() {
    local status=$? pid
    trap '' INT TERM
    for pid in $timer $client $gateway; do
        kill -TERM "$pid" 2>/dev/null || true
    done
    for pid in $client $gateway; do
        await "$pid" 50 || kill -KILL "$pid" 2>/dev/null || true
    done
    if [ -n "$directory" ]; then
        rm -rf "$directory"
    fi
    exit "$status"
}

# Waits until the process is gone, at most so many tenths of a second.
await() {
    local tenths=$2
    while kill -0 "$1" 2>/dev/null; do
        [ "$tenths" -gt 0 ] || return 1
        tenths=$((tenths - 1))
        sleep 0.1
    done
}

# Before the client runs, Ctrl-C just ends the demo.
trap 'asked=yes; exit 0' INT TERM
trap clean_up EXIT

install_and_build() {
    need_writable_checkout
    echo "== packages"
    scripts/setup.sh --demo
    echo "== build (release)"
    # With the development key, which the demo's gateway signs with, whatever key a package was made with before.
    logged "the build" build/logs/demo-build.log \
        configure_and_build release -U NEBRIX_COMPONENT_PUBLIC_KEY -D NEBRIX_BUILD_BENCH=OFF
}

# The gateway and the client run in sessions of their own, so that Ctrl-C at the terminal reaches this script alone,
# which then asks the client once.
start_gateway() {
    : >"$directory/gateway.out"
    TMPDIR=$directory/gateway setsid "$bin/nebrix-demo-gateway" >"$directory/gateway.out" 2>&1 &
    gateway=$!
    local tenths=150
    until grep -q '^listening ' "$directory/gateway.out"; do
        if ! kill -0 "$gateway" 2>/dev/null || [ $tenths -eq 0 ]; then
            echo "demo: the gateway did not start:" >&2
            cat "$directory/gateway.out" >&2
            return 1
        fi
        tenths=$((tenths - 1))
        sleep 0.1
    done
    cat "$directory/gateway.out"
    mediation=$(awk -v type="$type" '$1 == "mediation" && $2 == type { print $3 }' "$directory/gateway.out")
    if [ -z "$mediation" ]; then
        echo "demo: the gateway serves no component of type $type" >&2
        return 1
    fi
    mediation=${mediation%%\?*}${lang:+?lang=$lang}
}

# The gateway makes its certificate anew at each start, so this home's settings exempt it from certificate checks.
write_settings() {
    local authority=${mediation#*@}
    authority=${authority%%/*}
    mkdir -p "$directory/home/.Nebrix"
    cat >"$directory/home/.Nebrix/nebrixclient.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<nebrixclient>
  <sslcertignoredomains>
    <domains>$authority</domains>
  </sslcertignoredomains>
</nebrixclient>
XML
}

# Everything that the client, its toolkit or a component may write lies in the demo's directory. The display's own key
# stays where it is.
start_client() {
    local display_key=${XAUTHORITY:-$HOME/.Xauthority}
    if [ $headless = yes ]; then
        HOME=$directory/home setsid "$bin/nebrixclient-cli" --changes-only - <<<"$mediation" &
    else
        echo "the panel and the tray icon show what happens; quit from the icon's menu or here"
        XAUTHORITY=$display_key HOME=$directory/home \
            XDG_CONFIG_HOME=$directory/home/.config XDG_DATA_HOME=$directory/home/.local/share \
            XDG_STATE_HOME=$directory/home/.local/state XDG_CACHE_HOME=$directory/home/.cache GSETTINGS_BACKEND=memory \
            setsid "$bin/nebrixclient" "$mediation" >"$directory/client.out" 2>&1 &
    fi
    client=$!
}

run_client() {
    local status ended=
    start_client
    trap ask_client INT TERM
    if [ "$seconds" -gt 0 ]; then
        sleep "$seconds" &
        timer=$!
    fi
    while true; do
        status=0
        wait -n -p ended "$client" $timer || status=$?
        if [ "${ended:-}" = "$client" ]; then
            return $status
        elif [ -n "${ended:-}" ]; then
            timer=
            ask_client
        elif ! kill -0 "$client" 2>/dev/null; then
            # It ended while a signal interrupted the wait.
            status=0
            wait "$client" || status=$?
            return $status
        fi
    done
}

install_and_build
if [ $build_only = yes ]; then
    exit 0
fi
directory=$(mktemp -d)
mkdir -p "$directory/gateway"
echo "== gateway"
start_gateway
write_settings
echo "== client (Ctrl-C to stop)"
status=0
run_client || status=$?
client=
if [ $status -ne 0 ]; then
    if [ -e "$directory/client.out" ]; then
        cat "$directory/client.out" >&2
    fi
    echo "demo: the client ended with status $status; its log is /tmp/nebrixclient.log" >&2
elif [ $asked = yes ]; then
    echo "== stopped"
else
    echo "== the session is over"
fi
exit $status
