#!/usr/bin/env bash
# Builds every fuzz target with clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs each for SECONDS seconds, two at a time.
# usage: fuzz/run.sh SECONDS [TARGET...]
# Environment: FUZZ_WORK (default /tmp/prooftally-fuzz) holds the build, the
# work corpora (new inputs are merged there, not into the repository), the
# logs and the inputs that found a bug (WORK/TARGET/artifacts/). Once a
# finding is fixed, copy its input into fuzz/corpus/TARGET/: the replay tests
# run it on every CI run.
set -euo pipefail
seconds=${1:?usage: fuzz/run.sh SECONDS [TARGET...]}
shift
cd "$(dirname "$0")/.."
source=$PWD
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(differential load dbfile maintenance edit)
work=${FUZZ_WORK:-/tmp/prooftally-fuzz}
build=$work/build

if ! command -v clang++ >/dev/null; then
    apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y clang
fi
cmake -S "$source" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DPROOFTALLY_FUZZ=ON >/dev/null
cmake --build "$build" -j2 --target "${targets[@]/%/_fuzz}"

# Seeds: the kept inputs and the test data, by the file type each target reads.
seed() { # target pattern...
    local dir=$work/$1/seeds
    shift
    rm -rf "$dir" && mkdir -p "$dir"
    local i=0 f
    while IFS= read -r -d '' f; do
        cp "$f" "$dir/$((i++))-$(basename "$f")"
    done < <(find "$source/tests" "$source/examples" -type f \( "$@" \) -print0)
}
run() { # target
    local t=$1 dict=$work/$1/dict
    mkdir -p "$work/$t/corpus" "$work/$t/artifacts"
    case $t in
    dbfile) seed "$t" -name '*.db'; cp fuzz/db.dict "$dict" ;;
    load) seed "$t" -name '*.db' -o -name '*.pos'; cat fuzz/po.dict fuzz/db.dict >"$dict" ;;
    maintenance | edit) seed "$t" -name '*.pos'; cat fuzz/po.dict fuzz/maintenance.dict >"$dict" ;;
    *) seed "$t" -name '*.pos'; cp fuzz/po.dict "$dict" ;;
    esac
    cp fuzz/corpus/"$t"/* "$work/$t/seeds/"
    # Deep nesting needs room: the loader's inputs may be longer.
    local max_len=4096
    [ "$t" = load ] && max_len=32768
    "$build/fuzz/${t}_fuzz" -dict="$dict" -max_len=$max_len -timeout=30 -rss_limit_mb=2048 \
        -max_total_time="$seconds" -print_final_stats=1 \
        -artifact_prefix="$work/$t/artifacts/" "$work/$t/corpus" "$work/$t/seeds" \
        >"$work/$t/log" 2>&1 || true
}

for ((i = 0; i < ${#targets[@]}; i += 2)); do
    for t in "${targets[@]:i:2}"; do
        echo "fuzzing $t for $seconds s (log: $work/$t/log)"
        run "$t" &
    done
    wait
done

status=0
for t in "${targets[@]}"; do
    echo "== $t"
    grep -E '^stat::(number_of_executed_units|peak_rss_mb|new_units_added)' "$work/$t/log" || true
    grep -E '^#[0-9]+[[:space:]]+DONE' "$work/$t/log" | tail -n 1 || true
    if [ -n "$(ls -A "$work/$t/artifacts")" ]; then
        echo "findings:" "$work/$t"/artifacts/*
        status=1
    fi
done
exit $status
