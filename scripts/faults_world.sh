# The runs of faults.sh about what lies around the daemon: an output that nobody reads, a second daemon. To be sourced by it.

# Runs the bridge with an output that is read until it has started, and from then on never again.
unread() {
    { sed -u '/Max payload lenght/q'; exec sleep infinity; } <unread.pipe &
    exec "$@" >unread.pipe 2>&1
}

run_unread_output() {
    local i
    mkfifo "$FOLDER/unread.pipe"
    BRIDGE_WITH=(unread)
    begin tcp 3000
    for ((i = 0; i < 60; ++i)); do orders "${COMMANDS[@]}"; done
    rests
    kill -TERM "$BRIDGE"
    wait "$BRIDGE" || { say "the bridge ended with status $?"; return 1; }
    BRIDGE_WITH=()
    start_bridge
    settle
}

# Two bridges in one folder, each with a machine and a client of its own. The first one's files stay whatever the second one
# does; the second one relays all but files.
run_two_in_one_folder() {
    local i
    begin tcp 3000
    for ((i = 0; i < 20; ++i)); do
        orders "${COMMANDS[@]}"
        ls BridgeTemp >before
        second_bridge || return 1
        ls BridgeTemp | diff before - || { say "the second bridge touched the files of the first"; return 1; }
    done
    settle
}

second_bridge() (
    trap 'kill $second $machine 2>/dev/null' EXIT
    mkfifo "second.$i.keys" "second.$i.machine"
    exec 5<>"second.$i.keys" 6<>"second.$i.machine"
    local second='' machine='' link=127.94.$((1 + i)).1
    "$BIN/LumoSmuSim" --listen "$link:2283" <&6 >second.machine.log &
    machine=$!
    await second.machine.log "listening on"
    "$BIN/LumoBridge" -server "$link:2283" -socket "$link:8283" <&5 >second.log 2>&1 &
    second=$!
    await second.log "Max payload lenght"
    "$BIN/LumoClient" --tcp "$link:8283" get 4 || { say "the second bridge relays nothing"; return 1; }
    "$BIN/LumoClient" --tcp "$link:8283" --timeout 400 upload 5 up.bin && { say "the second bridge took a file"; return 1; }
    kill -TERM $second
    wait $second || { say "the second bridge ended with status $?"; return 1; }
)
