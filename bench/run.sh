#!/usr/bin/env bash
# Benchmark: prooftally (on all cores and on one), the strict scanner and the
# DOM reader's parser alone, against xmllint --stream and, with EXTRA=1, the DOM
# reference and xmlstarlet, on generated projects. Not part of CI.
#
#   bench/run.sh [SCRATCH_DIR]      (default: /tmp/prooftally-bench)
#
# Builds the release binaries in build-bench/, installs the tools it needs
# from Debian's packages, generates the data once into SCRATCH_DIR (seeded,
# so every run reads the same bytes), then prints one table per data set
# (SETS="medium:medium file200:big" picks some; SETS= none):
# median wall time of RUNS runs (tools interleaved, round after round), MB/s,
# peak resident memory, and each tool's time over xmllint --stream's; then
# the share of each data set that the scanner takes, and instructions per
# byte (callgrind, on a 10 MB file; needs valgrind).
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
scratch=${1:-/tmp/prooftally-bench}
build=$repo/build-bench
RUNS=${RUNS:-5}

need=()
command -v xmllint >/dev/null || need+=(libxml2-utils)
command -v xmlstarlet >/dev/null || need+=(xmlstarlet)
[ -x /usr/bin/time ] || need+=(time)
command -v bc >/dev/null || need+=(bc)
command -v taskset >/dev/null || need+=(util-linux)
command -v python3 >/dev/null || need+=(python3)
command -v cmake >/dev/null || need+=(cmake g++ make qtbase5-dev libgtest-dev)
if ((${#need[@]})); then
    apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y "${need[@]}"
fi

cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release -DPROOFTALLY_BENCH=ON >/dev/null
targets=(pos_count)
[ -f "$repo/src/prooftally/main.cpp" ] && targets+=(prooftally)
[ -f "$repo/src/pomaint/main.cpp" ] && targets+=(pomaint)
cmake --build "$build" -j2 --target "${targets[@]}" >/dev/null
prooftally=$build/src/prooftally/prooftally
pos_count=$build/bench/pos_count

gen() { # DIR ARGS...: generate once
    local dir=$1
    shift
    if [ ! -f "$dir/.done" ]; then
        rm -rf "$dir" && mkdir -p "$dir"
        python3 "$repo/bench/gen_project.py" "$@"
        touch "$dir/.done"
    fi
}
single() { # DIR NAME MB SEED: a project of one component
    gen "$1" file "$1/$2.pos" "$3" --seed "$4"
    [ -f "$1/$2.db" ] || printf '<db_xml><project><component_file name="%s" path="." suffix="mch"/></project></db_xml>\n' "$2" >"$1/$2.db"
}
gen "$scratch/small" project "$scratch/small" small 10 2 --seed 1
gen "$scratch/medium" project "$scratch/medium" medium 200 100 --seed 2
gen "$scratch/medium2x" project "$scratch/medium2x" medium2x 400 200 --seed 4
single "$scratch/file100" big 100 5
single "$scratch/file200" big 200 5
single "$scratch/file10" big 10 6

# One timed run: prints "seconds peak_kilobytes".
timed() {
    local t0 t1 out
    out=$(mktemp)
    t0=$(date +%s.%N)
    /usr/bin/time -f %M -o "$out" "$@" >/dev/null 2>&1 || true
    t1=$(date +%s.%N)
    echo "$(echo "$t1 - $t0" | bc -l) $(tail -1 "$out")"
    rm -f "$out"
}

median() { sort -g | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2}'; }

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
    # shellcheck disable=SC2086
    echo "$($pos_count --taken ${files[*]})"
}

echo "ratio: each tool's median time over xmllint --stream's, measured in the same run"
for set in ${SETS-small:small medium:medium medium2x:medium2x file100:big file200:big}; do
    bench_set "$scratch/${set%%:*}" "${set##*:}"
done

# pomaint's dry runs on one 54 MB PO file: the byte-wise edit, and the DOM
# rewrite it replaced, on the same file with a CDATA section (which the
# byte-wise editor leaves to the DOM rewrite). NO_POMAINT=1 skips it.
pomaint=$build/src/pomaint/pomaint
if [ -x "$pomaint" ] && [ -z "${NO_POMAINT:-}" ]; then
    single "$scratch/file54" big 54 7
    f54=$scratch/file54/big.pos
    dom54=$scratch/file54/cdata.pos.in
    [ -f "$dom54" ] || sed '2s|$|<![CDATA[ ]]>|' "$f54" >"$dom54"
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
fi

[ -n "${NO_LINEAR:-}" ] || {
# Linearity: the base tool on data of one size and on twice that, run after
# run in the same rounds, so that the machine's load weighs on both alike.
base_cmd() { # DIR PROJECT
    if [ -x "$prooftally" ]; then
        echo "$prooftally -b $1 -p $2"
    else
        echo "$pos_count $(find "$1" -name '*.pos' | sort | tr '\n' ' ')"
    fi
}
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

# Instructions per byte: callgrind's total over the bytes of one 10 MB file.
if command -v valgrind >/dev/null && [ -z "${NO_CALLGRIND:-}" ]; then
    f10=$scratch/file10/big.pos
    b10=$(wc -c <"$f10")
    ipb() { # COMMAND...
        valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1 >/dev/null |
            awk -v b="$b10" '/Collected/ {printf "%.1f", $NF / b}'
    }
    printf '\ninstructions per byte on %s (%d bytes): scanner %s, DOM parser forced %s, xmllint --stream %s\n' \
        "$f10" "$b10" "$(ipb "$pos_count" "$f10")" "$(ipb "$pos_count" --parse "$f10")" \
        "$(ipb xmllint --stream --noout "$f10")"
fi
