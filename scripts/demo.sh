#!/usr/bin/env bash
# Shows the main job on this machine: a client asks a coffee machine through the bridge. The machine is simulated, all is
# on loopback. Works on a fresh Debian 12; asks nothing. With --uart, client and bridge are joined by a serial line of two
# pseudo-terminals instead of TCP. With --keep, simulator and bridge stay in the foreground.
. "$(dirname "$0")/common.sh"

BIN=$PWD/build/release/bin
HERE=$(mktemp -d)
PIDS=()

finish() {
    local status=$?
    trap - EXIT
    [ ${#PIDS[@]} -eq 0 ] || kill "${PIDS[@]}" 2>/dev/null || true
    wait 2>/dev/null || true
    if [ $status -ne 0 ]; then
        say "DEMO FAILED; the bridge's last lines:"
        tail -n 20 "$HERE/bridge.log" 2>/dev/null || true
    fi
    rm -rf "$HERE"
    exit $status
}

# await FILE TEXT [COUNT]: until FILE holds TEXT in COUNT lines; fails after 10 s.
await() {
    local tries=0
    while [ "$(grep -cF -- "$2" "$1" 2>/dev/null || true)" -lt "${3:-1}" ]; do
        tries=$((tries + 1))
        if [ $tries -gt 200 ]; then
            say "No '$2' in $1"
            return 1
        fi
        sleep 0.05
    done
}

keep() {
    say "Simulator on 127.0.0.1:2283, bridge listening for its client on 127.0.0.1:8283"
    say "In another shell: $BIN/LumoClient --tcp 127.0.0.1 get 1 4"
    say "Type x to end the bridge"
    cd "$HERE"
    "$BIN/LumoSmuSim" --drift 5000 </dev/null &
    PIDS+=($!)
    "$BIN/LumoBridge" -socket 127.0.0.1:8283
}

# client NAME ARGUMENT...: shows and runs one command of the client, once the bridge has seen the last one leave.
CLIENTS=0
client() {
    await "$HERE/bridge.log" "From Client: Link status down" $CLIENTS
    CLIENTS=$((CLIENTS + 1))
    printf '$ LumoClient %s %s\n' "${CLIENT_LINK[*]}" "$*"
    "$BIN/LumoClient" "${CLIENT_LINK[@]}" "$@"
}

type_to_machine() {
    printf '(at the machine) %s\n' "$1"
    echo "$1" >&8
}

# The bridge's serial device and the client's, joined at the speed of a real line.
start_line() {
    "$BIN/PtyCable" bridge.tty client.tty 11520 <cable.keys >cable.log &
    PIDS+=($!)
    exec 7>cable.keys
    await cable.log "joins"
    CLIENT_LINK=(--uart client.tty)
    BRIDGE_LINK=(-uart bridge.tty)
    FILE_LEN=6000
}

start_all() {
    MACHINE_AT=127.0.83.1:2283
    CLIENT_LINK=(--tcp 127.0.83.1:8283)
    BRIDGE_LINK=(-socket 127.0.83.1:8283)
    FILE_LEN=60000
    cd "$HERE"
    mkfifo machine.keys bridge.keys cable.keys
    [ "$LINK" != --uart ] || start_line
    mkdir offered
    head -c $FILE_LEN /dev/urandom >upload.bin
    head -c $FILE_LEN /dev/urandom >"offered/7 menu.bin"
    "$BIN/LumoSmuSim" --listen $MACHINE_AT --files offered <machine.keys >machine.log &
    PIDS+=($!)
    exec 8>machine.keys
    await machine.log "listening on"
    "$BIN/LumoBridge" -server $MACHINE_AT "${BRIDGE_LINK[@]}" <bridge.keys >bridge.log &
    BRIDGE=$!
    PIDS+=($BRIDGE)
    exec 9>bridge.keys
    await bridge.log "Max payload lenght"
}

# same_content LOG WHAT FILE: the line of LOG that holds WHAT ends with the size and the MD5 of FILE.
same_content() {
    local shown expected
    shown=$(grep -F -- "$2" "$1")
    expected="$(stat -c %s "$3") bytes, MD5 $(md5sum <"$3" | cut -d ' ' -f 1)"
    if [[ $shown != *"$expected"* ]]; then
        say "'$shown' is not '$3' of $expected"
        return 1
    fi
}

show_files() {
    say "The client sends a file to the machine"
    client upload 5 upload.bin >upload.log
    cat upload.log
    await machine.log "file 5 received"
    same_content upload.log "upload 5 done" upload.bin
    same_content machine.log "file 5 received" upload.bin
    say "The client asks the machine for a file"
    client download 7 -o downloaded.bin >download.log
    cat download.log
    same_content machine.log "file request 7" downloaded.bin
    same_content download.log "download 7 done" "offered/7 menu.bin"
    cmp downloaded.bin "offered/7 menu.bin"
}

show_roads() {
    say "The client reads the machine's status and a temperature"
    client get 1 4
    say "The client sets a value"
    client set 100 int 150
    await machine.log "150"
    say "The client exchanges a raw buffer with the machine"
    client buffer "CA FE 01"
    show_files
    say "The client watches a value that the machine pushes"
    client watch --count 1 &
    local watcher=$!
    await bridge.log "From Client: Link status up" 6
    type_to_machine "set 5 71.5"
    wait $watcher
    say "What the machine saw"
    cat machine.log
    say "The bridge's own trace of one request: client -> bridge -> machine and back"
    sed -n '/33 06 00 00 00 04/,/From Client: Link status down/p' bridge.log | cut -c 1-110
}

stop_bridge() {
    say "Typing x at the bridge"
    echo x >&9
    local status=0
    wait "$BRIDGE" || status=$?
    tail -n 3 bridge.log
    say "Exit status $status"
    [ "$status" -eq 0 ]
}

trap finish EXIT
say "LumoBridge: a client, the bridge and a simulated coffee machine"
need_packages "${BUILD_TOOLS[@]}"
build_preset release LumoBridge LumoSmuSim LumoClient PtyCable
LINK=${1:-}
if [ "$LINK" = --keep ]; then
    keep
    exit
fi
start_all
show_roads
stop_bridge
say "DEMO SUCCEEDED"
