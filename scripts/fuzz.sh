#!/usr/bin/env bash
# Puts arbitrary bytes to every parser of the daemon, with address and undefined behaviour sanitizers. Works on a fresh
# Debian 12; asks nothing.
#   scripts/fuzz.sh MINUTES|SECONDSs [TARGET...]     each target so long, two at a time
# What each target did last is shown, and goes into docs/quality.md when it was 10 minutes or more for all of them. New inputs
# stay in build/fuzz/corpus, findings in build/fuzz/findings.
. "$(dirname "$0")/common.sh"

BIN=build/fuzz/bin
CORPUS=build/fuzz/corpus
FINDINGS=build/fuzz/findings
LOGS=build/fuzz/logs
TARGETS=(FuzzClientLink FuzzMachineLink FuzzRecord FuzzFileIndex FuzzPaths FuzzOptions)
STATED_FROM=600 # seconds

# fuzz TARGET SECONDS
fuzz() {
    mkdir -p "$CORPUS/$1" "$FINDINGS"
    "$BIN/$1" -max_total_time="$2" -timeout=10 -rss_limit_mb=2048 -dict="$PWD/fuzz/lumo.dict" -print_final_stats=1 \
        -artifact_prefix="$PWD/$FINDINGS/$1-" "$PWD/$CORPUS/$1" "$PWD/fuzz/corpus/$1" >"$LOGS/$1.out" 2>"$LOGS/$1.log" </dev/null
}

# What libFuzzer says at the end, as a row.
row() {
    local findings
    findings=$(find "$FINDINGS" -name "$1-*" | wc -l)
    awk -v name="$1" -v findings="$findings" '
        /^#[0-9]+.*cov: / { edges = $4; features = $6 }
        /^stat::number_of_executed_units/ { runs = $2 }
        /^stat::average_exec_per_sec/ { rate = $2 }
        /^Done / { seconds = $(NF - 1) }
        END { if (runs) printf "| %s | %d | %d | %d | %d | %d | %d |\n", name, seconds, runs, rate, edges, features, findings }
    ' "$LOGS/$1.log"
}

case ${1:-} in
*s) SECONDS_EACH=${1%s} ;;
*[0-9]) SECONDS_EACH=$(($1 * 60)) ;;
*) say "How long? scripts/fuzz.sh MINUTES|SECONDSs [TARGET...]"; exit 2 ;;
esac
CHOSEN=("${@:2}")
[ ${#CHOSEN[@]} -gt 0 ] || CHOSEN=("${TARGETS[@]}")

say "LumoBridge: fuzzing, $SECONDS_EACH s each"
need_packages "${BUILD_TOOLS[@]}" clang libclang-rt-dev
build_preset fuzz
# The files of a run live in memory where there is room for it: eight times as many runs.
[ ! -w /dev/shm ] || export TMPDIR=/dev/shm
mkdir -p "$LOGS" "$FINDINGS"
for target in "${CHOSEN[@]}"; do rm -f "$LOGS/$target".* "$FINDINGS/$target"-*; done
export -f fuzz
export BIN CORPUS FINDINGS LOGS
STATUS=0
printf '%s\n' "${CHOSEN[@]}" | xargs -P 2 -I TARGET bash -c "fuzz TARGET $SECONDS_EACH" || STATUS=1
{
    echo "| Target | Seconds | Runs | Runs/s | Edges | Features | Findings |"
    echo "|---|---|---|---|---|---|---|"
    for target in "${TARGETS[@]}"; do [ ! -e "$LOGS/$target.log" ] || row "$target"; done
} | tee build/fuzz/table.md
if [ $STATUS -ne 0 ]; then
    for target in "${CHOSEN[@]}"; do grep -hE -A 12 '^(==.*ERROR|.*runtime error|BROKEN)' "$LOGS/$target.log" | head -n 20 || true; done
    say "FUZZING FOUND SOMETHING; see $FINDINGS"
    exit 1
fi
if [ "$(awk -F '|' -v from=$STATED_FROM '$3 >= from && $8 == 0' build/fuzz/table.md | wc -l)" -eq ${#TARGETS[@]} ]; then
    fill_section docs/quality.md fuzz build/fuzz/table.md
fi
say "FUZZING FOUND NOTHING"
