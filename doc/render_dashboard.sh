#!/bin/sh
# Renders the dashboard of the demo project with a headless Chromium into a
# PNG (the picture the README shows is doc/dashboard.png at 1400 x 1360).
# usage: render_dashboard.sh PROOFTALLY [OUT.png] [WIDTH] [HEIGHT]
# Exits with status 77 (skipped) when no Chromium is installed.
set -eu
prooftally=$(realpath "$1")
out=$(realpath -m "${2:-doc/dashboard.png}")
width=${3:-1400} height=${4:-1360}
browser=$(command -v chromium || command -v chromium-browser || true)
[ -n "$browser" ] || { echo "no chromium installed: not rendered"; exit 77; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$(dirname "$0")/../examples"
"$prooftally" --dashboard -b demo -p demo >"$tmp/demo.html"
# Chromium's sandbox refuses to run as root.
sandbox=
[ "$(id -u)" = 0 ] && sandbox=--no-sandbox
HOME=$tmp "$browser" --headless $sandbox --disable-gpu --hide-scrollbars \
    --window-size="$width,$height" --screenshot="$out" "file://$tmp/demo.html" 2>/dev/null
[ -s "$out" ] || { echo "no picture written"; exit 1; }
echo "$out"
