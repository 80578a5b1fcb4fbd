#!/usr/bin/env bash
# The rules that a compiler does not know: format, layers, sizes, what the daemon links. Needs a release build.
. "$(dirname "$0")/common.sh"

SOURCES=$(git ls-files '*.h' '*.cpp')
FAILED=0

fail() {
    say "$1"
    FAILED=1
}

# forbid FOLDER PATTERN WHY: no file of FOLDER includes what PATTERN names.
forbid() {
    if grep -rnE "#include \"($2)/" "$1"; then
        fail "$3"
    fi
}

# shellcheck disable=SC2086
clang-format --dry-run --Werror $SOURCES || fail "Not formatted: run clang-format -i"

forbid toviCommonLib 'LTProto|LumoBridge|LumoClient|LumoSmuSim|tests' "toviCommonLib includes upwards"
forbid LTProto 'LumoBridge|LumoClient|LumoSmuSim|tests' "LTProto includes upwards"
forbid LumoBridge 'LumoClient|LumoSmuSim|tests' "LumoBridge includes sideways"
forbid LumoClient 'LumoBridge|LumoSmuSim|tests' "LumoClient includes sideways"
forbid LumoSmuSim 'LumoBridge|LumoClient|tests' "LumoSmuSim includes sideways"
for folder in toviCommonLib LTProto LumoBridge; do
    forbid $folder 'tools|fuzz' "$folder includes what tries it out"
done
for folder in toviCommonLib LTProto LumoBridge LumoClient LumoSmuSim tools tests fuzz; do
    forbid $folder bench "$folder includes the measurements"
done

git ls-files '*.cpp' ':!tests' ':!bench' | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/release 2>/dev/null ||
    fail "clang-tidy has findings"

# shellcheck disable=SC2086
LONG=$(wc -l $SOURCES | awk '$2 != "total" && $1 > 500')
[ -z "$LONG" ] || fail "Files above 500 lines: $LONG"

OTHERS=$(foreign_libraries build/release/bin/LumoBridge)
[ -z "$OTHERS" ] || fail "The daemon links $OTHERS"

scripts/mutants.sh --check || fail "The list of faults does not fit the sources"

[ $FAILED -eq 0 ]
