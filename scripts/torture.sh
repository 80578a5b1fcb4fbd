#!/usr/bin/env bash
# Fails each call of the daemon that can fail, one run for each: memory, files, sockets, events, threads, terminals. The daemon
# has to serve on, or to end with a message and a stated status; nothing that was acknowledged may be lost, no descriptor
# leak. Some calls fail ever after, signals interrupt the rest, the clock is set. Works on a fresh Debian 12; asks nothing.
# With --quick a sample of all that, and docs/quality.md stays as it is.
. "$(dirname "$0")/common.sh"

OUT=build/release/torture
JOBS=$((2 * $(nproc))) # a run is waiting for the most part

say "LumoBridge: torture"
need_packages "${BUILD_TOOLS[@]}" binutils
build_preset release LumoBridge FailNth Torture
rm -rf "$OUT"
mkdir -p "$OUT"
STEP=()
[ "${1:-}" != --quick ] || STEP=(--step 15)
build/release/bin/Torture --bridge "$PWD/build/release/bin/LumoBridge" --preload "$PWD/build/release/tools/Torture/libFailNth.so" \
    --folder "$PWD/$OUT" --jobs "$JOBS" --out "$OUT/table.md" "${STEP[@]}" || { say "TORTURE FOUND FAULTS; see $OUT"; exit 1; }
[ ${#STEP[@]} -gt 0 ] || fill_section docs/quality.md torture "$OUT/table.md"
say "TORTURE FOUND NO FAULT"
