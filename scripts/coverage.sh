#!/usr/bin/env bash
# Runs the whole suite, the demonstrations, some runs with faults and the torture on a build that counts, and says which share
# of the product's lines and branches ran, by folder; the table goes into docs/quality.md. Branches that only an exception
# takes do not count. Works on a fresh Debian 12; asks nothing.
. "$(dirname "$0")/common.sh"

PRESET=coverage
OUT=build/$PRESET/coverage
PRODUCT='(LumoBridge|LTProto|toviCommonLib|LumoClient|LumoSmuSim)/'
LINES_WANTED=92
BRANCHES_WANTED=80

# Of gcovr's table of files: one line for each folder, and one for all.
table_by_folder() {
    awk -F, -v lines_wanted=$LINES_WANTED -v branches_wanted=$BRANCHES_WANTED '
        function row(name, lines, lines_hit, branches, branches_hit) {
            printf "| %s | %d | %.1f %% | %d | %.1f %% |\n", name, lines, 100 * lines_hit / lines, branches,
                100 * branches_hit / branches
        }
        NR == 1 { print "| Folder | Lines | run | Branches | run |\n|---|---|---|---|---|"; next }
        {
            folder = $1
            sub("/[^/]*$", "", folder)
            if (!(folder in lines)) order[++count] = folder
            lines[folder] += $2; lines_hit[folder] += $3; branches[folder] += $5; branches_hit[folder] += $6
            all_lines += $2; all_lines_hit += $3; all_branches += $5; all_branches_hit += $6
        }
        END {
            for (i = 1; i <= count; i++)
                row(order[i], lines[order[i]], lines_hit[order[i]], branches[order[i]], branches_hit[order[i]])
            row("all", all_lines, all_lines_hit, all_branches, all_branches_hit)
            exit 100 * all_lines_hit < lines_wanted * all_lines || 100 * all_branches_hit < branches_wanted * all_branches
        }' "$1"
}

say "LumoBridge: coverage"
need_packages "${BUILD_TOOLS[@]}" gcovr
find "build/$PRESET" -name '*.gcda' -delete 2>/dev/null || true
test_preset $PRESET
export LUMO_PRESET=$PRESET LUMO_SEEDS=5
scripts/demo.sh >/dev/null
scripts/demo.sh --uart >/dev/null
scripts/faults.sh client_faults machine_faults line_faults hung_up_line chance_tcp chance_line
say "Failing calls"
mkdir -p "build/$PRESET/torture"
"build/$PRESET/bin/Torture" --bridge "$PWD/build/$PRESET/bin/LumoBridge" --folder "$PWD/build/$PRESET/torture" \
    --preload "$PWD/build/$PRESET/tools/Torture/libFailNth.so" --jobs $((2 * $(nproc))) --step 2 | tail -n 1
mkdir -p "$OUT"
gcovr --root . --filter "$PRODUCT" --exclude-throw-branches --exclude-unreachable-branches --csv "$OUT/files.csv" \
    --html-details "$OUT/index.html" "build/$PRESET"
STATUS=0
table_by_folder "$OUT/files.csv" >"$OUT/table.md" || STATUS=1
cat "$OUT/table.md"
fill_section docs/quality.md coverage "$OUT/table.md"
[ $STATUS -eq 0 ] || { say "LESS THAN $LINES_WANTED % OF LINES OR $BRANCHES_WANTED % OF BRANCHES"; exit 1; }
say "COVERAGE HOLDS"
