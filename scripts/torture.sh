#!/usr/bin/env bash
# Fails each call of the daemon that can fail, one run for each: memory, files, sockets, events, threads, terminals. The daemon
# has to serve on, or to end with a message and a stated status; nothing that was acknowledged may be lost, no descriptor
# leak. Some calls fail ever after, signals interrupt the rest, the clock is set. Works on a fresh Debian 12; asks nothing.
# With --quick a sample of all that, and docs/quality.md stays as it is.
. "$(dirname "$0")/common.sh"

OUT=$PWD/build/torture
JOBS=$((2 * $(nproc))) # a run is waiting for the most part
STEP=()
[ "${1:-}" != --quick ] || STEP=(--step 15)

# torture PRESET PRELOAD NAME: all runs on one build, the table under that name.
torture() {
    mkdir -p "$OUT/$3"
    "$PWD/build/release/bin/Torture" --bridge "$PWD/build/$1/bin/LumoBridge" --preload "$2" --folder "$OUT/$3" \
        --jobs "$JOBS" --out "$OUT/$3.md" "${STEP[@]}" || { say "TORTURE FOUND FAULTS; see $OUT/$3"; exit 1; }
}

say "LumoBridge: torture"
need_packages "${BUILD_TOOLS[@]}" binutils
build_preset release LumoBridge FailNth Torture
build_preset asan LumoBridge
rm -rf "$OUT"
FAIL_NTH=$PWD/build/release/tools/Torture/libFailNth.so
torture release "$FAIL_NTH" calls
say "Once more, with the address sanitizer, which has its own memory and looks for leaks at the end"
export ASAN_OPTIONS=exitcode=23
torture asan "$(g++ -print-file-name=libasan.so) $FAIL_NTH" leaks
if [ ${#STEP[@]} -eq 0 ]; then
    {
        cat "$OUT/calls.md"
        printf 'With the address sanitizer, for leaks, without the calls for memory:\n\n'
        grep -hE '^\| (On|all) |^\|---' "$OUT/leaks.md"
    } >"$OUT/table.md"
    fill_section docs/quality.md torture "$OUT/table.md"
fi
say "TORTURE FOUND NO FAULT"
