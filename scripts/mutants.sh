#!/usr/bin/env bash
# Plants the faults of scripts/mutants.txt one at a time in a copy, and looks whether a test notices. Asks nothing.
#   scripts/mutants.sh                    all faults, afresh
#   scripts/mutants.sh --part 2/8         every eighth from the second on; parts have copies of their own, and may run at once
#   scripts/mutants.sh --files FILE...    those of these files
#   scripts/mutants.sh --check            plants none: looks whether each can be planted
# What is known of each fault stands in build/mutants/results. When all are known, the table goes into docs/quality.md.
. "$(dirname "$0")/common.sh"

OUT=$PWD/build/mutants RESULTS=$PWD/build/mutants/results
WANTED=95 # percent of the faults
SLOW='AFullListOf|PulledCable|FilesOfEverySize|FiveMegabytes' # tests that come last
TEST_SEC=60 # for one test, which has two tries: it may fail by chance
FAULTS=() FILES=() OLDS=() NEWS=() WHYS=()
declare -A KNOWN # the first test that failed, by file and fault

read_list() {
    local line
    while IFS= read -r line; do
        case $line in
        '# '*) FAULTS+=("${line:2}") FILES+=('') OLDS+=('') NEWS+=('') WHYS+=('') ;;
        '@ '*) FILES[-1]=${line:2} ;;
        '-' | '- '*) OLDS[-1]+=${OLDS[-1]:+$'\n'}${line:2} ;;
        '+' | '+ '*) NEWS[-1]+=${NEWS[-1]:+$'\n'}${line:2} ;;
        '! '*) WHYS[-1]=${line:2} ;;
        esac
    done <scripts/mutants.txt
}

# planted INDEX: the file with the fault in it. Fails when the place is not there exactly once.
planted() {
    local text old=${OLDS[$1]} without
    [ -f "${FILES[$1]}" ] && [ -n "$old" ] && [ "$old" != "${NEWS[$1]}" ] || return 1
    text=$(cat "${FILES[$1]}"; printf .) # the dot keeps the line feeds at the end
    text=${text%.} without=${text//"$old"/}
    [ $((${#text} - ${#without})) -eq ${#old} ] || return 1
    printf '%s' "${text/"$old"/"${NEWS[$1]}"}"
}

check_list() {
    local i failed=0
    for i in "${!FAULTS[@]}"; do
        planted "$i" >/dev/null || { say "Cannot be planted: ${FAULTS[$i]} (${FILES[$i]})"; failed=1; }
    done
    return $failed
}

# The copy is brought to the state of the tree; what is the same keeps its time, so that little is built.
refresh_copy() {
    git ls-files | while IFS= read -r file; do
        cmp -s "$file" "$COPY/$file" || cp --parents "$file" "$COPY"
    done
}

# suite NAME CTEST-OPTION...: builds a test program and runs those of its tests. Leaves the first that failed in NOTICED.
suite() {
    local log=$COPY/build/suite.log
    NOTICED=''
    cmake --build "$COPY/build" --target "$1Tests" >"$log" 2>&1 || { NOTICED='DOES NOT COMPILE'; return 1; }
    LUMO_MUTANT=$$ timeout -s KILL $((10 * TEST_SEC)) ctest --test-dir "$COPY/build/tests/$1" --stop-on-failure \
        --repeat until-pass:2 --parallel 6 "${@:2}" >"$log" 2>&1 && return 0
    NOTICED=$(sed -n '/tests FAILED:$/,$s/^[[:space:]]*[0-9]* - \(.*\) ([A-Za-z ]*)$/\1/p' "$log")
    NOTICED=${NOTICED%%$'\n'*} NOTICED=${NOTICED:-a time limit}
    # What a test that was ended has left behind is found by the mark in its environment.
    { grep -lzsx "LUMO_MUTANT=$$" /proc/[0-9]*/environ || true; } | cut -d / -f 3 | xargs -r kill -KILL 2>/dev/null || true
    return 1
}

# suites FILE: the test programs of what is built from it, its own first, that of the whole daemon last. Fails when one notices.
suites() {
    local name names=${1%%/*}
    case $1 in
    toviCommonLib/*) names+=" LTProto LumoBridge LumoClient LumoSmuSim tools" ;;
    LTProto/*) names+=" LumoBridge LumoClient LumoSmuSim" ;;
    tools/*) names+=" LumoClient LumoSmuSim" ;;
    esac
    for name in $names endToEnd; do suite "$name" -E "$SLOW" || return 1; done
    for name in $names endToEnd; do suite "$name" -R "$SLOW" || return 1; done
}

try_fault() {
    planted "$1" >"$COPY/${FILES[$1]}"
    ! suites "${FILES[$1]}" || NOTICED=survived
    cp "${FILES[$1]}" "$COPY/${FILES[$1]}"
    printf '%s\t%s\t%s\n' "${FILES[$1]}" "${FAULTS[$1]}" "$NOTICED" >>"$RESULTS"
    say "${FILES[$1]}: ${FAULTS[$1]}: $NOTICED"
}

read_results() {
    local file fault noticed
    while IFS=$'\t' read -r file fault noticed; do KNOWN["$file: $fault"]=$noticed; done <"$RESULTS"
}

# The table of a folder is folded: its line says how many faults there are, and how many were noticed.
table() {
    local folder i result count caught rows
    for folder in $(printf '%s\n' "${FILES[@]%/*}" | sort -u); do
        count=0 caught=0 rows=''
        for i in "${!FAULTS[@]}"; do
            [ "${FILES[$i]%/*}" = "$folder" ] || continue
            result=${KNOWN["${FILES[$i]}: ${FAULTS[$i]}"]} count=$((count + 1))
            [ "$result" = survived ] && result="**nothing.** ${WHYS[$i]}" || caught=$((caught + 1))
            rows+="| ${FAULTS[$i]//|/\\|} | $result |"$'\n'
        done
        printf '<details><summary>%s: %d of %d</summary>\n\n| Fault | Caught by |\n|---|---|\n%s\n</details>\n\n' \
            "$folder" $caught $count "$rows"
    done
}

verdict() {
    local i name survivors=0 unknown=0
    for i in "${!FAULTS[@]}"; do
        name="${FILES[$i]}: ${FAULTS[$i]}"
        case ${KNOWN[$name]:-} in
        '') unknown=$((unknown + 1)) ;;
        survived) survivors=$((survivors + 1)); say "Survived: $name" ;;
        'DOES NOT COMPILE') say "Does not compile: $name"; return 1 ;;
        esac
    done
    if [ $unknown -gt 0 ]; then say "$unknown OF ${#FAULTS[@]} FAULTS ARE NOT KNOWN YET"; return 0; fi
    table >"$OUT/table.md"
    fill_section docs/quality.md mutants "$OUT/table.md"
    say "$((${#FAULTS[@]} - survivors)) OF ${#FAULTS[@]} FAULTS WERE NOTICED"
    [ $((100 * (${#FAULTS[@]} - survivors))) -ge $((WANTED * ${#FAULTS[@]})) ]
}

read_list
check_list
CHOSEN=("${!FAULTS[@]}") COPY=$OUT/copy
case ${1:-} in
--check) exit 0 ;;
--part)
    COPY=$OUT/copy-${2/\//-of-}
    mapfile -t CHOSEN < <(seq $((${2%/*} - 1)) "${2#*/}" $((${#FAULTS[@]} - 1))) ;;
--files)
    mapfile -t CHOSEN < <(for i in "${!FAULTS[@]}"; do [[ " ${*:2} " != *" ${FILES[$i]} "* ]] || echo "$i"; done) ;;
*) rm -f "$RESULTS" ;;
esac
say "LumoBridge: ${#CHOSEN[@]} of ${#FAULTS[@]} faults"
need_packages "${BUILD_TOOLS[@]}"
mkdir -p "$COPY" && touch "$RESULTS"
refresh_copy
cmake -S "$COPY" -B "$COPY/build" -G Ninja -DCMAKE_CXX_FLAGS='-O0 -w' -DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold \
    -DTEST_TIMEOUT_SEC=$TEST_SEC >/dev/null
say "The suite as it is"
suites toviCommonLib/ || { say "THE SUITE FAILS WITHOUT A FAULT: $NOTICED"; exit 1; }
for i in "${CHOSEN[@]}"; do try_fault "$i"; done
read_results
verdict
