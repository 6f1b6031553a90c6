#!/usr/bin/env bash
# Runs the README's CI recipe, as written there, on a copy of data/ci, whose
# PO files already hold every kind of failure: a first run that accepts them,
# a run without change, a run after a proof was lost in a file whose name
# holds a space, one after a PO file went missing, and a first run without
# the project database. Compares what each run
# printed and its exit status with EXPECTED (rewritten from the runs when
# PROOFTALLY_REGENERATE is set).
# usage: ci_recipe.sh PROOFTALLY README DATA_DIR EXPECTED
set -u
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
awk '$0 == "<!-- recipe: ci -->" { found = 1; next }
     found && /^```/ { if (inside) exit; inside = 1; next }
     inside' "$2" >"$tmp/recipe.sh"
[ -s "$tmp/recipe.sh" ] || { echo "no recipe in $2"; exit 1; }
mkdir "$tmp/work" "$tmp/work/ci" "$tmp/bin"
cp -R "$3/bdp" "$tmp/work/"
ln -s "$1" "$tmp/bin/prooftally"
run() { # what changed before the run
    echo "== $1"
    (cd "$tmp/work" && PATH=$tmp/bin:$PATH LC_ALL=C bash "$tmp/recipe.sh" 2>&1)
    echo "== exit status $?, baseline $(test -f "$tmp/work/ci/proofs.json" && echo present || echo none)"
}
{
    run "first run: unproved, disproved and unreliable goals, a missing and a malformed PO file"
    run "nothing changed"
    sed -i '20,23s/status="Proved"/status="Unproved"/' "$tmp/work/bdp/Door Control.pos"
    run "a goal of Door Control lost its proof"
    cp "$3/bdp/Door Control.pos" "$tmp/work/bdp/"
    rm "$tmp/work/bdp/Sensor.pos"
    run "the proof is back, Sensor.pos went missing"
    rm "$tmp/work/ci/proofs.json" "$tmp/work/bdp/myproject.db"
    run "first run again, without the project database"
} >"$tmp/out"
[ -n "${PROOFTALLY_REGENERATE-}" ] && cp "$tmp/out" "$4"
diff "$4" "$tmp/out"
