#!/bin/bash
# The packages, from their installation to their purge, in Debian systems of their own that
# systemd-nspawn boots. Each check prints a line; the first one that fails ends the test.
#
#   tests/packages/container_test.sh FOLDER PROBE
#
# FOLDER holds packages, those for this machine among them; PROBE is the built sandbox_probe.
#
#                  device                                    neighbour
#     avoip, avoip-tools, avoip-gateway           avoip-tools: a simulated fleet
#     eth0.2  10.77.0.1  ------- devices -------  dev0  10.77.0.2, 10.77.1.1 and on
#     eth0    10.88.0.1  ------- office --------  out0  10.88.0.2
#
# What both stand on is made once by debootstrap, in build/container-base; what they change is in
# memory, and gone when the test ends. Needs root.
set -euo pipefail

packages=$(realpath "${1:?usage: tests/packages/container_test.sh FOLDER PROBE}")
probe=$(realpath "${2:?usage: tests/packages/container_test.sh FOLDER PROBE}")
cd "$(dirname "$0")/../.."
readonly patience_s=60
readonly base=$PWD/build/container-base
# systemd and what the tests ask with; the rest are what the packages depend on.
readonly base_packages=(systemd systemd-sysv dbus libpam-systemd login passwd procps iproute2
    nftables netcat-openbsd libcjson1 libedit2 libstdc++6 libcrypt1 libgnutls30 libmicrohttpd12
    libsqlite3-0 libtomlplusplus3)
processor=$(dpkg --print-architecture)
scratch=$(mktemp --directory)
declare -A leader

finish() {
    local status=$? name
    if [[ $status -ne 0 && -v leader[device] ]]; then
        echo "The device's journal ends with:" >&2
        on device journalctl --no-pager --lines 30 >&2 || true
    fi
    for name in "${!leader[@]}"; do
        kill -KILL "${leader[$name]}" 2>/dev/null || true
    done
    wait
    for name in device neighbour; do
        umount --lazy "$scratch/$name" 2>/dev/null || true
        ip netns delete "avoip-$name-$$" 2>/dev/null || true
    done
    umount --lazy "$scratch/memory" 2>/dev/null || true
    rm --recursive --force --one-file-system "$scratch"
}
trap finish EXIT

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

# on CONTAINER COMMAND [ARGUMENT]...
on() {
    nsenter --target "${leader[$1]}" --all env --ignore-environment HOME=/root TERM=dumb \
        LC_ALL=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin "${@:2}"
}

# await WHAT COMMAND...: until the command succeeds.
await() {
    local end=$((SECONDS + patience_s))
    until "${@:2}" >/dev/null 2>&1; do
        [[ $SECONDS -lt $end ]] || fail "waited $patience_s s in vain: $1"
        sleep 0.2
    done
    echo "ok: $1"
}

check() {
    "${@:2}" >"$scratch/output" 2>&1 || {
        cat "$scratch/output" >&2
        fail "$1"
    }
    echo "ok: $1"
}

# refused WHAT COMMAND...: the command must fail.
refused() {
    ! "${@:2}" >"$scratch/output" 2>&1 || {
        cat "$scratch/output" >&2
        fail "$1"
    }
    echo "ok: $1"
}

# shows WHAT TEXT COMMAND...: the command's output holds the text.
shows() {
    "${@:3}" >"$scratch/output" 2>&1 || true
    grep --quiet --fixed-strings -- "$2" "$scratch/output" || {
        cat "$scratch/output" >&2
        fail "$1: \"$2\" is not there"
    }
    echo "ok: $1"
}

make_base() {
    [[ $(cat "$base/made" 2>/dev/null) != "${base_packages[*]}" ]] || return 0
    rm --recursive --force --one-file-system "$base"
    debootstrap --variant=minbase --include="$(IFS=, && echo "${base_packages[*]}")" bookworm \
        "$base" "${AVOIP_MIRROR:-http://deb.debian.org/debian}" >"$scratch/debootstrap.log" 2>&1 ||
        { tail "$scratch/debootstrap.log" >&2; fail "debootstrap made no base"; }
    echo "${base_packages[*]}" >"$base/made"
}

# boot NAME: a system of its own, with packages in /packages.
boot() {
    local name=$1 supervisor
    mkdir --parents "$scratch/$name" "$scratch/memory/$name/"{upper,work}
    mount -t overlay overlay "$scratch/$name" -o \
        "lowerdir=$base,upperdir=$scratch/memory/$name/upper,workdir=$scratch/memory/$name/work"
    SYSTEMD_NSPAWN_UNIFIED_HIERARCHY=1 systemd-nspawn --quiet --register=no --keep-unit --boot \
        --machine="$name" --directory="$scratch/$name" --console=read-only \
        --capability=CAP_NET_ADMIN \
        --network-namespace-path="/run/netns/avoip-$name-$$" --bind-ro="$packages:/packages" \
        --bind-ro="$scratch/newer:/newer" </dev/null >"$scratch/$name.log" 2>&1 &
    supervisor=$!
    local end=$((SECONDS + patience_s))
    until leader[$name]=$(pgrep --parent "$supervisor"); do
        [[ $SECONDS -lt $end ]] || { cat "$scratch/$name.log" >&2; fail "$name did not begin"; }
        sleep 0.1
    done
    await "$name is up" on "$name" systemctl is-active multi-user.target
}

# join INTERFACE ADDRESS INTERFACE ADDRESS: a cable from the device to its neighbour.
join() {
    ip -n "avoip-device-$$" link add "$1" type veth peer name "$3" netns "avoip-neighbour-$$"
    ip -n "avoip-neighbour-$$" address add "$4" dev "$3"
    ip -n "avoip-neighbour-$$" link set "$3" up
}

make_network() {
    local name
    for name in device neighbour; do
        ip netns add "avoip-$name-$$"
        ip -n "avoip-$name-$$" link set lo up
    done
    join eth0.2 10.77.0.1/16 dev0 10.77.0.2/16
    join eth0 10.88.0.1/24 out0 10.88.0.2/24
    ip -n "avoip-neighbour-$$" route add 224.0.0.0/4 dev dev0
    ip -n "avoip-neighbour-$$" route add local 10.77.1.0/24 dev lo
    ip -n "avoip-device-$$" address add 10.88.0.1/24 dev eth0
    ip -n "avoip-device-$$" link set eth0 up
}

# The package once more with a higher version, to upgrade to.
make_newer() {
    dpkg-deb --raw-extract "$1" "$scratch/package"
    sed --in-place 's/^Version: .*/&+newer/' "$scratch/package/DEBIAN/control"
    mkdir --parents "$scratch/newer"
    dpkg-deb --build --root-owner-group "$scratch/package" "$scratch/newer/avoip.deb" >/dev/null
}

# state MEMBER: of the state that the guard keeps.
state() {
    on device cat /run/avoip/state.json | sed --quiet "s/.*\"$1\":\"\?\([^,\"}]*\).*/\1/p"
}

works() {
    [[ $(state state) == ok ]]
}

health_shows() {
    { on device avoipctl health || true; } | grep --fixed-strings "$1"
}

other_daemon_than() {
    works && [[ $(state daemon_pid) != "$1" ]]
}

device_is_installed() {
    check "the packages are installed by dpkg alone" \
        on device bash -c "dpkg --install /packages/{avoip,avoip-tools}_*_$processor.deb"
    check "the unit runs, enabled, before its interface is there" \
        on device systemctl is-active --quiet avoip.service
    check "it starts with the system" on device systemctl is-enabled avoip.service
    shows "health says what it waits for" "eth0.2" on device avoipctl health
    shows "the answer segment stands already, and is the daemon's user's" "avoip" \
        on device ipcs --shmems
    shows "it runs as avoip" avoip on device ps -o user= -C avoipguard
    shows "before other processes" -10 on device ps -o ni= -C avoipguard
    refused "nobody else may write the state" \
        on device runuser -u nobody -- touch /run/avoip/x
}

fleet_is_seen() {
    check "the example sets the control interface up" on device bash -c \
        'install -D -t /etc/systemd/network /usr/share/doc/avoip/examples/eth0.2.network
        systemctl enable --quiet --now systemd-networkd'
    await "with address and route the daemon works" works
    on neighbour bash -c "dpkg --install /packages/avoip-tools_*_$processor.deb" >/dev/null
    on neighbour systemd-run --quiet --unit fleet avoipsim --interface dev0 \
        --first-address 10.77.1.1 --encoders 2 --decoders 2
    await "the fleet is listed" on device bash -c 'avoipctl devices | grep RX-0002'
    check "a route is set" on device avoipctl matrix set TX-0002 RX-0001
    shows "and read back" TX-0002 on device avoipctl matrix get RX-0001
    on device useradd integrator --groups avoip
    shows "a user of the group may ask" TX-0001 on device runuser -u integrator -- avoipctl devices
    on device useradd guest
    refused "another user may not" on device runuser -u guest -- avoipctl devices
}

guard_cures() {
    local daemon
    daemon=$(state daemon_pid)
    on device kill -KILL "$daemon"
    await "the guard cures a killed daemon" other_daemon_than "$daemon"
    shows "which answers again" TX-0001 on device avoipctl devices
    on device bash -c 'kill -KILL $(pidof avoipguard)'
    await "systemd starts a killed guard" works
    on device avoipctl report >"$scratch/report"
    shows "a report has the guard's lines" "Killed" cat "$scratch/report"
    refused "and nobody's commands" grep --fixed-strings "TX-0001" "$scratch/report"
}

# sandbox_holds UNIT LIST CONDITION...: what a probe beside the unit finds is what the list says,
# and the unit meets the condition with and without it.
sandbox_holds() {
    local unit=$1 drop_in=/etc/systemd/system/$1.service.d/probe.conf line
    install -D "$probe" "$scratch/device/usr/local/bin/probe"
    on device mkdir --parents "$(dirname "$drop_in")"
    on device bash -c "printf '[Service]\nExecStartPost=/usr/local/bin/probe\n' >$drop_in"
    on device systemctl daemon-reload
    on device systemctl restart "$unit"
    await "$unit runs with a probe beside it" "${@:3}"
    on device journalctl --unit "$unit" --output cat >"$scratch/journal"
    while read -r line; do
        shows "sandbox of $unit: $line" "probe: $line" cat "$scratch/journal"
    done <"$2"
    on device rm "$drop_in"
    on device systemctl daemon-reload
    on device systemctl restart "$unit"
    await "$unit runs without it" "${@:3}"
}

# gateway METHOD PATH [curl option]...: one request, from within the device's network.
gateway() {
    nsenter --target "${leader[device]}" --net curl --silent --show-error --max-time 60 \
        --request "$1" "http://127.0.0.1:8088$2" "${@:3}"
}

gateway_shows() {
    gateway GET "$1" | grep --fixed-strings -- "$2"
}

gateway_installs_firmware() {
    local json='Content-Type: application/json' image
    on device cat /srv/image.bin >"$scratch/image.bin"
    gateway POST /api/v1/firmware --header 'Content-Type: application/octet-stream' \
        --data-binary "@$scratch/image.bin" >"$scratch/image"
    image=$(sed --quiet 's/^{"id":"\([^"]*\)".*/\1/p' "$scratch/image")
    shows "the gateway takes an image" '"type":"encoder"' cat "$scratch/image"
    shows "and begins to install it" '"kind":"installation"' gateway POST \
        "/api/v1/firmware/$image/installations" --header "$json" --data '{"devices":["TX-0001"]}'
    await "which the daemon may read, and the device confirms" \
        gateway_shows /api/v1/jobs '"state":"done"'
}

gateway_serves() {
    check "the gateway's package is installed by dpkg alone" \
        on device bash -c "dpkg --install /packages/avoip-gateway_*_$processor.deb"
    await "its unit serves" gateway GET /healthz/live --fail
    shows "the panel, too" "panel/app/main.js" gateway GET /
    check "and starts with the system" on device systemctl is-enabled avoip-gateway
    shows "it runs as avoip-gw" avoip-gw on device ps -o user= -C avoipgw
    await "it sees the daemon" gateway GET /healthz/ready --fail
    await "and the fleet" gateway_shows /api/v1/devices '"id":"RX-0002"'
    shows "it sets a route" '"confirmed":true' gateway PUT /api/v1/routes/video/RX-0002 \
        --header 'Content-Type: application/json' --data '{"encoder":"TX-0001"}'
    shows "which others see" TX-0001 on device avoipctl matrix get RX-0002
    on device avoipsim --make-image /srv/image.bin >/dev/null
    gateway_installs_firmware
    sandbox_holds avoip-gateway tests/packages/gateway_sandbox.txt gateway GET /healthz/ready --fail
    check "root adds a user beside it" on device bash -c \
        'echo secret | avoipgw user add anna --role admin --password-stdin'
    refused "from then on nobody reads without a log-in" gateway GET /api/v1/devices --fail
    check "with the password one does" gateway POST /api/v1/session --fail \
        --header 'Content-Type: application/json' --data '{"user":"anna","password":"secret"}'
    refused "a user of the group does not read users and tokens" \
        on device runuser -u integrator -- cat /var/lib/avoip/gateway.sqlite
    check "the configuration is sound" on device avoipgw --check
    on device bash -c 'echo "nonsense = 1" >>/etc/avoip/gateway.toml'
    refused "and a wrong one is said" on device avoipgw --check
    on device sed --in-place '/^nonsense/d' /etc/avoip/gateway.toml
}

# unread_replies: the bytes that wait in the socket on port 8003.
unread_replies() {
    on device ss --udp --all --numeric --no-header 'sport = :8003' |
        awk '{ sum += $2 } END { print sum + 0 }'
}

reply_arrives() {
    on neighbour bash -c "echo x | nc -u -w 1 $1 8003" || true
    [[ $(unread_replies) -gt 0 ]]
}

firewall_holds() {
    check "without a firewall the office reaches the console" \
        on neighbour nc -z -w 2 10.88.0.1 6888
    check "and the replies' port" reply_arrives 10.88.0.1
    on device avoipctl devices >/dev/null # empties the socket
    check "the example is a firewall" \
        on device nft -f /usr/share/doc/avoip/examples/avoip.nft
    check "and may be loaded twice" on device nft -f /usr/share/doc/avoip/examples/avoip.nft
    refused "the office does not reach the console" on neighbour nc -z -w 2 10.88.0.1 6888
    refused "the devices do not" on neighbour nc -z -w 2 10.77.0.1 6888
    refused "the office does not reach the replies' port" reply_arrives 10.88.0.1
    shows "local front ends and devices meet as before" RX-0002 on device avoipctl devices
    check "a reply comes by eth0.2" reply_arrives 10.77.0.1
    on device avoipctl devices >/dev/null
    on device avoipsim --make-image /srv/image.bin >/dev/null
    check "and so does an upload" \
        on device avoipctl update encoder TX-0001 /srv/image.bin
}

ports_close() {
    local examples=/usr/share/doc/avoip/examples/closed-ports
    check "a user may bind port 8003 beside the daemon's" \
        on device bash -c 'timeout 1 runuser -u guest -- nc -u -l 10.88.0.1 8003; [ $? -eq 124 ]'
    on device timeout 10 runuser -u guest -- nc -u -l 10.88.0.1 8003 2>/dev/null &
    await "which the guard sees" health_shows "UDP port 8003 is shared with"
    wait $! || true
    await "until it is gone" works
    on device bash -c "install -D -t /etc/sysctl.d $examples/60-avoip-ports.conf
        install -D -t /etc/systemd/system/avoip.service.d $examples/avoip.conf
        systemctl daemon-reload"
    # A container may not set it itself.
    ip netns exec "avoip-device-$$" \
        sysctl --quiet --load "$scratch/device/etc/sysctl.d/60-avoip-ports.conf"
    on device systemctl restart avoip.service
    await "with closed ports the daemon works" works
    refused "and no user binds port 8003" \
        on device bash -c 'timeout 1 runuser -u guest -- nc -u -l 10.88.0.1 8003; [ $? -eq 124 ]'
    shows "devices answer" TX-0001 on device avoipctl devices
    on device rm --recursive /etc/systemd/system/avoip.service.d /etc/sysctl.d/60-avoip-ports.conf
    ip netns exec "avoip-device-$$" sysctl --quiet net.ipv4.ip_unprivileged_port_start=1024
    on device systemctl daemon-reload
    on device systemctl restart avoip.service
    await "the daemon works without" works
}

upgrade_and_end() {
    local daemon
    daemon=$(state daemon_pid)
    check "an upgrade is installed" on device dpkg --install /newer/avoip.deb
    await "and its daemon works" other_daemon_than "$daemon"
    await "which the gateway sees" gateway GET /healthz/ready --fail
    shows "the unit has not been down" active on device systemctl is-active avoip.service
    shows "devices answer" TX-0001 on device avoipctl devices
    check "the packages are removed" on device dpkg --remove avoip-gateway avoip avoip-tools
    refused "nothing runs any more" on device pgrep avoip
    refused "no answer segment is left" on device bash -c 'ipcs --shmems | grep 0x12345678'
    check "and purged" on device dpkg --purge avoip-gateway avoip avoip-tools
    refused "no user is left" on device bash -c 'getent passwd | grep avoip'
    refused "no group is left" on device bash -c 'getent group | grep avoip'
    refused "no file is left" on device bash -c 'find / -xdev -name "*avoip*" \
        -not -path "/packages/*" -not -path "/newer/*" -not -path "/var/log/*" \
        -not -path "/root/*" -not -path "/proc/*" -not -path "/sys/*" | grep .'
    check "and systemd knows of nothing that failed" \
        on device bash -c '! systemctl --failed --no-legend | grep .'
}

[[ $EUID -eq 0 ]] || fail "run it as root"
mkdir "$scratch/memory" "$scratch/newer"
mount -t tmpfs -o size=512m tmpfs "$scratch/memory"
make_base
make_newer "$packages"/avoip_*_"$processor".deb
make_network
boot device
boot neighbour
device_is_installed
fleet_is_seen
guard_cures
sandbox_holds avoip tests/packages/sandbox.txt works
firewall_holds
ports_close
gateway_serves
upgrade_and_end
echo "All of it held."
