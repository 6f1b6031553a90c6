#!/usr/bin/env bash
# A file pomaint rewrites keeps its mode bits exactly and its owner and group:
# as root for files of another user, read-only ones and special bits; as an
# unprivileged user (nobody, when run as root) for its own files.
# usage: modes.sh POMAINT SAMPLE root|user     (exit 77: cannot run here)
set -u
pomaint=$1 sample=$2 who=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
chmod 755 "$tmp"
run=()
if [ "$who" = root ]; then
    [ "$(id -u)" = 0 ] || { echo "needs root"; exit 77; }
    modes="444 400 000 640 4755 2750 1644"
    owner=65534:65534
else
    modes="600 640 604 644"
    owner=
    if [ "$(id -u)" = 0 ]; then
        run=(setpriv --reuid=65534 --regid=65534 --clear-groups)
        "${run[@]}" true 2>/dev/null || { echo "cannot run as nobody"; exit 77; }
        cp "$pomaint" "$tmp/" && pomaint=$tmp/$(basename "$pomaint")
        chown 65534:65534 "$tmp"
        owner=65534:65534
    fi
fi
failed=0
for mode in $modes; do
    f=$tmp/m$mode.pos
    cp "$sample" "$f"
    [ -n "$owner" ] && chown "$owner" "$f"
    chmod "$mode" "$f"
    before=$(stat -c '%a %u %g' "$f")
    "${run[@]}" "$pomaint" unprove "$f" >/dev/null || { echo "mode $mode: pomaint failed"; failed=1; }
    after=$(stat -c '%a %u %g' "$f")
    cmp -s "$sample" "$f" && { echo "mode $mode: not rewritten"; failed=1; }
    [ "$before" = "$after" ] || { echo "mode $mode: $before became $after"; failed=1; }
done
# A symbolic link is refused, never replaced by a regular file.
ln -s "$sample" "$tmp/link.pos"
"${run[@]}" "$pomaint" unprove "$tmp/link.pos" >/dev/null 2>&1 && { echo "a link was edited"; failed=1; }
[ -L "$tmp/link.pos" ] || { echo "the link was replaced"; failed=1; }
exit $failed
