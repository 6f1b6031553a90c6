#!/usr/bin/env python3
"""check_page.py CSS JS PAGE...: each dashboard page, with the style CSS and
the script JS put back in (the expected pages hold them once, in
dashboard.css and dashboard.js), parses as HTML5 without a single parse error
and could not reach the network: no URL scheme, no attribute that loads or
links anything but a fragment of the page itself, no CSS url() or @import
leaving it. Debian's python3-html5lib must be installed.
check_page.py --join CSS JS PAGE writes the whole page to standard output.
"""
import re
import sys

import html5lib

LOADING = {"src", "href", "action", "formaction", "srcset", "poster", "data", "xlink:href",
           "background", "manifest", "ping"}


def whole(css, js, path):
    with open(path, "rb") as f:
        page = f.read()
    for name, block in ((b"style", css), (b"script", js)):
        with open(block, "rb") as f:
            page = page.replace(b"<%s>\n</%s>" % (name, name), b"<%s>\n%s</%s>" % (name, f.read(), name), 1)
    return page


def problems(raw):
    try:
        tree = html5lib.HTMLParser(strict=True, namespaceHTMLElements=False).parse(raw)
    except html5lib.html5parser.ParseError as e:
        yield "not valid HTML5: %s" % e
        return
    text = raw.decode("utf-8")
    if re.search(r"[a-zA-Z][a-zA-Z0-9+.-]*://", text):
        yield "a URL: %s" % re.search(r"\S*://\S*", text).group()
    if re.search(r"@import|url\(\s*['\"]?(?!#)", text):
        yield "CSS that loads a resource"
    for element in tree.iter():
        if element.tag in ("link", "iframe", "object", "embed", "base") or \
                element.tag == "meta" and element.get("http-equiv"):
            yield "<%s>" % element.tag
        for name, value in element.attrib.items():
            if name.lower() in LOADING and not value.startswith("#"):
                yield '%s="%s" on <%s>' % (name, value, element.tag)


if sys.argv[1] == "--join":
    sys.stdout.buffer.write(whole(*sys.argv[2:5]))
    sys.exit(0)
failed = False
for page in sys.argv[3:]:
    for problem in problems(whole(sys.argv[1], sys.argv[2], page)):
        print("%s: %s" % (page, problem))
        failed = True
sys.exit(1 if failed else 0)
