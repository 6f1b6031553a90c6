#!/usr/bin/env bash
# Runs the command once and compares its standard output, standard error and
# exit status with the expected ones.
# usage: run_case.sh BINARY WORKDIR STATUS STDOUT_FILE STDERR_FILE [ARG...]
# A file given as "-" means the stream must stay empty.
set -u
binary=$1 workdir=$2 status=$3 stdout_file=$4 stderr_file=$5
shift 5
out=$(mktemp) err=$(mktemp)
trap 'rm -f "$out" "$err"' EXIT
# A fixed program name and locale keep the option parser's diagnostics stable.
(cd "$workdir" && LC_ALL=C exec -a prooftally "$binary" "$@") >"$out" 2>"$err"
actual=$?
failed=0
check() { # name expected-file actual-file
    if [ "$2" = - ]; then
        [ -s "$3" ] && { echo "$1 should be empty, got:"; cat "$3"; failed=1; }
    elif ! cmp -s "$2" "$3"; then
        echo "$1 differs from $2:"; diff "$2" "$3"; failed=1
    fi
}
check stdout "$stdout_file" "$out"
check stderr "$stderr_file" "$err"
if [ "$actual" != "$status" ]; then
    echo "exit status $actual, expected $status"; failed=1
fi
exit $failed
