# The runs of faults.sh that take their time: packets swallowed, cables pulled, a machine asleep, floods. To be sourced
# by it.

# swallows END N: options of PtyCable, which then swallows each N-th packet of the bridge's end (a) or the client's (b).
swallows() {
    echo --swallow-"$1" "$2" --every
}

run_swallowed_packets() {
    local end n
    "$BIN/PtyCable" --help | grep -qF -- "$(swallows a 1 | cut -d ' ' -f 1)" || { say "no cable swallows packets"; return 1; }
    begin serial 3000
    head -c 9000 /dev/urandom >up.bin
    head -c 9000 /dev/urandom >offered/7.bin
    for end in a b; do
        for n in 3 4 5 7 11; do
            kill "$CABLE"
            wait "$CABLE" || true
            read -ra CABLE_OPTIONS < <(swallows $end $n)
            start_line
            orders "get 4" "set 100 int NNNN" "upload 5 up.bin" "download 7 down.bin" || true
        done
    done
    kill "$CABLE"
    wait "$CABLE" || true
    CABLE_OPTIONS=()
    start_line
    settle
}

# Two networks and a cable between them: this one, and the one beyond.
lay_cable() {
    unshare -n sleep infinity &
    BEYOND=$!
    PIDS+=($BEYOND)
    until [ "$(readlink "/proc/$BEYOND/ns/net")" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.01; done
    ip link set lo up
    ip link add here type veth peer name beyond netns "$BEYOND"
    ip address add 10.93.0.1/24 dev here
    ip link set here up
    beyond ip address add 10.93.0.2/24 dev beyond
    plug
}
beyond() { nsenter -t "$BEYOND" -n "$@"; }
pull() { beyond ip link set beyond down; }
plug() { beyond ip link set beyond up; }

# seen_within_12s COMMAND...: as soon as it succeeds.
seen_within_12s() {
    local tries
    for ((tries = 0; tries < 120; ++tries)); do
        "$@" && return 0
        sleep 0.1
    done
    say "a cable that was pulled was not seen"
    return 1
}
link_is_down_again() { [ "$(grep -c "^link down" machine.log)" -gt "$1" ]; }
bridge_has_ended() { ! is_running "$BRIDGE"; }

# A client beyond the cable is gone with it, idle or with a value on its way. A transfer outlives an interruption.
pull_clients_cable() {
    local value downs
    for value in "" "set 5 71.5" "" "set 5 72.5"; do
        start_client watch
        sleep 0.5
        downs=$(grep -c "^link down" machine.log || true)
        pull
        [ -z "$value" ] || type_to_machine "$value"
        kill "$CLIENT"
        wait "$CLIENT" || true
        seen_within_12s link_is_down_again "$downs"
        plug
        served
        TRIALS=$((TRIALS + 1))
    done
    : >bridge.log
    start_client download 8 --block 2000 -o down.bin
    await bridge.log "FileSend:: fileId=8 block"
    pull
    sleep 2
    plug
    wait "$CLIENT" || { say "an interruption ended a download"; return 1; }
    cmp down.bin offered/8.large
}

# A machine beyond the cable ends the bridge, idle or with a value on its way.
pull_machines_cable() {
    local value
    for value in "" "set 100 int NNNN" "" "set 100 int NNNN"; do
        pull
        [ -z "$value" ] || orders "$value"
        kill -KILL "$MACHINE"
        wait "$MACHINE" || true
        seen_within_12s bridge_has_ended
        wait "$BRIDGE" || { say "the bridge ended with status $?"; return 1; }
        plug
        start_pair_again
    done
}

run_pulled_cable() {
    if [ -z "${LUMO_NETWORK:-}" ]; then
        LUMO_NETWORK=own exec unshare -rn "${BASH:-bash}" "$PROJECT/scripts/faults.sh" --in "$FOLDER" 10.93.0.1 pulled_cable
    fi
    lay_cable
    CLIENT_WITH=(nsenter -t "$BEYOND" -n)
    begin tcp 5000
    pull_clients_cable
    stop_bridge
    type_to_machine quit
    wait "$MACHINE"
    CLIENT_WITH=()
    MACHINE_WITH=(nsenter -t "$BEYOND" -n)
    MACHINE_AT=10.93.0.2:2283
    : >machine.log
    start_machine --files offered --journal machine.journal
    start_bridge
    pull_machines_cable
    settle
}

# values COUNT [HEX]: orders that set variable 100, no two of a run alike; of raw bytes when HEX is given.
values() {
    awk -v first=$((1000000 * (TRIALS + 1))) -v count="$1" -v hex="${2:-}" 'BEGIN {
        for (i = first; i < first + count; ++i)
            if (hex == "") print "set 100 int " i; else printf "set 100 bytes %08X%s\n", i, hex
    }'
}

# A machine sleeps for a minute while a client goes on giving it values: it gets all that were acknowledged.
run_machine_asleep() {
    begin tcp 90000
    for ((TRIALS = 0; TRIALS < 2; ++TRIALS)); do
        kill -STOP "$MACHINE"
        start_client shell < <(values 15000)
        sleep 60
        rests
        stays_small
        kill -CONT "$MACHINE"
        wait "$CLIENT" || { say "not all values were acknowledged"; return 1; }
        served
    done
    settle
}

# flood [NAME...]: client and machine give all they can, while the processes of those names stand still for most of it.
flood() {
    local name
    start_client shell < <(values 1000 "$(printf '5C%.0s' {1..20000})")
    type_to_machine "fault flood 100000"
    type_to_machine "set 5 $((60 + TRIALS)).5"
    sleep 0.3
    for name in "$@"; do kill -STOP "${!name}"; done
    sleep 7
    stays_small
    for name in "$@"; do kill -CONT "${!name}"; done
    wait "$CLIENT" || true
    served
    stays_small
    TRIALS=$((TRIALS + 1))
}

run_floods() {
    begin tcp 20000
    flood
    flood MACHINE
    flood CLIENT
    flood MACHINE CLIENT
    settle
}
