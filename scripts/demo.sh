#!/usr/bin/env bash
# Shows the main job on this machine: a client asks a coffee machine through the bridge. The machine is simulated, all is
# on loopback. Works on a fresh Debian 12; asks nothing. With --uart, client and bridge are joined by a serial line of two
# pseudo-terminals instead of TCP. With --keep, simulator and bridge stay in the foreground.
. "$(dirname "$0")/common.sh"
. scripts/rig.sh

HERE=$(mktemp -d)

finish() {
    local status=$?
    trap - EXIT
    end_rig
    if [ $status -ne 0 ]; then
        say "DEMO FAILED; the bridge's last lines:"
        tail -n 20 "$HERE/bridge.log" 2>/dev/null || true
    fi
    rm -rf "$HERE"
    exit $status
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

# show NAME ARGUMENT...: shows and runs one command of the client, once the bridge has seen the last one leave.
CLIENTS=0
show() {
    await "$HERE/bridge.log" "From Client: Link status down" $CLIENTS
    CLIENTS=$((CLIENTS + 1))
    printf '$ LumoClient %s %s\n' "${CLIENT_LINK[*]}" "$*"
    client "$@"
}

start_all() {
    FILE_LEN=60000
    [ "$LINK" = tcp ] || FILE_LEN=6000 # a serial line needs its time
    mkdir "$HERE/offered"
    head -c $FILE_LEN /dev/urandom >"$HERE/upload.bin"
    head -c $FILE_LEN /dev/urandom >"$HERE/offered/7 menu.bin"
    enter_rig "$HERE" "$LINK" 127.0.83.1
    start_machine --files offered
    start_bridge
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
    show upload 5 upload.bin >upload.log
    cat upload.log
    await machine.log "file 5 received"
    same_content upload.log "upload 5 done" upload.bin
    same_content machine.log "file 5 received" upload.bin
    say "The client asks the machine for a file"
    show download 7 -o downloaded.bin >download.log
    cat download.log
    same_content machine.log "file request 7" downloaded.bin
    same_content download.log "download 7 done" "offered/7 menu.bin"
    cmp downloaded.bin "offered/7 menu.bin"
}

show_roads() {
    say "The client reads the machine's status and a temperature"
    show get 1 4
    say "The client sets a value"
    show set 100 int 150
    await machine.log "150"
    say "The client exchanges a raw buffer with the machine"
    show buffer "CA FE 01"
    show_files
    say "The client watches a value that the machine pushes"
    show watch --count 1 &
    local watcher=$!
    await bridge.log "From Client: Link status up" 6
    echo "(at the machine) set 5 71.5"
    type_to_machine "set 5 71.5"
    wait $watcher
    say "What the machine saw"
    cat machine.log
    say "The bridge's own trace of one request: client -> bridge -> machine and back"
    sed -n '/33 06 00 00 00 04/,/From Client: Link status down/p' bridge.log | cut -c 1-110
}

show_end() {
    say "Typing x at the bridge"
    local status=0
    stop_bridge || status=$?
    tail -n 3 bridge.log
    say "Exit status $status"
    [ "$status" -eq 0 ]
}

trap finish EXIT
say "LumoBridge: a client, the bridge and a simulated coffee machine"
need_packages "${BUILD_TOOLS[@]}"
build_preset "${LUMO_PRESET:-release}" "${RIG_PROGRAMS[@]}"
case ${1:-} in
--keep)
    keep
    exit
    ;;
--uart) LINK=serial ;;
*) LINK=tcp ;;
esac
start_all
show_roads
show_end
say "DEMO SUCCEEDED"
