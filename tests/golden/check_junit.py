#!/usr/bin/env python3
"""check_junit.py REPORT...: each JUnit report parses as XML; every testsuite's
counts match its testcases; a testcase has a name, a file and at most one
failure or error, whose type and message are set and whose text names the
testcase's file (FILE:LINE: when it has a line).

check_junit.py --agree STDERR JSON PAGE JUNIT: the four outputs of one run
(standard error, the JSON report, the dashboard page and the JUnit report)
name the same findings, each once.
"""
import html.parser
import json
import sys
import xml.etree.ElementTree as ET


def problems(path):
    root = ET.parse(path).getroot()
    if root.tag != "testsuites":
        yield "root is <%s>" % root.tag
    for suite in root:
        cases = suite.findall("testcase")
        verdicts = [v.tag for c in cases for v in c if v.tag in ("failure", "error")]
        counts = (len(cases), verdicts.count("failure"), verdicts.count("error"))
        if counts != tuple(int(suite.get(k)) for k in ("tests", "failures", "errors")):
            yield "%s: counts %s" % (suite.get("name"), counts)
        for case in cases:
            where = case.get("file") + (":" + case.get("line") if case.get("line") else "")
            if not case.get("name") or len(case) > 1:
                yield "%s: a testcase without name or with %d verdicts" % (where, len(case))
            for verdict in case:
                if not verdict.get("type") or not verdict.get("message") or \
                        not verdict.text.startswith(where + ":"):
                    yield "%s: %s %r" % (where, verdict.tag, verdict.text)


class Codes(html.parser.HTMLParser):
    """The text of every <code> in the lost and failed sections, and the alarm."""
    def __init__(self):
        super().__init__()
        self.lines, self.depth, self.section = [], 0, None

    def handle_starttag(self, tag, attrs):
        self.section = dict(attrs).get("id", self.section) if tag == "section" else self.section
        if tag == "code" and self.section in ("lost", "failed"):
            self.depth, self.text = 1, ""

    def handle_endtag(self, tag):
        if tag == "code" and self.depth:
            self.lines.append(self.text)
            self.depth = 0

    def handle_data(self, data):
        if self.depth:
            self.text += data


def agree(stderr, report, page, junit):
    with open(stderr) as f:
        found = [l.rstrip("\n") for l in f if not l.startswith("prooftally: ")]
    with open(report) as f:
        views = {"JSON": [f["message"] for f in json.load(f)["findings"]]}
    codes = Codes()
    with open(page) as f:
        codes.feed(f.read())
    views["dashboard"] = codes.lines
    views["JUnit"] = [l for v in ET.parse(junit).iter() if v.tag in ("failure", "error")
                      for l in v.text.split("\n")]
    if len(set(found)) != len(found):
        yield "standard error repeats a finding"
    for name, lines in views.items():
        if sorted(lines) != sorted(found):
            yield "%s: %s, standard error: %s" % (name, sorted(lines), sorted(found))


failures = list(agree(*sys.argv[2:6])) if sys.argv[1] == "--agree" else \
    ["%s: %s" % (p, problem) for p in sys.argv[1:] for problem in problems(p)]
print("\n".join(failures))
sys.exit(1 if failures else 0)
