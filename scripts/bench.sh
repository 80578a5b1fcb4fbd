#!/usr/bin/env bash
# Measures the daemon against bare programs that do the same work, and says of each figure whether it holds. Works on a fresh
# Debian 12; asks nothing. Results and plots go to build/bench/results, and into docs/performance.md. With --quick, one
# short round tries everything out and the document stays as it is. With --peers, programs of Debian that do a like job are
# measured, too.
. "$(dirname "$0")/common.sh"

BIN=build/bench/bin
BOARD=build/bench-armhf
OUT=build/bench/results
DOCUMENT=docs/performance.md
COUNTED_SHORT=10000
COUNTED_LONG=20000
FILES_NEED_KB=4000000

# On the board's build: a line for each instruction that is run.
run_on_board() {
    qemu-arm -L /usr/arm-linux-gnueabihf -singlestep -d exec,nochain -D /dev/stdout "$BOARD/bin/CountBench" "$@" |
        grep -c '^Trace'
}

run_here() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$BIN/CountBench" "$@" 2>&1 |
        sed -n 's/.*Collected : //p'
}

# instructions_per_byte RUN LOOP: of a loop, without what the program needs to start.
instructions_per_byte() {
    local short long
    short=$($1 "$2" $COUNTED_SHORT)
    long=$($1 "$2" $COUNTED_LONG)
    awk "BEGIN { print ($long - $short) / ($COUNTED_LONG - $COUNTED_SHORT) }"
}

stripped_kb() {
    arm-linux-gnueabihf-strip -o "$OUT/LumoBridge.armhf" "$1"
    awk "BEGIN { print $(stat -c %s "$OUT/LumoBridge.armhf") / 1024 }"
    rm "$OUT/LumoBridge.armhf"
}

build_board() {
    say "Building for the board"
    cmake --preset armhf -B "$BOARD" -DLUMO_BENCH=ON -DBUILD_TESTING=OFF >/dev/null
    cmake --build "$BOARD" -- --quiet LumoBridge CountBench
}

count_instructions() {
    say "Counting instructions"
    ADDED=(
        --add "armhf daemon, stripped" KB "$(stripped_kb "$BOARD/bin/LumoBridge")"
        --add "armhf checksum" instructions/byte "$(instructions_per_byte run_on_board crc)"
        --add "armhf hexadecimal text" instructions/byte "$(instructions_per_byte run_on_board hex)"
        --add "x86-64 checksum" instructions/byte "$(instructions_per_byte run_here crc)"
        --add "x86-64 hexadecimal text" instructions/byte "$(instructions_per_byte run_here hex)"
    )
}

measure_parts() {
    say "Measuring parts"
    "${FIRST[@]}" taskset -c "$CPU" "$BIN/MicroBench" --benchmark_min_time="$MIN_TIME" --benchmark_repetitions="$REPETITIONS" \
        --benchmark_out="$OUT/micro.csv" --benchmark_out_format=csv >"$OUT/micro.log" 2>&1
    {
        echo "| Part / bytes | ns, median | MB/s |"
        echo "|---|---|---|"
        sed -n 's/_median"/"/p' "$OUT/micro.csv" | tr -d '"' |
            awk -F, '{ printf "| %s | %.1f | %s |\n", $1, $4, $6 ? int($6 / 1e6) : "" }'
    } >"$OUT/micro.md"
}

# Files go to a disk with room for them: both programs flush what they receive.
files_folder() {
    local place room
    for place in "$PWD/build" /var/tmp "${TMPDIR:-/tmp}"; do
        room=$(df --output=avail -k "$place" | tail -n 1)
        case $(stat -f -c %T "$place") in
        tmpfs | ramfs) continue ;;
        esac
        [ "$room" -gt $FILES_NEED_KB ] || continue
        mktemp -d -p "$place"
        return
    done
    say "No disk has $FILES_NEED_KB kB of room" >&2
    return 1
}

# Each is started on an address of its own, whatever services its package starts.
measure_peers() {
    need_packages lrzsz mosquitto libmosquitto-dev ser2net
    cmake --preset bench -DLUMO_BENCH_PEERS=ON >/dev/null
    cmake --build --preset bench -- --quiet PeerBench
    "${FIRST[@]}" "$BIN/PeerBench" --bridge "$BIN/LumoBridge" --folder "$FILES" --out "$OUT" --cpu "$CPU" "${QUICK[@]}"
}

describe_machine() {
    cat <<TEXT
\`scripts/bench.sh\`, $(date -u +%Y-%m-%d), commit $(git rev-parse --short HEAD). $(lscpu | sed -n 's/^Model name: *//p' | head -n 1),
$(nproc) processors, one of them used; Linux $(uname -r); $(g++ --version | head -n 1). Load of the machine before: $(cut -d ' ' -f 1 /proc/loadavg).
TEXT
}

write_document() {
    local section
    for section in machine figures values micro peers; do
        [ ! -f "$OUT/$section.md" ] || fill_section "$DOCUMENT" $section "$OUT/$section.md"
    done
    mkdir -p docs/plots
    cp "$OUT"/*.svg docs/plots/
    say "Tables of $DOCUMENT written anew"
}

# So that what else the machine does seldom takes its turn in the middle of a request.
FIRST=()
[ "$(id -u)" -ne 0 ] || FIRST=(nice -n -10)
QUICK=()
PEERS=no
MIN_TIME=0.2
REPETITIONS=5
for option in "$@"; do
    case "$option" in
    --quick)
        QUICK=(--quick)
        MIN_TIME=0.01
        REPETITIONS=3
        ;;
    --peers) PEERS=yes ;;
    *)
        say "bench.sh [--quick] [--peers]"
        exit 2
        ;;
    esac
done

say "LumoBridge: measure"
need_packages "${BUILD_TOOLS[@]}" libbenchmark-dev gnuplot-nox valgrind g++-arm-linux-gnueabihf qemu-user
build_preset bench LumoBridge LoadBench MicroBench CountBench
build_board
mkdir -p "$OUT"
rm -f "$OUT"/*.md
CPU=$(($(nproc) - 1))
FILES=$(files_folder)
trap 'rm -rf "$FILES"' EXIT
describe_machine >"$OUT/machine.md"
count_instructions
measure_parts
"${FIRST[@]}" "$BIN/LoadBench" --bridge "$BIN/LumoBridge" --folder "$FILES" --out "$OUT" --cpu "$CPU" "${QUICK[@]}" "${ADDED[@]}"
[ "$PEERS" = no ] || measure_peers
gnuplot -e "dir='$OUT'" bench/plots.gnuplot
say "Results and plots in $OUT"
[ ${#QUICK[@]} -eq 0 ] || exit 0
write_document
if grep -E 'falls short|not measured' "$OUT/figures.md"; then
    say "NOT ALL FIGURES HOLD"
    exit 1
fi
say "ALL FIGURES HOLD"
