#!/bin/sh
# The dashboard's script in a headless Chromium, on the demo's golden page:
# sorting by Po, the filter, and the third click giving database order back.
# usage: check_script.sh EXPECTED_DIR PAGE (its style and script put back in
# from the directory's dashboard.css and dashboard.js). Status 77 (skipped)
# without Chromium.
set -eu
browser=$(command -v chromium || command -v chromium-browser || true)
[ -n "$browser" ] || { echo "no chromium installed"; exit 77; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cat >"$tmp/probe.js" <<'PROBE'
var t = document.getElementById("comp"), po = t.tHead.rows[0].cells[2], seen = [];
function names() {
    return [].filter.call(t.querySelectorAll("tbody tr"), function (r) { return !r.hidden; })
        .map(function (r) { return r.cells[0].firstChild.nodeValue; }).join(",");
}
for (var i = 0; i < 3; ++i) { po.click(); seen.push(names()); }
var hot = document.getElementById("hot");
hot.checked = true;
hot.dispatchEvent(new Event("change"));
seen.push(names());
document.title = seen.join(" / ");
PROBE
/usr/bin/python3 "$(dirname "$0")/check_page.py" --join "$1/dashboard.css" "$1/dashboard.js" "$1/$2" |
    awk -v probe="$tmp/probe.js" '$0 == "</body>" { print "<script>"; while ((getline l < probe) > 0) print l; print "</script>" } 1' \
    >"$tmp/page.html"
sandbox=
[ "$(id -u)" = 0 ] && sandbox=--no-sandbox
got=$(HOME=$tmp "$browser" --headless $sandbox --disable-gpu --dump-dom "file://$tmp/page.html" 2>/dev/null |
    sed -n 's|.*<title>\(.*\)</title>.*|\1|p')
want="Door_Control,Counter,Counter,Sensor,Logger / Logger,Sensor,Counter,Counter,Door_Control / Counter,Door_Control,Sensor,Counter,Logger / Counter,Door_Control,Counter,Logger"
[ "$got" = "$want" ] || { echo "got:  $got"; echo "want: $want"; exit 1; }
