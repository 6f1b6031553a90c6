#!/bin/sh
# The dashboard at scale: a seeded project of 5000 components, 40 MB of PO
# files (gen_project.py), the size of its page, and the time a headless
# Chromium takes to show it: the wall time of a whole screenshot run, browser
# start included, next to the same for the page of an empty project (the
# difference is the page's own cost); and, in the page, performance.now() at
# the first frame after the load event (parse, style, layout, paint; the
# browser runs on virtual time there, which a busy machine does not slow).
# usage: bench/dashboard.sh PROOFTALLY [SCRATCH_DIR]
set -eu
prooftally=$(realpath "$1")
work=${2:-/tmp/prooftally-dashboard}
here=$(cd "$(dirname "$0")" && pwd)
browser=$(command -v chromium || command -v chromium-browser || true)
[ -n "$browser" ] || { echo "no chromium installed"; exit 77; }
mkdir -p "$work/project"
[ -f "$work/project/big.db" ] || python3 "$here/gen_project.py" project "$work/project" big 5000 40
"$prooftally" --dashboard -b "$work/project" -p big >"$work/big.html"
"$prooftally" --dashboard -b "$work" -p none >"$work/empty.html"
echo "page: $(wc -c <"$work/big.html") bytes, $(grep -c '^<tr' "$work/big.html") table rows"
# The probe goes after the page's own script; the page itself stays as written.
sed 's|</body>|<script>addEventListener("load",function(){requestAnimationFrame(function(){setTimeout(function(){document.title="shown after "+Math.round(performance.now())+" ms"})})})</script></body>|' \
    "$work/big.html" >"$work/probe.html"
sandbox=
[ "$(id -u)" = 0 ] && sandbox=--no-sandbox
run() { HOME=$work "$browser" --headless $sandbox --disable-gpu --hide-scrollbars "$@" 2>/dev/null; }
for i in 1 2 3; do
    run --window-size=1400,900 --virtual-time-budget=10000 --dump-dom "file://$work/probe.html" |
        grep -o '<title>[^<]*</title>'
done
for page in empty big empty big empty big; do
    start=$(date +%s.%N)
    run --window-size=1400,900 --screenshot="$work/$page.png" "file://$work/$page.html" >/dev/null
    echo "screenshot run, $page page: $(echo "$(date +%s.%N) - $start" | bc) s"
done
