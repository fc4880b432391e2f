#!/usr/bin/env bash
# Makes the README's picture anew: the panel and the open tray menu of the desktop client while the demo runs, on a
# desktop of the script's own. Installs and builds what is missing; asks nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() {
    echo "usage: scripts/screenshots.sh [--lang CODE] [FILE]   (default: en, docs/img/panel.png)"
}

lang=en
target=docs/img/panel.png
while [ $# -gt 0 ]; do
    case $1 in
        --lang) lang=${2-}; shift ;;
        -h | --help) usage; exit 0 ;;
        -*) echo "screenshots: unknown option $1" >&2; usage >&2; exit 2 ;;
        *) target=$1 ;;
    esac
    [ $# -eq 0 ] || shift
done

# No more than the corner where the panel and the tray are.
width=600
height=330
bar_height=32
directory=$(mktemp -d)
started=()

# The demo ends the client and the gateway by itself, so that it goes first, while there is still a display.
clean_up() {
    local status=$? index
    trap '' INT TERM
    for ((index = ${#started[@]} - 1; index >= 0; index--)); do
        kill -TERM "${started[index]}" 2>/dev/null || true
        wait "${started[index]}" 2>/dev/null || true
    done
    rm -rf "$directory"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 1' INT TERM

fail() {
    echo "screenshots: $1" >&2
    if [ -e "$directory/demo.out" ]; then
        cat "$directory/demo.out" >&2
    fi
    exit 1
}

# Repeats a command until it succeeds, for at most so many seconds.
wait_for() {
    local seconds=$1 end
    shift
    end=$((SECONDS + seconds))
    until "$@"; do
        [ $SECONDS -lt "$end" ] || fail "not within $seconds s: $*"
        sleep 0.1
    done
}

start() {
    local output=$1
    shift
    "$@" >"$directory/$output" 2>"$directory/$output.errors" &
    started+=($!)
}

take() {
    import -silent -window root "$directory/$1.png"
}

same() {
    [ "$(compare -metric AE "$directory/$1.png" "$directory/$2.png" null: 2>&1)" = 0 ]
}

# The screen differs from the named picture and has stood still for longer than any passing state of the panel does.
settled_unlike() {
    local again
    take now
    if same now "$1"; then
        return 1
    fi
    for again in 1 2 3 4 5 6; do
        sleep 0.4
        take "later$again"
        same now "later$again" || return 1
    done
}

start_desktop() {
    start display Xvfb -displayfd 1 -nolisten tcp -noreset -screen 0 "${width}x${height}x24"
    wait_for 10 test -s "$directory/display"
    DISPLAY=:$(cat "$directory/display")
    start bus dbus-daemon --session --nofork --nopidfile --print-address
    wait_for 10 test -s "$directory/bus"
    DBUS_SESSION_BUS_ADDRESS=$(cat "$directory/bus")
    HOME=$directory/home
    export DISPLAY DBUS_SESSION_BUS_ADDRESS HOME LC_ALL=C.UTF-8 NO_AT_BRIDGE=1
    unset WAYLAND_DISPLAY XAUTHORITY "${!XDG_@}"
    mkdir -p "$HOME"
    cat >"$directory/tint2rc" <<TEXT
rounded = 0
border_width = 0
background_color = #202830 100
panel_items = FS
panel_size = 100% $bar_height
panel_position = bottom center horizontal
panel_background_id = 1
systray_padding = 8 4 4
systray_icon_size = 24
wm_menu = 0
TEXT
    /usr/bin/python3 - <<'PYTHON'
import Xlib.display
display = Xlib.display.Display()
root = display.screen().root
root.change_attributes(background_pixel=0x4A6A8A)
root.clear_area()
display.sync()
PYTHON
    take bare
    start manager openbox --sm-disable
    start bar tint2 -c "$directory/tint2rc"
    wait_for 10 settled_unlike bare
    take desktop
}

scripts/setup.sh --all
scripts/demo.sh --build-only
start_desktop
start demo.out scripts/demo.sh --simulated --lang "$lang"
wait_for 60 settled_unlike desktop
take panel
xdotool mousemove $((width - bar_height / 2 - 4)) $((height - bar_height / 2)) click 3
wait_for 10 settled_unlike panel
mkdir -p "$(dirname "$target")"
convert "$directory/now.png" -strip -define png:exclude-chunks=date,time -define png:compression-level=9 "$target"
echo "screenshots: $target"
