#!/usr/bin/env bash
# Runs the daemon on both links for a long time while client and machine misbehave by chance, and plots what it holds: memory,
# descriptors, processor time, queues. The lines must be flat. Works on a fresh Debian 12; asks nothing.
#   scripts/soak.sh MINUTES [SEED]       without a seed one is drawn, and shown
# Tables and plots stay in build/release/soak; those of 30 minutes or more go into docs/quality.md.
. "$(dirname "$0")/common.sh"
. scripts/rig.sh

OUT=$PWD/build/${LUMO_PRESET:-release}/soak
STATED_FROM=30 # minutes
LOG_MOST=1000000
KEPT_SEC=5 # how long the machine leaves a file where it was told of it
AHEAD=5000 # turns that fit into the pipe before the client

# What keeps the machine's link; without it the daemon ends, as it should. A client that vanished blocks the others for a
# minute, so that is rare.
MACHINE_FAULTS=(stall:300 late:200 twice flood:20 split double)
OFTEN=(stall:300 reset half:300 checksum length block twice late:200 flood:50 before after split double)
CLIENT_FAULTS=("${OFTEN[@]}" "${OFTEN[@]}" "${OFTEN[@]}" "${OFTEN[@]}" vanish)

# What the client is typed, in turn and for ever; each value, buffer and upload is another one.
type_for_ever() {
    local n
    for ((n = 0; ; ++n)); do
        printf 'get %d\nset 100 int %d\nbuffer CA%06X\npoll\n' $((1 + n % 8)) "$n" "$n" || return 0
        if [ $((n % 10)) -eq 0 ]; then
            { echo $n && cat up.bin; } >up.$n
            rm -f up.$((n - AHEAD))
            printf 'upload 5 up.%d\ndownload 7 down.bin\n' $n
        fi
        sleep "$PAUSE"
    done 2>/dev/null
}

# Seconds, resident KB, descriptors, processor microseconds, bytes waiting in its sockets, received files not yet taken.
sample() {
    local kb descriptors nsec queued files
    kb=$(awk '/^VmRSS/ { print $2 }' "/proc/$BRIDGE/status")
    descriptors=$(find "/proc/$BRIDGE/fd" -mindepth 1 2>/dev/null | wc -l)
    nsec=$(processor_nsec "$BRIDGE")
    queued=$(ss -Htn "src $HOST or dst $HOST" | awk '{ sum += $2 + $3 } END { print sum + 0 }')
    files=$(find BridgeTemp -name '*.tmp' | wc -l)
    echo "$((SECONDS - BEGUN)) $kb $descriptors $((nsec / 1000)) $queued $files"
}

# soak LINK HOST FILE_LEN PAUSE: one rig, for UNTIL seconds. The machine takes the files that it was told of a little later.
soak() {
    HOST=$2
    PAUSE=$4
    mkdir offered
    head -c "$3" /dev/urandom >up.bin
    head -c "$3" /dev/urandom >offered/7.bin
    enter_rig "$PWD" "$1" "$HOST"
    BRIDGE_OPTIONS=(-logfile trace.log -logdim $LOG_MOST)
    start_machine --files offered --journal machine.journal --drift 500 --fault-rate 2 --seed "$SEED" \
        "${MACHINE_FAULTS[@]/#/--fault=}"
    start_bridge
    CLIENT_OPTIONS=(--timeout 1500 --journal client.journal)
    mkfifo client.keys
    type_for_ever >client.keys &
    FEEDER=$!
    PIDS+=("$FEEDER")
    start_client --fault-rate 2 --seed "$SEED" "${CLIENT_FAULTS[@]/#/--fault=}" shell <client.keys
    BEGUN=$SECONDS
    while [ $((SECONDS - BEGUN)) -lt "$UNTIL" ]; do
        sample >>samples.dat
        : >bridge.log
        : >client.log
        find BridgeTemp -name '*.tmp' ! -newermt "-$KEPT_SEC seconds" -delete
        [ "$(stat -c %s trace.log)" -le $((2 * LOG_MOST)) ] || { say "the log file grows beyond its limit"; return 1; }
        is_running "$BRIDGE" || { say "the bridge has ended"; return 1; }
        is_running "$CLIENT" || { say "the client has ended"; return 1; }
        sleep "$PERIOD"
    done
    kill "$FEEDER" "$CLIENT"
    wait "$CLIENT" || true
    served_at_last
    rests
    sample >>samples.dat
    stop_bridge
    type_to_machine quit
    wait "$MACHINE"
    "$BIN/HistoryCheck" client.journal machine.journal
}

served_at_last() {
    local tries
    for ((tries = 0; tries < 30; ++tries)); do
        client get 4 && return 0
        sleep 0.1
    done
    say "serves nobody any more"
    return 1
}

# Of one link: what the first and the last third of the time held at most, and the share of the processor at rest.
row() {
    local idle=$2
    awk -v link="$1" -v idle="$idle" '
        { kb[NR] = $2; descriptors[NR] = $3; usec[NR] = $4; time[NR] = $1; queued[NR] = $5 }
        function most(values, from, to,   i, best) {
            for (i = from; i <= to; ++i) if (values[i] > best) best = values[i]
            return best
        }
        function share(from, to) { return (usec[to] - usec[from]) / (time[to] - time[from]) / 1e4 }
        END {
            third = int((NR - 1) / 3)
            grows = most(kb, 2 * third, NR) - most(kb, 1, third)
            more = most(descriptors, 2 * third, NR) - most(descriptors, 1, third)
            flat = grows <= 256 && more <= 2 && queued[NR] == 0
            printf "| %s | %d | %d, %d | %d, %d | %.2f, %.2f | %d | %s | %s |\n", link, time[NR], most(kb, 1, third),
                most(kb, 2 * third, NR), most(descriptors, 1, third), most(descriptors, 2 * third, NR),
                share(1, third), share(2 * third, NR - 1), most(queued, 1, NR), idle, flat ? "flat" : "**GROWS**"
        }' "$OUT/$1/samples.dat"
}

if [ "${1:-}" = --in ]; then
    SEED=$4 UNTIL=$5 PERIOD=$6
    trap end_rig EXIT
    cd "$2"
    soak "$3" "${@:7}"
    echo "$IDLE" >idle
    exit
fi

MINUTES=${1:?how many minutes? scripts/soak.sh MINUTES [SEED]}
SEED=${2:-$RANDOM}
say "LumoBridge: soak of $MINUTES min, seed $SEED"
need_packages "${BUILD_TOOLS[@]}" gnuplot-nox iproute2
build_preset "${LUMO_PRESET:-release}" "${RIG_PROGRAMS[@]}" HistoryCheck
rm -rf "$OUT"
mkdir -p "$OUT/tcp" "$OUT/serial"
PERIOD=$(awk "BEGIN { print ($MINUTES < 10 ? 1 : $MINUTES / 10) }")
STATUS=0
bash scripts/soak.sh --in "$OUT/tcp" tcp "$SEED" $((MINUTES * 60)) "$PERIOD" 127.0.97.1 60000 0.05 >"$OUT/tcp.log" 2>&1 &
TCP=$!
bash scripts/soak.sh --in "$OUT/serial" serial "$SEED" $((MINUTES * 60)) "$PERIOD" 127.0.97.2 3000 1 >"$OUT/serial.log" 2>&1 &
wait $! || STATUS=1
wait $TCP || STATUS=1
gnuplot -e "dir='$OUT'" scripts/soak.gnuplot
tail -qn 1 "$OUT"/tcp.log "$OUT"/serial.log
[ $STATUS -eq 0 ] || { say "THE SOAK FAILED; see $OUT"; exit 1; }
{
    echo "Seed $SEED; of the first and of the last third of the time what was most:"
    echo
    echo "| Link | Seconds | Resident KB | Descriptors | % of a processor | Bytes waiting in sockets | % at rest | Verdict |"
    echo "|---|---|---|---|---|---|---|---|"
    for link in tcp serial; do row $link "$(cat "$OUT/$link/idle")"; done
} | tee "$OUT/table.md"
if grep -q GROWS "$OUT/table.md"; then
    say "SOMETHING GROWS; see $OUT"
    exit 1
fi
if [ "$MINUTES" -ge $STATED_FROM ]; then
    fill_section docs/quality.md soak "$OUT/table.md"
    cp "$OUT/soak.svg" docs/plots/soak.svg
fi
say "FLAT; tables and plot in $OUT"
