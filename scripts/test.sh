#!/usr/bin/env bash
# Builds the release and runs its whole test suite. Works on a fresh Debian 12; asks nothing.
. "$(dirname "$0")/common.sh"

say "LumoBridge: build and test"
trap '[ $? -eq 0 ] || say "TESTS FAILED"' EXIT
need_packages "${BUILD_TOOLS[@]}"
test_preset release
say "ALL TESTS PASSED"
