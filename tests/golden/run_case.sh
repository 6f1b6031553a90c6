#!/usr/bin/env bash
# Runs a command once and compares its standard output, standard error and
# exit status with the expected ones.
# usage: run_case.sh [--expected DIR] [--scratch] [--after FILE]...
#                    [--read-only dir|file]
#                    BINARY WORKDIR STATUS STDOUT_FILE STDERR_FILE [ARG...]
# A file given as "-" means the stream must stay empty; relative names of
# expected files are taken in DIR.
# --scratch runs in a copy of WORKDIR, so that the command may edit files;
# afterwards the copy must hold the same files as WORKDIR, byte for byte and
# with the same permissions, except that a file named by --after must equal
# that file instead of its original. --read-only (implies --scratch) takes write
# permission from the copy's directory or from its files; as root, which
# ignores permission bits, the command then runs as user nobody, and the case
# is skipped (status 77) when that is not possible.
# --readme FILE NAME takes the expected standard output from FILE: the fenced
# block that follows the line "<!-- example: NAME -->" (STDOUT_FILE is then
# ignored). --part head|tail N compares only that part of the output.
# A dashboard page (STDOUT_FILE *.dashboard.html) is compared without its
# fixed style and script, which must equal DIR/dashboard.css and
# DIR/dashboard.js.
# With PROOFTALLY_REGENERATE=1 in the environment, the expected files are
# rewritten from the actual output instead (review them with git diff).
set -u
scratch=0 after=() read_only= expected_dir=. readme= part=
while [ $# -gt 0 ]; do
    case $1 in
    --expected) expected_dir=$2; shift 2 ;;
    --readme) readme=$2 example=$3; shift 3 ;;
    --part) part="$2 -n $3"; shift 3 ;;
    --scratch) scratch=1; shift ;;
    --after) after+=("$2"); shift 2 ;;
    --read-only) read_only=$2 scratch=1; shift 2 ;;
    *) break ;;
    esac
done
expected() { case $1 in -|/*) echo "$1" ;; *) echo "$expected_dir/$1" ;; esac; }
binary=$1 workdir=$2 status=$3 stdout_file=$(expected "$4") stderr_file=$(expected "$5")
shift 5
tmp=$(mktemp -d)
trap 'chmod -R u+w "$tmp"; rm -rf "$tmp"' EXIT
out=$tmp/out err=$tmp/err
if [ -n "$readme" ]; then
    stdout_file=$tmp/example
    awk -v marker="<!-- example: $example -->" '
        $0 == marker { found = 1; next }
        found && /^```/ { if (inside) exit; inside = 1; next }
        inside' "$readme" >"$stdout_file"
    [ -s "$stdout_file" ] || { echo "no example $example in $readme"; exit 1; }
fi
run=(env LC_ALL=C)
if [ $scratch = 1 ]; then
    rundir=$tmp/work
    cp -R "$workdir" "$rundir"
    # Not the mode a new file would get, so that a lost mode shows.
    find "$rundir" -type f -exec chmod 640 {} +
    if [ -n "$read_only" ] && [ "$(id -u)" = 0 ]; then
        nobody=(setpriv --reuid=65534 --regid=65534 --clear-groups)
        "${nobody[@]}" true 2>/dev/null || { echo "cannot run as nobody"; exit 77; }
        # nobody must reach the command and own the files it should edit.
        cp "$binary" "$tmp/" && binary=$tmp/$(basename "$binary")
        chmod 755 "$tmp" "$binary" && chown -R 65534:65534 "$rundir"
        find "$rundir" -type f -exec chmod 644 {} +
        run=("${nobody[@]}" "${run[@]}")
    fi
    case $read_only in
    dir) chmod a-w "$rundir" ;;
    file) find "$rundir" -type f -exec chmod a-w {} + ;;
    esac
    modes_before=$(cd "$rundir" && stat -c '%n %a' -- * | sort)
else
    rundir=$workdir
fi
# A fixed program name and locale keep the option parser's diagnostics stable.
(cd "$rundir" && exec "${run[@]}" bash -c 'exec -a "$0" "$@"' "$(basename "$binary")" "$binary" "$@") >"$out" 2>"$err"
actual=$?
if [ -n "$part" ]; then
    $part "$out" >"$tmp/part" && mv "$tmp/part" "$out"
fi
pages=()
case $stdout_file in
*.dashboard.html)
    awk -v css="$tmp/css" -v js="$tmp/js" '
        !block && /^<style>$/ { print; block = css; next }
        !block && /^<script>$/ { print; block = js; next }
        /^<\/(style|script)>/ { block = "" }
        block { print > block; next }
        { print }' "$out" >"$tmp/page" && mv "$tmp/page" "$out"
    pages=("$expected_dir/dashboard.css" "$tmp/css" "$expected_dir/dashboard.js" "$tmp/js") ;;
esac
failed=0
check() { # name expected-file actual-file
    case $1 in stdout | stderr | style | script)
        if [ -n "${PROOFTALLY_REGENERATE-}" ] && [ "$2" != - ] && [ -z "$readme" ]; then
            cp "$3" "$2"
        fi ;;
    esac
    if [ "$2" = - ]; then
        [ -s "$3" ] && { echo "$1 should be empty, got:"; cat "$3"; failed=1; }
    elif ! cmp -s "$2" "$3"; then
        echo "$1 differs from $2:"; diff "$2" "$3"; failed=1
    fi
}
check stdout "$stdout_file" "$out"
check stderr "$stderr_file" "$err"
if [ ${#pages[@]} -gt 0 ]; then
    check style "${pages[0]}" "${pages[1]}"
    check script "${pages[2]}" "${pages[3]}"
fi
if [ "$actual" != "$status" ]; then
    echo "exit status $actual, expected $status"; failed=1
fi
if [ $scratch = 1 ]; then
    # Same names: nothing added (no temporary file left), nothing lost.
    if [ "$(ls -A "$workdir")" != "$(ls -A "$rundir")" ]; then
        echo "files differ:"; diff <(ls -A "$workdir") <(ls -A "$rundir"); failed=1
    fi
    for f in "$workdir"/*; do
        name=$(basename "$f")
        expected=$f
        for a in ${after[@]+"${after[@]}"}; do
            [ "$(basename "$a")" = "$name" ] && expected=$(expected "$a")
        done
        check "$name afterwards" "$expected" "$rundir/$name"
    done
    modes_after=$(cd "$rundir" && stat -c '%n %a' -- * | sort)
    if [ "$modes_before" != "$modes_after" ]; then
        echo "permissions changed:"; diff <(echo "$modes_before") <(echo "$modes_after"); failed=1
    fi
fi
exit $failed
