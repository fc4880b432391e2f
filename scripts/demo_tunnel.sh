# SPDX-License-Identifier: Apache-2.0
# The demo's real tunnel: whether this machine can have one, the namespaces that it lives in, NetworkManager where that
# is wanted, and what is shown of it. Sourced by demo.sh.
#
# Everything of the demo runs in mount, network and process namespaces. Their first process dies with unshare(1), and
# that with the script; with the first process goes all that runs there, and with the last one every interface, mount
# and file. So nothing stays, whatever ends the demo, and nothing outside is touched.

namespaces=

# What is missing for a tunnel, as words; nothing where nothing is. Before anything is installed or built.
missing_rights() {
    local capabilities
    if [ "$(id -u)" -ne 0 ]; then
        echo "this is not root"
        return
    fi
    capabilities=0x$(awk '$1 == "CapEff:" { print $2 }' /proc/self/status)
    if [ $((capabilities >> 12 & 1)) -eq 0 ]; then
        echo "this root has no right over networks (CAP_NET_ADMIN)"
    elif ! [ -c /dev/net/tun ] || ! (: <>/dev/net/tun) 2>/dev/null; then
        echo "there is no /dev/net/tun that can be opened"
    elif ! unshare --mount --net --pid --fork --mount-proc true 2>/dev/null; then
        echo "no namespaces can be made (CAP_SYS_ADMIN)"
    fi
}

# The same, once there is the program that can ask.
missing_in_kernel() {
    unshare --net sh -c 'ip tuntap add dev demo mode tun && ip link add near type veth peer name far' 2>/dev/null ||
        echo "the kernel makes no interfaces"
}

# Runs this script again in the namespaces. A signal is handed on to its group there.
run_in_namespaces() {
    trap ask_namespaces INT TERM
    setpriv --pdeathsig KILL setsid unshare --mount --net --pid --fork --kill-child --mount-proc \
        scripts/demo.sh --inside "${arguments[@]}" &
    namespaces=$!
    local status=0
    # A signal interrupts the wait.
    while kill -0 $namespaces 2>/dev/null; do
        wait $namespaces || true
    done
    wait $namespaces || status=$?
    namespaces=
    # What was ended there by the signal itself had not begun.
    [ $status -ne 143 ] || [ $asked = no ] || status=0
    return $status
}

ask_namespaces() {
    asked=yes
    kill -TERM -- "-${namespaces:-$!}" 2>/dev/null || true
}

end_namespaces() {
    if [ -n "$namespaces" ]; then
        ask_namespaces
        await "$namespaces" 120 || kill -KILL "$namespaces" 2>/dev/null || true
    fi
}

# Inside: a /run of the demo's own, which the user's sockets are brought into, so that the client asks neither the
# machine's system bus nor its NetworkManager, and a directory in it that is gone with the namespaces.
make_machine() {
    local new=/mnt display_key=${XAUTHORITY:-$HOME/.Xauthority}
    mount -n -t tmpfs -o mode=0755 demo $new
    mkdir -p $new/demo $new/user
    if [ -d /run/user ]; then
        mount -n --rbind /run/user $new/user
    fi
    if [ -r "$display_key" ]; then
        cp "$display_key" $new/demo/display-key
        export XAUTHORITY=/run/demo/display-key
    fi
    mount -n --move $new /run
    directory=/run/demo
    export TMPDIR=$directory/temporary NEBRIX_TUNNEL_ENGINE=$engine
    mkdir $TMPDIR
    keep_name_servers
    ip link set lo up
    if [ $headless = no ] && ! display_is_reached_by_path; then
        echo "demo: no windows: the display ${DISPLAY-} is reached over the network, of which the demo has its own" >&2
        headless=yes
    fi
}

# The tunnel may come with a name server, which is nothing to the machine outside.
keep_name_servers() {
    local file
    file=$(realpath -m /etc/resolv.conf)
    if [ -f "$file" ]; then
        cp "$file" "$directory/resolv.conf"
        mount -n --bind "$directory/resolv.conf" "$file"
    fi
}

# Sockets with a path, unlike others, can be reached from another network namespace.
display_is_reached_by_path() {
    local number=${DISPLAY-}
    case $number in
        :* | unix:*)
            number=${number#*:}
            [ -S "/tmp/.X11-unix/X${number%%.*}" ]
            ;;
        '') [ -n "${WAYLAND_DISPLAY-}" ] ;;
        *) false ;;
    esac
}

# Once the gateway is there, before the client is.
prepare_tunnel() {
    if [ $engine = networkmanager ]; then
        start_networkmanager
    fi
    echo "== routes before"
    ip route
    routes_and_tunnels >"$directory/before"
}

service() {
    apart "$@" >"$directory/${1##*/}.out" 2>&1 &
    helpers+=" $!"
}

# NetworkManager with a system bus of its own. It manages the wire to the server, since a tunnel needs a connection with
# a default route below it; that route leads nowhere. What it writes, into /etc as well, is gone with the namespaces.
start_networkmanager() {
    local wire address
    echo "== NetworkManager"
    mkdir "$directory/etc" "$directory/work"
    mount -n -t overlay -o "lowerdir=/etc,upperdir=$directory/etc,workdir=$directory/work" demo /etc
    id nm-openvpn >/dev/null 2>&1 || useradd --system --no-create-home --shell /usr/sbin/nologin nm-openvpn
    mkdir -p /etc/NetworkManager
    mount -n -t tmpfs demo /etc/NetworkManager
    mount -n -t tmpfs demo /var/lib
    # Where it can be written it is believed that udev is there.
    mount -n -t sysfs -o ro demo /sys
    if ! networkmanager_is_installed; then
        # A path without colons and commas, which mean something there.
        mkdir "$directory/aside"
        mount -n --bind build/networkmanager/root "$directory/aside"
        mount -n -t overlay -o "lowerdir=$directory/aside/usr:/usr" demo /usr
    fi
    mkdir /run/dbus /run/NetworkManager
    cat >"$directory/bus.conf" <<'XML'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="false"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
XML
    cat >"$directory/NetworkManager.conf" <<'CONF'
[main]
plugins=keyfile
auth-polkit=false
dns=none
rc-manager=unmanaged
[keyfile]
unmanaged-devices=interface-name:lo
CONF
    service dbus-daemon --config-file="$directory/bus.conf" --nofork --nopidfile
    wait_for 50 "${helpers##* }" test -S /run/dbus/system_bus_socket
    service NetworkManager --config="$directory/NetworkManager.conf" --debug
    wait_for 100 "${helpers##* }" nmcli general status || { cat "$directory/NetworkManager.out" >&2; return 1; }
    read -r wire address < <(ip -oneline -4 address show scope global | awk '{ print $2, $4 }')
    address=${address%/*}
    nmcli -t connection add type ethernet con-name wire ifname "$wire" ipv6.method disabled \
        ipv4.method manual ipv4.addresses "$address/24" ipv4.gateway "${address%.*}.254"
    nmcli -t connection up wire
}

routes_and_tunnels() {
    ip route
    ip -brief link show type tun
}

is_as_before() {
    routes_and_tunnels | cmp -s - "$directory/before"
}

tunnel_is_up() {
    ip route get "$1" | grep -q ' dev tun'
}

# Beside the client: what goes through the tunnel as soon as it is there, to a page that is reached no other way.
watch_tunnel() {
    local page host
    page=$(awk '$1 == "tunnel" && $4 == "page" { print $5 }' "$directory/gateway.out")
    host=${page#http://}
    host=${host%%/*}
    wait_for 300 "$client" tunnel_is_up "$host" || return 1
    sleep 1 # the client asks its component twice a second, and says so first
    echo "== routes through the tunnel"
    ip route
    echo "== the tunnel's server"
    sed -n 's/^tunnel \(accepted\)/\1/p' "$directory/gateway.out"
    echo "== ping $host"
    ping -c 3 -i 0.3 -W 2 "$host" || return 1
    echo "== $page"
    curl --silent --show-error --noproxy '*' --max-time 5 "$page" || return 1
    echo "== it works (Ctrl-C to stop)"
}

plugin_log() {
    echo "== the plug-in's log"
    sed -n 's/.* Component\.notes //p' "$(client_log)"
}

# False if something of the tunnel is left, or if it was never to be seen and nobody broke that off.
check_tunnel() {
    if [ $headless = no ]; then
        plugin_log
    fi
    wait_for 20 $$ is_as_before || true
    echo "== routes after"
    ip route
    if ! is_as_before; then
        echo "demo: something of the tunnel is left" >&2
        return 1
    elif [ $shown = no ] && [ $broken_off = no ]; then
        [ $headless = no ] || plugin_log >&2
        if [ -e "$directory/NetworkManager.out" ]; then
            grep '^<warn>' "$directory/NetworkManager.out" >&2
        fi
        echo "demo: nothing went through a tunnel" >&2
        return 1
    fi
}
