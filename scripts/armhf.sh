#!/usr/bin/env bash
# Builds for the board, 32-bit ARM with hard float, runs the whole suite through an emulator and shows what the board gets.
# Works on a fresh Debian 12; asks nothing.
. "$(dirname "$0")/common.sh"

DAEMON=build/armhf/bin/LumoBridge
LOADER=/lib/ld-linux-armhf.so.3

show_daemon() {
    local stripped
    stripped=$(mktemp)
    arm-linux-gnueabihf-strip -o "$stripped" "$DAEMON"
    arm-linux-gnueabihf-size "$DAEMON"
    say "$(stat -c %s "$stripped") bytes stripped, links $(linked_libraries "$DAEMON" | paste -sd ' ')"
    rm "$stripped"
    say "The board's C library must be at least $(readelf -V "$DAEMON" | grep -oE 'GLIBC_[0-9.]+' | sort -V | tail -n 1)"
}

check_daemon() {
    readelf -h "$DAEMON" | grep -E '^ *(Class|Machine|Flags):'
    readelf -h "$DAEMON" | grep -q 'Flags:.* Version5 EABI, hard-float ABI' || { say "Not for the board"; return 1; }
    readelf -l "$DAEMON" | grep -q "program interpreter: $LOADER]" || { say "Not linked dynamically"; return 1; }
    local others
    others=$(foreign_libraries "$DAEMON")
    [ -z "$others" ] || { say "The daemon links $others"; return 1; }
}

say "LumoBridge: build and test for the board"
trap '[ $? -eq 0 ] || say "BOARD TESTS FAILED"' EXIT
need_packages "${BUILD_TOOLS[@]}" googletest g++-arm-linux-gnueabihf qemu-user
test_preset armhf
say "The daemon for the board"
show_daemon
check_daemon
say "ALL BOARD TESTS PASSED"
