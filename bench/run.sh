#!/usr/bin/env bash
# Benchmark of prooftally on generated projects. Not part of CI.
#
#   bench/run.sh [SCRATCH_DIR]      (default: /tmp/prooftally-bench)
#
# Builds the release binaries in build-bench/, installs the tools it needs
# from Debian's packages, generates the data once into SCRATCH_DIR (seeded,
# so every run reads the same bytes), then runs the parts that PARTS names
# (default: all of them, in this order):
#
#   flow       One Markdown table of the CI flow's figures, each next to the
#              default count and `xmllint --stream` on the same files, timed in
#              the same interleaved rounds (median of RUNS; peak memory the
#              highest). FIGURES picks its rows (default: all):
#                instructions  callgrind on a 20 MB PO file: the default
#                              count's instructions per byte; goal detail's
#                              (--fail-on=disproved, --goals=all) over them
#                detail        goal detail on the 100 MB, 200-file project:
#                              time and peak memory
#                tag           goal detail on a 0.7 MB file whose one 100 KB
#                              Tag is shared by 20,000 goals
#                json          --json on the 100 MB project: report size over
#                              the PO files' size, time, peak memory
#                since         --since with a version 2 baseline of the same
#                              project: time, peak memory
#                reports       callgrind on the 2 MB, 10-file project: --json's
#                              and --since's instructions over the default
#                              count's (steady where times are not)
#                dashboard     bench/dashboard.sh: the page's first frame and
#                              screenshot runs (skipped without chromium)
#   sets       per data set (SETS="medium:medium file200:big" picks some):
#              prooftally on all cores and on one, the scanner and the DOM
#              reader's parser alone against xmllint --stream and, with
#              EXTRA=1, the DOM reference and xmlstarlet
#   pomaint    pomaint's dry runs on a 54 MB PO file against the DOM rewrite
#   linearity  the count on data of one size and on twice that
#   callgrind  instructions per byte of the readers alone on a 10 MB file
#   readers    the JSON readers a baseline can be read with (bench/json_reader,
#              built when rapidjson-dev or libsimdjson-dev is installed) on
#              the version 2 report of the 100 MB project: time, peak memory,
#              instructions, and what each answers to broken input
#
# RUNS: rounds per timing (default 5). NO_POMAINT=1, NO_LINEAR=1 and
# NO_CALLGRIND=1 leave those parts out. Progress goes to standard error.
# One figure, quickly:  PARTS=flow FIGURES=since RUNS=3 bench/run.sh
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
scratch=${1:-/tmp/prooftally-bench}
build=$repo/build-bench
RUNS=${RUNS:-5}
PARTS=${PARTS-flow sets pomaint linearity callgrind readers}
FIGURES=${FIGURES-instructions detail tag json since reports dashboard}
[ -z "${NO_POMAINT:-}" ] || PARTS=${PARTS//pomaint/}
[ -z "${NO_LINEAR:-}" ] || PARTS=${PARTS//linearity/}
[ -z "${NO_CALLGRIND:-}" ] || PARTS=${PARTS//callgrind/}
part() { [[ " $PARTS " == *" $1 "* ]]; }
figure() { part flow && [[ " $FIGURES " == *" $1 "* ]]; }
say() { echo "bench: $*" >&2; }

need=()
command -v xmllint >/dev/null || need+=(libxml2-utils)
[ -z "${EXTRA:-}" ] || command -v xmlstarlet >/dev/null || need+=(xmlstarlet)
[ -x /usr/bin/time ] || need+=(time)
command -v bc >/dev/null || need+=(bc)
command -v taskset >/dev/null || need+=(util-linux)
command -v python3 >/dev/null || need+=(python3)
command -v cmake >/dev/null || need+=(cmake g++ make qtbase5-dev libgtest-dev)
if ((${#need[@]})); then
    apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y "${need[@]}"
fi

say "building in $build"
cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release -DPROOFTALLY_BENCH=ON >/dev/null
targets=(pos_count)
[ -f "$repo/src/prooftally/main.cpp" ] && targets+=(prooftally)
[ -f "$repo/src/pomaint/main.cpp" ] && targets+=(pomaint)
# (grep reads all of it: cmake would fail on a closed pipe)
if cmake --build "$build" --target help | grep json_reader >/dev/null; then
    targets+=(json_reader)
fi
cmake --build "$build" -j2 --target "${targets[@]}" >/dev/null
prooftally=$build/src/prooftally/prooftally
pos_count=$build/bench/pos_count
json_reader=$build/bench/json_reader

gen() { # DIR ARGS...: generate once
    local dir=$1
    shift
    if [ ! -f "$dir/.done" ]; then
        say "generating $dir"
        rm -rf "$dir" && mkdir -p "$dir"
        python3 "$repo/bench/gen_project.py" "$@"
        touch "$dir/.done"
    fi
}
single() { # DIR NAME MB SEED: a project of one component
    gen "$1" file "$1/$2.pos" "$3" --seed "$4"
    database "$1" "$2"
}
database() { # DIR NAME: the database of a project of one component
    [ -f "$1/$2.db" ] || printf '<db_xml><project><component_file name="%s" path="." suffix="mch"/></project></db_xml>\n' "$2" >"$1/$2.db"
}
po_files() { find "$1/" -name '*.pos' | sort | tr '\n' ' '; }
bytes() { cat "$@" | wc -c; }

# One timed run: prints "seconds peak_kilobytes exit_status cpu_seconds"
# (the processor time, user and system, of all threads: steadier than the
# wall time on a busy machine).
timed() {
    local t0 t1 out status=0
    out=$(mktemp)
    t0=$(date +%s.%N)
    /usr/bin/time -f '%M %U %S' -o "$out" "$@" >/dev/null 2>&1 || status=$?
    t1=$(date +%s.%N)
    tail -1 "$out" | awk -v t="$(echo "$t1 - $t0" | bc -l)" -v s="$status" '{print t, $1, s, $2 + $3}'
    rm -f "$out"
}

# Files read once untimed, so that the first round does not read the disk.
warm() { cat "$@" >/dev/null 2>&1 || true; }
median() { sort -g | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2}'; }
div() { echo "$1 / $2" | bc -l; }

# RUNS interleaved rounds of NAME=COMMAND..., each run appended to
# $tmp/NAME; then sec, peak and failed NAME read them.
rounds() {
    local r entry
    for ((r = 0; r < RUNS; r++)); do
        for entry in "$@"; do
            # shellcheck disable=SC2086
            timed ${entry#*=} >>"$tmp/${entry%%=*}"
        done
    done
}
sec() { cut -d' ' -f1 "$tmp/$1" | median; }
cpu() { cut -d' ' -f4 "$tmp/$1" | median; }
peak() { div "$(cut -d' ' -f2 "$tmp/$1" | sort -g | tail -1)" 1024; }
# An exit status other than a run's or a failed gate's: the figure is void.
failed() { awk '$3 != 0 && $3 != 3 {printf " (exit %d!)", $3; exit}' "$tmp/$1"; }

# --- flow: the CI flow's figures, one table ---------------------------------

# The baseline --since must go on reading: a version 2 report of a project
# as CI runs keep it today (indented, goals in full), from the prooftally
# built here while it writes that, else from the last revision known to
# (built once into SCRATCH_DIR).
V2_REVISION=c5dc43cd1095a2594d1d014aa7d18e9127223600
written_as_v2() { # FILE: indented, components first, "version": 2 near the end
    [ "$(head -c 22 "$1")" = $'{\n    "components": [' ] &&
        tail -c 65536 "$1" | grep -q '^    "version": 2$'
}
report_v2() { # DIR PROJECT OUT
    [ -s "$3" ] && return
    say "writing a version 2 report of $1"
    "$prooftally" --json -b "$1" -p "$2" >"$3.tmp" || true
    if ! written_as_v2 "$3.tmp"; then
        local v2=$scratch/prooftally-v2
        if [ ! -x "$v2/build/src/prooftally/prooftally" ]; then
            say "building prooftally at $V2_REVISION in $v2"
            rm -rf "$v2" && mkdir -p "$v2/src"
            git -C "$repo" archive "$V2_REVISION" | tar -x -C "$v2/src"
            cmake -S "$v2/src" -B "$v2/build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
            cmake --build "$v2/build" -j2 --target prooftally >/dev/null
        fi
        "$v2/build/src/prooftally/prooftally" --json -b "$1" -p "$2" >"$3.tmp"
    fi
    mv "$3.tmp" "$3"
}

rows=()
row() { rows+=("| $1 | $2 | $3 | $4 | $5 | $6 |"); }
s_of() { printf '%.3f s (cpu %.3f s)%s' "$(sec "$1")" "$(cpu "$1")" "$(failed "$1")"; }
mb_of() { printf '%.1f MB%s' "$(peak "$1")" "$(failed "$1")"; }
x_of() { # NAME BASE FIGURE: NAME's FIGURE over BASE's (none under the clock's resolution)
    local b
    b=$("$3" "$2")
    if [ "$(echo "$b > 0" | bc)" = 1 ]; then printf '%.2f x' "$(div "$("$3" "$1")" "$b")"; else printf 'n/a'; fi
}
# Time and memory rows for each NAME=LABEL, against "count" and "xmllint".
time_rows() { # FILES_LABEL NAME=LABEL...
    local files=$1 entry
    shift
    for entry in "$@"; do
        local n=${entry%%=*} label=${entry#*=}
        row "time, $label" "$files" "$(s_of "$n")" "$(s_of count)" \
            "$(x_of "$n" count sec) (cpu $(x_of "$n" count cpu))" "$(s_of xmllint), $(x_of xmllint count sec)"
        row "peak memory, $label" "$files" "$(mb_of "$n")" "$(mb_of count)" \
            "$(x_of "$n" count peak)" "$(mb_of xmllint)"
    done
}

flow() {
    local tmp
    tmp=$(mktemp -d)
    if figure instructions; then
        if command -v valgrind >/dev/null; then
            single "$scratch/file20" big 20 6
            local f20=$scratch/file20/big.pos b20 flabel
            b20=$(bytes "$f20")
            flabel=$(printf '%.0f MB PO file' "$(div "$b20" 1000000)")
            ir() { # COMMAND...: instructions per byte of the 20 MB file
                { valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1 >/dev/null || true; } |
                    awk -v b="$b20" '/^==[0-9]+== Collected/ {printf "%.1f", $NF / b}'
            }
            say "callgrind on $f20"
            local count xml failon goals xcell
            count=$(ir "$prooftally" -b "$scratch/file20" -p big)
            xml=$(ir xmllint --stream --noout "$f20")
            failon=$(ir "$prooftally" -b "$scratch/file20" -p big --fail-on=disproved)
            goals=$(ir "$prooftally" -b "$scratch/file20" -p big --goals=all)
            xcell="$xml, $(printf '%.2f x' "$(div "$xml" "$count")")"
            row "instructions per byte, default count" "$flabel" "$count" "$count" "1.00 x" "$xcell"
            row "instructions per byte, --fail-on=disproved" "$flabel" "$failon" "$count" \
                "$(printf '%.2f x' "$(div "$failon" "$count")")" "$xcell"
            row "instructions per byte, --goals=all" "$flabel" "$goals" "$count" \
                "$(printf '%.2f x' "$(div "$goals" "$count")")" "$xcell"
        else
            row "instructions per byte" "20 MB PO file" "skipped: valgrind is not installed" "" "" ""
        fi
    fi
    local medium=$scratch/medium mlabel pobytes jsonbytes=
    if figure detail || figure json || figure since; then
        gen_set medium
        local files
        files=$(po_files "$medium")
        # shellcheck disable=SC2086
        pobytes=$(bytes $files)
        mlabel="$(printf '%.0f MB project, 200 files' "$(div "$pobytes" 1000000)")"
        local base="$prooftally -b $medium -p medium"
        local -a jobs=("count=$base" "xmllint=xmllint --stream --noout $files")
        figure detail && jobs+=("failon=$base --fail-on=disproved" "goals=$base --goals=all")
        if figure json; then
            jobs+=("json=$base --json")
            "$prooftally" --json -b "$medium" -p medium >"$tmp/report.json" || true
            jsonbytes=$(wc -c <"$tmp/report.json")
            rm -f "$tmp/report.json"
        fi
        if figure since; then
            report_v2 "$medium" medium "$scratch/medium-v2.json"
            jobs+=("since=$base --since $scratch/medium-v2.json")
        fi
        # shellcheck disable=SC2086
        warm $files "$scratch/medium-v2.json"
        say "timing ${#jobs[@]} commands on the 100 MB project, $RUNS rounds"
        mkdir -p "$tmp/medium"
        tmp=$tmp/medium rounds "${jobs[@]}"
    fi
    if figure detail; then
        tmp=$tmp/medium time_rows "$mlabel" "failon=--fail-on=disproved" "goals=--goals=all"
    fi
    if figure tag; then
        gen "$scratch/tag" tag "$scratch/tag/big.pos" 100 20000
        database "$scratch/tag" big
        local tlabel base="$prooftally -b $scratch/tag -p big"
        tlabel=$(printf '%.2f MB file, one 100 KB Tag, 20,000 goals' "$(div "$(bytes "$scratch/tag/big.pos")" 1000000)")
        warm "$scratch/tag/big.pos"
        say "timing goal detail on one long Tag, $RUNS rounds"
        mkdir -p "$tmp/tag"
        tmp=$tmp/tag rounds "count=$base" "xmllint=xmllint --stream --noout $scratch/tag/big.pos" \
            "failon=$base --fail-on=disproved" "goals=$base --goals=all"
        tmp=$tmp/tag time_rows "$tlabel" "failon=--fail-on=disproved" "goals=--goals=all"
    fi
    if figure json; then
        row "report size, --json" "$mlabel" "$(printf '%.1f MB' "$(div "$jsonbytes" 1000000)")" \
            "PO files: $(printf '%.1f MB' "$(div "$pobytes" 1000000)")" \
            "$(printf '%.2f x' "$(div "$jsonbytes" "$pobytes")")" "—"
        tmp=$tmp/medium time_rows "$mlabel" "json=--json"
    fi
    if figure since; then
        tmp=$tmp/medium time_rows "$mlabel" \
            "since=--since, version 2 baseline ($(printf '%.0f MB' "$(div "$(wc -c <"$scratch/medium-v2.json")" 1000000)"))"
    fi
    if figure reports; then
        local small=$scratch/small
        gen_set small
        if command -v valgrind >/dev/null; then
            report_v2 "$small" small "$scratch/small-v2.json"
            local sbytes slabel
            # shellcheck disable=SC2046
            sbytes=$(bytes $(po_files "$small"))
            slabel=$(printf '%.1f MB project, 10 files' "$(div "$sbytes" 1000000)")
            sir() { # ARGS...: instructions per byte of the small project's PO files
                { valgrind --tool=callgrind --callgrind-out-file=/dev/null "$prooftally" -b "$small" -p small "$@" 2>&1 >/dev/null || true; } |
                    awk -v b="$sbytes" '/^==[0-9]+== Collected/ {printf "%.1f", $NF / b}'
            }
            say "callgrind on the reports of $small"
            local scount sjson ssince
            scount=$(sir)
            sjson=$(sir --json)
            ssince=$(sir --since "$scratch/small-v2.json")
            row "instructions per byte, --json" "$slabel" "$sjson" "$scount" \
                "$(printf '%.2f x' "$(div "$sjson" "$scount")")" "—"
            row "instructions per byte, --since, version 2 baseline" "$slabel" "$ssince" "$scount" \
                "$(printf '%.2f x' "$(div "$ssince" "$scount")")" "—"
        else
            row "instructions per byte, --json and --since" "2 MB project" "skipped: valgrind is not installed" "" "" ""
        fi
    fi
    if figure dashboard; then
        say "bench/dashboard.sh (generates 5000 components once)"
        local out status=0 dlabel="5000 components, 40 MB"
        out=$("$repo/bench/dashboard.sh" "$prooftally" "$scratch/dashboard" 2>&1) || status=$?
        if [ "$status" = 77 ]; then
            row "--dashboard, first frame after load" "$dlabel" "skipped: chromium is not installed" "" "" ""
        elif [ "$status" != 0 ]; then
            row "--dashboard, first frame after load" "$dlabel" "failed (exit $status)" "" "" ""
            echo "$out" >&2
        else
            local fmin fmax size
            size=$(echo "$out" | sed -n 's/^page: \([0-9]*\) bytes.*/\1/p')
            dlabel="$dlabel, page $(printf '%.1f MB' "$(div "$size" 1000000)")"
            fmin=$(echo "$out" | sed -n 's/.*shown after \([0-9]*\) ms.*/\1/p' | sort -n | head -1)
            fmax=$(echo "$out" | sed -n 's/.*shown after \([0-9]*\) ms.*/\1/p' | sort -n | tail -1)
            row "--dashboard, first frame after load (3 runs)" "$dlabel" \
                "$(printf '%.2f to %.2f s' "$(div "${fmin:-0}" 1000)" "$(div "${fmax:-0}" 1000)")" "" "" ""
            shots() { echo "$out" | sed -n "s/^screenshot run, $1 page: \([0-9.]*\) s/\1/p" | median; }
            row "--dashboard, screenshot run (median of 3)" "$dlabel" \
                "$(printf '%.2f s; empty page %.2f s (+%.2f s)' "$(shots big)" "$(shots empty)" "$(div "$(shots big) - $(shots empty)" 1)")" "" "" ""
        fi
    fi
    rm -rf "$tmp"
    echo
    echo "| figure | files | measured | default count | measured / default | xmllint --stream |"
    echo "|---|---|---:|---:|---:|---:|"
    printf '%s\n' "${rows[@]}"
    echo
    echo "Times: median of $RUNS interleaved rounds, wall clock and (cpu) the processor time of all threads, user and system; peak memory: the highest maximum resident size; instructions: valgrind --tool=callgrind, whole process, over the PO file's bytes. The default count is \`prooftally -b DIR -p PROJECT\` on the same files in the same rounds; for the report size it is the PO files' size. xmllint: \`xmllint --stream --noout\` on the same PO files, with its ratio to the default count."
}

# --- sets: each tool on each data set ----------------------------------------

bench_set() { # DIR PROJECT
    local dir=$1 project=$2
    local files bytes mb
    mapfile -t files < <(find "$dir" -name '*.pos' | sort)
    bytes=$(cat "${files[@]}" | wc -c)
    mb=$(echo "$bytes / 1000000" | bc -l)
    local -a names cmds
    names+=("xmllint --stream --noout")
    cmds+=("xmllint --stream --noout ${files[*]}")
    if [ -x "$prooftally" ]; then
        names+=("prooftally (text), all threads" "prooftally (text), one core" "prooftally (CSV)")
        cmds+=("$prooftally -b $dir -p $project" "taskset -c 0 $prooftally -b $dir -p $project"
            "$prooftally -b $dir -p $project -C")
    fi
    names+=("scanner, else parser (pos_count)" "DOM parser forced (--parse)")
    cmds+=("$pos_count ${files[*]}" "$pos_count --parse ${files[*]}")
    if [ -n "${EXTRA:-}" ]; then
        names+=("DOM reference (pos_count --dom)" "xmlstarlet count(//Simple_Goal)")
        cmds+=("$pos_count --dom ${files[*]}" "xmlstarlet sel -t -v count(//Simple_Goal) -n ${files[*]}")
    fi
    local tmp
    tmp=$(mktemp -d)
    for ((r = 0; r < RUNS; r++)); do
        for i in "${!cmds[@]}"; do
            # shellcheck disable=SC2086
            timed ${cmds[$i]} >>"$tmp/$i"
        done
    done
    printf '\n%s: %d PO files, %.1f MB\n' "$project" "${#files[@]}" "$mb"
    printf '| %-34s | %9s | %7s | %9s | %8s |\n' tool "median s" "MB/s" "peak MB" "ratio"
    printf '|%s|%s|%s|%s|%s|\n' ------------------------------------ ----------- --------- ----------- ----------
    local base
    base=$(cut -d' ' -f1 "$tmp/0" | median)
    for i in "${!cmds[@]}"; do
        local t kb
        t=$(cut -d' ' -f1 "$tmp/$i" | median)
        kb=$(cut -d' ' -f2 "$tmp/$i" | sort -g | tail -1)
        printf '| %-34s | %9.3f | %7.1f | %9.1f | %8.2f |\n' "${names[$i]}" "$t" \
            "$(echo "$mb / $t" | bc -l)" "$(echo "$kb / 1024" | bc -l)" "$(echo "$t / $base" | bc -l)"
    done
    rm -rf "$tmp"
    "$pos_count" --taken "${files[@]}"
}

gen_set() { # NAME: one of the data sets, generated once
    case $1 in
    small) gen "$scratch/small" project "$scratch/small" small 10 2 --seed 1 ;;
    medium) gen "$scratch/medium" project "$scratch/medium" medium 200 100 --seed 2 ;;
    medium2x) gen "$scratch/medium2x" project "$scratch/medium2x" medium2x 400 200 --seed 4 ;;
    file100) single "$scratch/file100" big 100 5 ;;
    file200) single "$scratch/file200" big 200 5 ;;
    esac
}

sets() {
    echo "ratio: each tool's median time over xmllint --stream's, measured in the same run"
    for set in ${SETS-small:small medium:medium medium2x:medium2x file100:big file200:big}; do
        gen_set "${set%%:*}"
        bench_set "$scratch/${set%%:*}" "${set##*:}"
    done
}

# --- pomaint: byte-wise edits against the DOM rewrite -------------------------

# pomaint's dry runs on one 54 MB PO file: the byte-wise edit, and the DOM
# rewrite it replaced, on the same file with a CDATA section (which the
# byte-wise editor leaves to the DOM rewrite).
pomaint_part() {
    local pomaint=$build/src/pomaint/pomaint
    [ -x "$pomaint" ] || return 0
    single "$scratch/file54" big 54 7
    local f54=$scratch/file54/big.pos
    local dom54=$scratch/file54/cdata.pos.in
    [ -f "$dom54" ] || sed '2s|$|<![CDATA[ ]]>|' "$f54" >"$dom54"
    local tmp
    tmp=$(mktemp -d)
    for ((r = 0; r < RUNS; r++)); do
        timed "$pomaint" -n unprove "$f54" >>"$tmp/unprove"
        timed "$pomaint" -n remove-mechanism PP "$f54" >>"$tmp/remove"
        timed "$pomaint" -n unprove "$dom54" >>"$tmp/dom"
        timed "$pomaint" check "$f54" >>"$tmp/check"
        timed "$pomaint" mechanisms "$f54" >>"$tmp/mechanisms"
        timed "$prooftally" -b "$scratch/file54" -p big >>"$tmp/count"
    done
    pm() { cut -d' ' -f1 "$tmp/$1" | median; }
    pk() { echo "$(cut -d' ' -f2 "$tmp/$1" | sort -g | tail -1) / 1024" | bc -l; }
    printf '\npomaint -n, %.1f MB PO file, median of %d: unprove %.3f s (peak %.1f MB), remove-mechanism %.3f s (peak %.1f MB); DOM rewrite unprove %.3f s (peak %.1f MB), %.1f times the byte-wise time\n' \
        "$(echo "$(wc -c <"$f54") / 1000000" | bc -l)" "$RUNS" "$(pm unprove)" "$(pk unprove)" \
        "$(pm remove)" "$(pk remove)" "$(pm dom)" "$(pk dom)" "$(echo "$(pm dom) / $(pm unprove)" | bc -l)"
    printf 'pomaint check %.3f s (peak %.1f MB), mechanisms %.3f s (peak %.1f MB); prooftally counting the same file %.3f s (peak %.1f MB)\n' \
        "$(pm check)" "$(pk check)" "$(pm mechanisms)" "$(pk mechanisms)" "$(pm count)" "$(pk count)"
    rm -rf "$tmp"
}

# --- linearity -----------------------------------------------------------------

# The base tool on data of one size and on twice that, run after run in the
# same rounds, so that the machine's load weighs on both alike.
linearity() {
    for set in medium medium2x file100 file200; do gen_set "$set"; done
    base_cmd() { # DIR PROJECT
        if [ -x "$prooftally" ]; then
            echo "$prooftally -b $1 -p $2"
        else
            echo "$pos_count $(po_files "$1")"
        fi
    }
    local tmp
    tmp=$(mktemp -d)
    for ((r = 0; r < RUNS; r++)); do
        for set in medium:medium medium2x:medium2x file100:big file200:big; do
            # shellcheck disable=SC2046
            timed $(base_cmd "$scratch/${set%%:*}" "${set##*:}") >>"$tmp/${set%%:*}"
        done
    done
    m() { cut -d' ' -f1 "$tmp/$1" | median; }
    k() { cut -d' ' -f2 "$tmp/$1" | sort -g | tail -1; }
    printf '\nlinearity of the first row (%d interleaved runs): 100 MB project %.3f s, 200 MB project %.3f s, ratio %.2f\n' \
        "$RUNS" "$(m medium)" "$(m medium2x)" "$(echo "$(m medium2x) / $(m medium)" | bc -l)"
    printf 'single file: 100 MB %.3f s (peak %.1f MB), 200 MB %.3f s (peak %.1f MB), ratio %.2f\n' \
        "$(m file100)" "$(echo "$(k file100) / 1024" | bc -l)" "$(m file200)" \
        "$(echo "$(k file200) / 1024" | bc -l)" "$(echo "$(m file200) / $(m file100)" | bc -l)"
    rm -rf "$tmp"
}

# --- callgrind: the readers alone ---------------------------------------------

# Instructions per byte: callgrind's total over the bytes of one 10 MB file.
callgrind_part() {
    command -v valgrind >/dev/null || { echo "callgrind: valgrind is not installed"; return 0; }
    single "$scratch/file10" big 10 6
    local f10=$scratch/file10/big.pos b10
    b10=$(wc -c <"$f10")
    ipb() { # COMMAND...
        { valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1 >/dev/null || true; } |
            awk -v b="$b10" '/^==[0-9]+== Collected/ {printf "%.1f", $NF / b}'
    }
    printf '\ninstructions per byte on %s (%d bytes): scanner %s, DOM parser forced %s, xmllint --stream %s\n' \
        "$f10" "$b10" "$(ipb "$pos_count" "$f10")" "$(ipb "$pos_count" --parse "$f10")" \
        "$(ipb xmllint --stream --noout "$f10")"
}

# --- readers: the JSON readers for a baseline ----------------------------------

readers() {
    if [ ! -x "$json_reader" ]; then
        echo "readers: bench/json_reader is not built (it needs rapidjson-dev or libsimdjson-dev)"
        return 0
    fi
    gen_set medium
    gen_set small
    report_v2 "$scratch/medium" medium "$scratch/medium-v2.json"
    report_v2 "$scratch/small" small "$scratch/small-v2.json"
    local big=$scratch/medium-v2.json small=$scratch/small-v2.json compact=$scratch/small-v2-compact.json
    # The same report without blanks, as a compact writer would write it.
    [ -s "$compact" ] || python3 -c 'import json, sys
json.dump(json.load(open(sys.argv[1], encoding="utf-8")), open(sys.argv[2], "w", encoding="utf-8"),
          ensure_ascii=False, separators=(",", ":"))' "$small" "$compact"
    say "JSON readers on $big, $RUNS rounds"
    printf '\nJSON readers on the 100 MB project'"'"'s version 2 report (%.1f MB), each in a process of its own, %d rounds:\n\n' \
        "$(div "$(wc -c <"$big")" 1000000)" "$RUNS"
    "$json_reader" -r "$RUNS" "$big" || true
    local names
    names=$("$json_reader" 2>&1 | sed -n 's/^readers: //p' || true)
    if command -v valgrind >/dev/null; then
        echo
        echo "| reader | instructions per byte (in all), indented report ($(printf '%.1f MB' "$(div "$(wc -c <"$small")" 1000000)")) | the same, compact ($(printf '%.1f MB' "$(div "$(wc -c <"$compact")" 1000000)")) |"
        echo "|---|---:|---:|"
        local name
        for name in $names; do
            jir() { # FILE
                { valgrind --tool=callgrind --callgrind-out-file=/dev/null "$json_reader" --one "$name" "$1" 2>&1 >/dev/null || true; } |
                    awk -v b="$(wc -c <"$1")" '/^==[0-9]+== Collected/ {printf "%.1f (%.0f M)", $NF / b, $NF / 1e6}'
            }
            echo "| $name | $(jir "$small") | $(jir "$compact") |"
        done
    fi
    # Broken reports: where each reader stops, and why.
    local broken=$scratch/broken
    mkdir -p "$broken"
    python3 - "$small" "$broken" <<'EOF'
import re, sys
data = open(sys.argv[1], "rb").read()
mid = len(data) // 2
def at(pattern):
    return re.compile(pattern).search(data, mid).end()
cases = []
i = at(rb'"tag": ?"') + 5
cases.append(("truncated in a string", i, data[:i]))
i = data.index(b"},", mid) + 2
cases.append(("truncated between goals", i, data[:i]))
i = at(rb'"obligation": ?')
cases.append(("a letter for a goal's number", i, data[:i] + b"x" + data[i + 1:]))
i = at(rb'"unknown": ?')
cases.append(("a '+' before a number no reader uses", i, data[:i] + b"+" + data[i:]))
i = at(rb'"tag": ?"')
cases.append(("a byte not UTF-8 in a tag", i, data[:i] + b"\xff" + data[i:]))
cases.append(("a value after the report", len(data) + 1, data + b" 0"))
i = data.index(b"{") + 1
cases.append(("100,000 nested lists in a value no reader uses", i,
              data[:i] + b'"deep":' + b"[" * 100000 + b"]" * 100000 + b"," + data[i:]))
with open(sys.argv[2] + "/cases", "w") as index:
    for n, (what, offset, text) in enumerate(cases):
        open("%s/%d.json" % (sys.argv[2], n), "wb").write(text)
        index.write("%d\t%s, at byte %d\n" % (n, what, offset))
EOF
    echo
    printf '| broken report |'
    for name in $names; do printf ' %s |' "$name"; done
    printf '\n|---|'
    for name in $names; do printf -- '---|'; done
    echo
    local n what
    while IFS=$'\t' read -r n what; do
        printf '| %s |' "$what"
        for name in $names; do
            local answer
            answer=$("$json_reader" --one "$name" "$broken/$n.json" 2>&1 || true)
            [[ "$answer" == error:* ]] && answer=${answer#error: } || answer="read it: $answer"
            printf ' %s |' "$answer"
        done
        echo
    done <"$broken/cases"
}

part flow && flow
part sets && sets
part pomaint && pomaint_part
part linearity && linearity
part callgrind && callgrind_part
part readers && readers
exit 0
