#!/usr/bin/env bash
# pomaint stopped by SIGINT, SIGTERM or SIGHUP while it writes a large file
# leaves no temporary file behind, and the file is whole: the old one or the
# new one. usage: interrupt.sh POMAINT
set -u
pomaint=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# About 50 MB of goals that a mechanism proved, so that unprove changes them all.
python3 -c '
import sys
goal = b"""    <Simple_Goal status="Proved">
      <Proof_State passList="" methodList="" proofState="Unproved"/>
      <Mechanism name="Arith" status="Proved"><Driver name="z3" status="Proved"/></Mechanism>
    </Simple_Goal>
"""
sys.stdout.buffer.write(b"<Proof_Obligations>\n  <Proof_Obligation>\n    <Tag>T</Tag>\n" +
                        goal * 230000 + b"  </Proof_Obligation>\n</Proof_Obligations>\n")' >"$tmp/old.pos"
mkdir "$tmp/new" "$tmp/work"
cp "$tmp/old.pos" "$tmp/new/big.pos"
"$pomaint" unprove "$tmp/new/big.pos" >/dev/null || { echo "unprove failed"; exit 1; }
failed=0
# Job control, so that a background job does not start with SIGINT ignored.
set -m
for sig in INT TERM HUP; do
    cp "$tmp/old.pos" "$tmp/work/big.pos"
    "$pomaint" unprove "$tmp/work/big.pos" >/dev/null &
    pid=$!
    # Signal it as soon as its temporary file exists.
    until [ -n "$(find "$tmp/work" -name '.big.pos.*')" ] || ! kill -0 $pid 2>/dev/null; do :; done
    kill -s $sig $pid 2>/dev/null
    wait $pid
    status=$?
    [ $status -eq $((128 + $(kill -l $sig))) ] ||
        { echo "SIG$sig: exit status $status, not ended by the signal"; failed=1; }
    left=$(ls -A "$tmp/work")
    [ "$left" = big.pos ] || { echo "SIG$sig: files left: $left"; failed=1; }
    cmp -s "$tmp/work/big.pos" "$tmp/old.pos" || cmp -s "$tmp/work/big.pos" "$tmp/new/big.pos" ||
        { echo "SIG$sig: the file is neither the old nor the new one"; failed=1; }
done
exit $failed
