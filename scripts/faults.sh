#!/usr/bin/env bash
# Lets everything happen to the daemon that peers, disks and people do to it, and looks each time whether it serves on, rests
# and lost nothing. Works on a fresh Debian 12; asks nothing.
#   scripts/faults.sh [NAME...]      all runs, or those; the table goes into docs/quality.md when it is all
#   LUMO_KILLS=N                     how often the bridge is killed in each of the runs that do so (1000)
#   LUMO_SEEDS=N                     how many runs by chance on each link (20)
. "$(dirname "$0")/common.sh"
. scripts/rig.sh
. scripts/faults_long.sh
. scripts/faults_world.sh

PROJECT=$PWD
OUT=$PWD/build/${LUMO_PRESET:-release}/faults
. scripts/faults_crash.sh
DOCUMENT=docs/quality.md
KILLS=${LUMO_KILLS:-1000}
SEEDS=${LUMO_SEEDS:-20}
NOBODY=65534  # what no user's folder belongs to

RUNS=(client_faults machine_faults line_faults stalled_client stalled_machine interrupted descriptors full_disk
    folder_deleted folder_read_only replaced_client machine_resets hung_up_line swallowed_packets pulled_cable
    machine_asleep floods unread_output two_in_one_folder chance_tcp chance_line killed told_once lost_writes)

TRANSFERS=(upload 5 up.bin download 8 -odown.bin)
COMMANDS=("get 4" "set 100 int NNNN" "buffer CAFENNNN" "upload 5 up.bin" "download 7 down.bin")
TRIALS=0
VANISHED=0
STRANGERS='' # clients without a journal were there
RSS_MOST=16384 # kB

# ---- What each run is made of.

# begin LINK TIMEOUT [OPTION...]: all is started; client and machine get the options, too.
begin() {
    head -c 60000 /dev/urandom >"$FOLDER/up.bin"
    mkdir "$FOLDER/offered"
    head -c 40000 /dev/urandom >"$FOLDER/offered/7.bin"
    head -c 30000000 /dev/urandom >"$FOLDER/offered/8.large"
    enter_rig "$FOLDER" "$1" "$ADDRESS"
    CLIENT_OPTIONS=(--timeout "$2" --journal client.journal "${@:3}")
    start_machine --files offered --journal machine.journal "${@:3}"
    start_bridge
}

# orders LINE...: what the client is typed; true or false as the client says. No two values, buffers or uploads are alike.
orders() {
    TRIALS=$((TRIALS + 1))
    printf '%s' "$TRIALS" | dd of=up.bin conv=notrunc status=none
    printf '%s\n' "${@//NNNN/$(printf %04d $TRIALS)}" | client shell --block 5000 >>client.log 2>&1
}

# A machine that drops the link ends the bridge: then the next one is started, as the board does. Of a machine that vanished
# nothing tells the bridge: people end it.
ensure_bridge() {
    local vanished
    vanished=$(grep -c "vanished from the bridge" machine.log || true)
    if [ "$vanished" -gt $VANISHED ]; then
        VANISHED=$vanished
        echo x >&9
    elif is_running "$BRIDGE"; then
        return 0
    fi
    wait "$BRIDGE" || { say "the bridge ended with status $?"; return 1; }
    start_bridge
}

# A new client is answered, within 5 s at the latest: a bridge whose machine is gone needs one to end.
served() {
    local tries
    for ((tries = 0; tries < 50; ++tries)); do
        ensure_bridge || return 1
        client get 4 >>client.log 2>&1 && return 0
        sleep 0.1
    done
    say "serves nobody any more"
    return 1
}

# How many messages for the machine the bridge says that it left at its ends.
left_messages() {
    sed -n 's/.* - \([0-9]*\) messages of the client were not sent to the machine$/\1/p' bridge.log |
        awk '{ sum += $1 } END { print sum + 0 }'
}

# Whether the bridge's memory was small all along.
stays_small() {
    local kb
    kb=$(awk '$1 == "VmHWM:" { print $2 }' "/proc/$BRIDGE/status")
    say "the bridge held $kb kB"
    [ "$kb" -lt $RSS_MOST ]
}

# The end of each run: the bridge serves, rests and ends well, and both journals fit together.
settle() {
    served
    rests
    stop_bridge
    type_to_machine quit
    wait "$MACHINE"
    [ -n "$STRANGERS" ] || "$BIN/HistoryCheck" --left "$(left_messages)" client.journal machine.journal
    echo "$TRIALS | $IDLE %" >result
}

# ---- The runs.

# Each verb hits each command, at its first packet and further on.
run_client_faults() {
    local verb command before
    begin tcp 400
    for verb in stall:300 vanish reset half:300 checksum length block twice late:300 flood:2000 before after split double; do
        for command in "${COMMANDS[@]}"; do
            for before in "" $'fault split' $'fault split\nfault split\nfault split'; do
                orders ${before:+"$before"} "fault ${verb/:/ }" "$command" || true
                served
            done
        done
    done
    settle
}

run_machine_faults() {
    local verb command
    begin tcp 400
    for verb in stall:300 vanish reset half:300 checksum length twice late:300 flood:2000 before after close split double; do
        for command in "${COMMANDS[@]}"; do
            type_to_machine "fault ${verb/:/ }"
            orders "$command" || true
            served
        done
    done
    settle
}

# As client_faults, on a serial line with what suits it.
run_line_faults() {
    local verb command
    begin serial 1500
    head -c 9000 /dev/urandom >up.bin
    head -c 9000 /dev/urandom >offered/7.bin
    for verb in vanish reset half:300 checksum length block twice before after split double; do
        for command in "get 4" "upload 5 up.bin" "download 7 down.bin"; do
            orders "fault ${verb/:/ }" "$command" || true
            served
        done
    done
    settle
}

# A client that is stopped in the midst of a large file, while the machine floods.
run_stalled_client() {
    begin tcp 5000
    for ((TRIALS = 0; TRIALS < 5; ++TRIALS)); do
        : >bridge.log
        start_client download 8 --block 2000 -o down.bin
        await bridge.log "FileSend:: fileId=8 block"
        kill -STOP "$CLIENT"
        type_to_machine "fault flood 3000"
        type_to_machine "set 5 71.5"
        sleep 0.5
        rests
        kill -CONT "$CLIENT"
        wait "$CLIENT" || { say "the download did not go on"; return 1; }
        cmp down.bin "offered/8.large"
    done
    settle
}

run_stalled_machine() {
    begin tcp 400
    for ((TRIALS = 0; TRIALS < 5; )); do
        kill -STOP "$MACHINE"
        orders "fault flood 20000" "set 100 int NNNN" "upload 5 up.bin" || true
        orders "fault flood 20000" "buffer CAFENNNN" || true
        kill -CONT "$MACHINE"
        served
    done
    settle
}

# A process that is stopped and goes on finds its system calls interrupted.
run_interrupted() {
    begin tcp 5000
    for ((TRIALS = 0; TRIALS < 5; ++TRIALS)); do
        : >bridge.log
        start_client download 8 --block 2000 -o down.bin
        while is_running "$CLIENT"; do
            kill -STOP "$BRIDGE"
            kill -CONT "$BRIDGE"
        done
        wait "$CLIENT" || { say "the download did not come to its end"; return 1; }
        cmp down.bin "offered/8.large"
    done
    settle
}

# Clients come until the bridge has no descriptor left, and go again.
run_descriptors() {
    local others=() other i
    STRANGERS=yes
    BRIDGE_WITH=(prlimit --nofile=26)
    begin tcp 400
    for ((TRIALS = 0; TRIALS < 5; ++TRIALS)); do
        others=()
        for ((i = 0; i < 40; ++i)); do
            exec {other}<>"/dev/tcp/$ADDRESS/8283" || true
            others+=("$other")
        done
        orders "upload 5 up.bin" || true
        for other in "${others[@]}"; do exec {other}>&-; done
        served
    done
    settle
}

refuses_files() {
    orders "upload 5 up.bin" && { say "a file was taken that has no place"; return 1; }
    served
}

# All of it sees a folder that has room for little.
run_full_disk() {
    if [ "$(id -u)" -ne 0 ] || [ -z "${LUMO_MOUNTS:-}" ]; then
        LUMO_MOUNTS=own exec unshare -rm "${BASH:-bash}" "$PROJECT/scripts/faults.sh" --in "$FOLDER" "$ADDRESS" full_disk
    fi
    mkdir "$FOLDER/BridgeTemp"
    mount -t tmpfs -o size=32k tmpfs "$FOLDER/BridgeTemp"
    begin tcp 400
    for ((i = 0; i < 5; ++i)); do refuses_files; done
    head -c 4000 /dev/urandom >up.bin
    orders "upload 5 up.bin"
    settle
}

run_folder_deleted() {
    begin tcp 400
    for ((i = 0; i < 5; ++i)); do
        rm -rf BridgeTemp
        orders "upload 5 up.bin" || true
        served
    done
    settle
}

run_folder_read_only() {
    mkdir "$FOLDER/BridgeTemp"
    chmod 755 "$FOLDER"
    chmod 555 "$FOLDER/BridgeTemp"
    [ "$(id -u)" -ne 0 ] || BRIDGE_WITH=(setpriv --reuid=$NOBODY --regid=$NOBODY --clear-groups)
    begin tcp 400
    for ((i = 0; i < 5; ++i)); do refuses_files; done
    settle
}

# After its minute of protection a client that stands still in the midst of a file makes room for the next one. One that
# sends a file goes on a little every 5 s, as it would be given up otherwise.
run_replaced_client() {
    local what k
    STRANGERS=yes
    begin tcp 20000
    for what in "upload 5 offered/8.large" "download 8 -o down.large"; do
        : >bridge.log
        # shellcheck disable=SC2086
        start_client $what --block 500
        await bridge.log "Protocol Send" 100
        kill -STOP "$CLIENT"
        orders "get 4" && { say "a client in its first minute was replaced"; return 1; }
        for ((k = 0; k < 13; ++k)); do
            sleep 5
            kill -CONT "$CLIENT"
            sleep 0.05
            kill -STOP "$CLIENT"
        done
        : >bridge.log
        orders "upload 6 up.bin" "download 7 down.bin"
        cmp down.bin offered/7.bin
        await bridge.log "Previous is REPLACED"
        kill -CONT "$CLIENT"
        wait "$CLIENT" && { say "the client that was replaced did not notice"; return 1; }
    done
    settle
}

# A machine and a bridge in the place of those that have ended: one trial more.
start_pair_again() {
    : >machine.log
    start_machine --files offered --journal machine.journal
    start_bridge
    served
    TRIALS=$((TRIALS + 1))
}

run_machine_resets() {
    begin tcp 400
    for ((i = 0; i < 10; ++i)); do
        kill -KILL "$MACHINE"
        wait "$MACHINE" || true
        wait "$BRIDGE" || { say "the bridge ended with status $?"; return 1; }
        start_pair_again
    done
    settle
}

run_hung_up_line() {
    local i
    begin serial 1500
    for ((i = 0; i < 6; ++i)); do
        : >bridge.log
        start_client "${TRANSFERS[@]:$((3 * (i % 2))):3}"
        await bridge.log "Protocol Send" 3
        kill "$CABLE"
        wait "$CABLE" || true
        wait "$CLIENT" || true
        start_line
        served
        TRIALS=$((TRIALS + 1))
    done
    settle
}

# by_chance LINK RATE COMMAND...: many seeds; each run's journals are checked.
by_chance() {
    local link=$1 rate=$2 seed folder i
    shift 2
    folder=$FOLDER
    for ((seed = 1; seed <= SEEDS; ++seed)); do
        FOLDER=$folder/$seed
        mkdir "$FOLDER"
        VANISHED=0
        begin "$link" 400 --fault-rate "$rate" --seed "$seed"
        for ((i = 0; i < 3; ++i)); do
            orders "$@" || true
            served
        done
        settle
        [ "$link" = tcp ] || kill "$CABLE"
        TRIALS=$seed
        echo "$TRIALS | $IDLE %" >"$folder/result"
        rm -r "$FOLDER"
    done
}

run_chance_tcp() {
    by_chance tcp 4 "${COMMANDS[@]}" poll
}

run_chance_line() {
    by_chance serial 4 "${COMMANDS[@]:0:3}" poll "get 6"
}

# ---- All of them.

if [ "${1:-}" = --in ]; then
    FOLDER=$2 ADDRESS=$3
    trap end_rig EXIT
    "run_$4"
    exit
fi

one_run() {
    local folder=$OUT/$1 status=0
    rm -rf "$folder"
    mkdir -p "$folder"
    bash scripts/faults.sh --in "$folder" "127.93.$((1 + $$ % 250)).$2" "$1" >"$folder.log" 2>&1 || status=$?
    if [ $status -eq 0 ] && [ -e "$folder/result" ]; then
        printf '| %s | %s | holds |\n' "${1//_/ }" "$(cat "$folder/result")"
        rm -r "$folder"
    else
        printf '| %s | | | **FAILED** |\n' "${1//_/ }"
        tail -n 5 "$folder.log" >&2
    fi
}

say "LumoBridge: faults"
need_packages "${BUILD_TOOLS[@]}"
build_preset "${LUMO_PRESET:-release}" "${RIG_PROGRAMS[@]}" HistoryCheck \
    ForgetfulDisk HeldAnnouncement
mkdir -p "$OUT"
CHOSEN=("$@")
[ $# -gt 0 ] || CHOSEN=("${RUNS[@]}")
{
    printf '| Run | Trials | Idle share of a processor afterwards | Verdict |\n|---|---|---|---|\n'
    for i in "${!CHOSEN[@]}"; do one_run "${CHOSEN[i]}" $((i + 1)); done
} | tee "$OUT/table.md"
[ $# -gt 0 ] || fill_section "$DOCUMENT" faults "$OUT/table.md"
if grep -q FAILED "$OUT/table.md"; then
    say "NOT ALL RUNS HOLD; their files are in $OUT"
    exit 1
fi
say "ALL RUNS HOLD"
