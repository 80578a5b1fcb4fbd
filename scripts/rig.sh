# The daemon between its two simulated peers, for scripts that drive it; all on loopback and pseudo-terminals. To be sourced
# after common.sh, with one rig to a shell: what it starts ends with that shell.

BIN=$PWD/build/${LUMO_PRESET:-release}/bin
RIG_PROGRAMS=(LumoBridge LumoSmuSim LumoClient PtyCable)
BRIDGE_WITH=()    # a command that runs the bridge, such as one that sets its limits
CLIENT_WITH=()    # the same for the client and the machine, such as one that runs them in another network
MACHINE_WITH=()
BRIDGE_OPTIONS=()
CLIENT_OPTIONS=()
CABLE_OPTIONS=()
IDLE_MOST=0.5     # percent of a processor
PIDS=()

# await FILE TEXT [COUNT]: until FILE holds TEXT in COUNT lines; fails after 10 s.
await() {
    local tries=0
    while [ "$(grep -cF -- "$2" "$1" 2>/dev/null || true)" -lt "${3:-1}" ]; do
        tries=$((tries + 1))
        if [ $tries -gt 400 ]; then
            say "No '$2' in $1"
            return 1
        fi
        sleep 0.025
    done
}

# enter_rig FOLDER LINK ADDRESS: the rig lives in FOLDER. LINK is tcp or serial, ADDRESS one of loopback for its own.
enter_rig() {
    cd "$1"
    LINK=$2
    MACHINE_AT=$3:2283
    mkfifo machine.keys bridge.keys cable.keys
    exec 7<>cable.keys 8<>machine.keys 9<>bridge.keys
    touch machine.log bridge.log client.log
    if [ "$LINK" = tcp ]; then
        CLIENT_LINK=(--tcp "$3:8283")
        BRIDGE_LINK=(-socket "$3:8283")
    else
        CLIENT_LINK=(--uart client.tty)
        BRIDGE_LINK=(-uart bridge.tty)
        start_line
    fi
}

# The bridge's serial device and the client's, joined at the speed of a real line.
start_line() {
    rm -f bridge.tty client.tty
    : >cable.log
    "$BIN/PtyCable" bridge.tty client.tty 11520 "${CABLE_OPTIONS[@]}" <cable.keys >cable.log &
    CABLE=$!
    PIDS+=($CABLE)
    await cable.log "joins"
}

start_machine() {
    "${MACHINE_WITH[@]}" "$BIN/LumoSmuSim" --listen "$MACHINE_AT" "$@" <machine.keys >>machine.log &
    MACHINE=$!
    PIDS+=($MACHINE)
    await machine.log "listening on"
}

start_bridge() {
    local starts
    starts=$(grep -cF "Max payload lenght" bridge.log || true)
    "${BRIDGE_WITH[@]}" "$BIN/LumoBridge" -server "$MACHINE_AT" "${BRIDGE_LINK[@]}" "${BRIDGE_OPTIONS[@]}" "$@" \
        <bridge.keys >>bridge.log 2>&1 &
    BRIDGE=$!
    PIDS+=($BRIDGE)
    await bridge.log "Max payload lenght" $((starts + 1))
}

client() {
    "${CLIENT_WITH[@]}" "$BIN/LumoClient" "${CLIENT_LINK[@]}" "${CLIENT_OPTIONS[@]}" "$@"
}

start_client() {
    "${CLIENT_WITH[@]}" "$BIN/LumoClient" "${CLIENT_LINK[@]}" "${CLIENT_OPTIONS[@]}" "$@" <&0 >>client.log 2>&1 &
    CLIENT=$!
    PIDS+=($CLIENT)
}

type_to_machine() {
    echo "$1" >&8
}

# Its exit status is that of the bridge.
stop_bridge() {
    echo x >&9
    wait "$BRIDGE"
}

is_running() {
    grep -qs ') [^Z] ' "/proc/$1/stat"
}

# processor_nsec PID: what all its threads have used.
processor_nsec() {
    awk '{ sum += $1 } END { printf "%.0f", sum }' "/proc/$1/task/"*/schedstat
}

# Says in IDLE what share of a processor the bridge needs for nothing, and whether that is little.
rests() {
    local before after
    before=$(processor_nsec "$BRIDGE")
    sleep 1
    after=$(processor_nsec "$BRIDGE")
    IDLE=$(awk "BEGIN { printf \"%.2f\", ($after - $before) / 1e7 }")
    awk "BEGIN { exit !($IDLE <= $IDLE_MOST) }" || { say "busy at rest: $IDLE % of a processor"; return 1; }
}

end_rig() {
    [ ${#PIDS[@]} -eq 0 ] || kill "${PIDS[@]}" 2>/dev/null || true
    wait 2>/dev/null || true
}
