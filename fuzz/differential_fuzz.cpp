// Differential fuzz target: the readers against the reference. On every
// input, the goal records that the DOM parser hands (and how it read the
// file: whole, or where and why not) equal those of a walk of the document
// the loader builds, malformed or not; an input the scanner takes is
// well-formed and gives the same records, with the same spans whatever the
// size of the scanner's buffer, each span where it says; and the count
// leaves the record, result and exception (with its value and line) that
// the walk's records leave.
//
// Bytes 0x01 to 0x08 followed by an argument byte N stand for what a mutator
// would hardly find by itself (see expand()): long names and values, byte
// order marks and broken UTF-8 at the input's 1 KiB and 64 KiB piece ends,
// document type declarations with entities and attribute types, character
// references beyond the BMP, UTF-16, and documents of megabytes.
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "pos/readers.h"
#include "test_support.h"

#include <QTextCodec>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace {

// Inserted by 0x06 N: constructs on which Qt's two XML readers disagree.
const char* const SNIPPETS[] = {
    "<!DOCTYPE Proof_Obligations [<!ATTLIST Mechanism name NMTOKEN #IMPLIED "
    "status (Proved|Unproved) #IMPLIED><!ATTLIST Simple_Goal status ID #IMPLIED>]>",
    "<!DOCTYPE Proof_Obligations [<!ENTITY t \"a&#9;b&#10;c\"><!ENTITY p \"Proved\">]>",
    "<!DOCTYPE Proof_Obligations SYSTEM \"none.dtd\">",
    "<!DOCTYPE Proof_Obligations [<!ENTITY amp2 \"&#38;#111;\"><!ENTITY g "
    "\"<Simple_Goal status='Proved'/>\">]>",
    "&t;",
    "&p;",
    "&g;",
    "&amp2;",
    "&undeclared;",
    "&#x1F600;",
    "&#x10041;",
    "&#65;",
    "<![CDATA[ x ]]>",
    "<!-- c -->",
    "<?pi x?>",
    "\r\n",
    "\r",
    "\t",
    "]]>",
    "<!DOCTYPE x>",
    "<!DOCTYPE Proof_Obligations [<!ENTITY big \"0123456789012345678901234567890123456789"
    "0123456789012345678901234567890123456789\"><!ENTITY huge \"&big;&big;&big;&big;&big;&big;"
    "&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;"
    "&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;"
    "&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;&big;\">]>",
    "&huge;",
    "\xC2\xA0",
    "\xEF\xBB\xBF",
};

// Inserted by 0x05 N: broken or unusual UTF-8.
const char* const UTF8[] = {"\x80",         "\xE2\x82",     "\xC0\xAF", "\xF4\x90\x80\x80",
                            "\xED\xA0\x80", "\xEF\xBF\xBE", "\xC3",     "\xFF"};

template <std::size_t N> const char* pick(const char* const (&table)[N], std::uint8_t n) {
    return table[n % N];
}

// Blanks up to `n % 8` bytes before the next multiple of `piece`.
void padTo(std::string& xml, std::size_t piece, std::uint8_t n) {
    const std::size_t before = n % 8;
    std::size_t target = (xml.size() + before) / piece * piece + piece - before;
    xml.append(target - xml.size(), ' ');
}

std::string expand(const std::uint8_t* data, std::size_t size) {
    std::string xml;
    std::size_t repeatFrom = 0;
    int encoding = 0;
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t c = data[i];
        if (c > 0x08 || c == 0 || i + 1 == size) {
            xml.push_back(static_cast<char>(c));
            continue;
        }
        const std::uint8_t n = data[++i];
        switch (c) {
        case 0x01: // a name or value of up to 8160 characters
            xml.append(32 * std::size_t{n}, 'L');
            break;
        case 0x02:
            padTo(xml, 1024, n);
            break;
        case 0x03:
            padTo(xml, 64 * 1024, n);
            break;
        case 0x04:
            xml += "\xEF\xBB\xBF";
            break;
        case 0x05:
            xml += pick(UTF8, n);
            break;
        case 0x06:
            xml += pick(SNIPPETS, n);
            break;
        case 0x07: // the whole document in UTF-16, with or without a byte order mark
            encoding = 1 + n % 4;
            break;
        case 0x08: { // the bytes since the last 0x08, repeated up to 256 N times or 2.25 MB
            const std::string part = xml.substr(repeatFrom);
            for (std::size_t k = 1; k < 256u * n && !part.empty() && xml.size() < (9u << 18); ++k)
                xml += part;
            repeatFrom = xml.size();
            break;
        }
        default:
            xml.push_back(static_cast<char>(c));
            xml.push_back(static_cast<char>(n));
        }
    }
    if (encoding) {
        const QString text = QString::fromUtf8(xml.data(), static_cast<int>(xml.size()));
        QTextCodec* codec = QTextCodec::codecForName(encoding % 2 ? "UTF-16LE" : "UTF-16BE");
        const QByteArray bom = encoding % 2 ? QByteArray("\xFF\xFE") : QByteArray("\xFE\xFF");
        xml = ((encoding > 2 ? bom : QByteArray()) + codec->fromUnicode(text)).toStdString();
    }
    return xml;
}

void require(bool same, std::string const& what, std::string const& a, std::string const& b) {
    if (same)
        return;
    std::cerr << what << "\n--- expected\n" << a << "\n--- got\n" << b << "\n";
    std::abort();
}

bool blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Every span the scanner gives, checked against the bytes: an attribute's
// bytes, decoded, are its value, between its quotes; a new attribute goes
// where only blanks stand before the tag's end; an element runs from its
// name to a '>'; the blanks before a mechanism are blanks after a tag's end,
// and the text after it is blank only unless it says otherwise.
class span_check_t : public pos::goal_consumer_t {
public:
    explicit span_check_t(std::string const& xml) : xml_(xml) {}
    void restart() override { fail("a restart"); }
    void goal(pos::goal_record_t const& goal) override {
        if (!goal.hasSpans)
            fail("a goal without spans");
        element(goal.element, "<Simple_Goal");
        tag(goal.tag, goal.status, goal.element);
        for (pos::mechanism_record_t const& m : goal.mechanisms) {
            element(m.element, "<Mechanism");
            tag(m.tag, m.status, m.element);
            value(m.name_span, m.name);
            const std::string before = xml_.substr(m.blanks, m.element.begin - m.blanks);
            if (m.textBefore ? m.blanks != m.element.begin
                             : !std::all_of(before.begin(), before.end(), blank) || m.blanks == 0 ||
                                   xml_[m.blanks - 1] != '>')
                fail("the blanks before a mechanism");
            const std::size_t next = xml_.find('<', m.element.end);
            const std::string after = xml_.substr(m.element.end, next - m.element.end);
            if (m.textAfter == std::all_of(after.begin(), after.end(), blank))
                fail("the text after a mechanism");
        }
    }

private:
    [[noreturn]] void fail(std::string const& what) const {
        require(false, "the spans", "", what + " in\n" + xml_);
        std::abort();
    }
    void element(pos::span_t const& e, std::string const& open) const {
        if (e.end > xml_.size() || e.begin >= e.end || xml_.compare(e.begin, open.size(), open) ||
            xml_[e.end - 1] != '>')
            fail("an element's extent");
    }
    void value(pos::attr_span_t const& span, pos::attr_t value) const {
        if (!span.quote) {
            if (value)
                fail("a value without its span");
            return;
        }
        // Decoded as the DOM reader decodes it.
        const std::string raw = xml_.substr(span.value.begin, span.value.end - span.value.begin);
        QDomDocument decoder;
        decoder.setContent(
            QString::fromStdString(std::string("<a v=") + span.quote + raw + span.quote + "/>"));
        const std::string decoded = decoder.documentElement().attribute("v").toStdString();
        if (!value || decoded != *value || xml_[span.value.begin - 1] != span.quote ||
            xml_[span.value.end] != span.quote)
            fail("a value's span");
    }
    void tag(pos::tag_span_t const& tag, pos::attr_t status, pos::span_t const& e) const {
        value(tag.status, status);
        std::size_t i = tag.insert;
        while (i < e.end && blank(xml_[i]))
            ++i;
        const char last = xml_[tag.insert - 1];
        if (tag.insert <= e.begin || (xml_[i] != '>' && xml_.compare(i, 2, "/>")) ||
            (tag.addQuote != '"' && tag.addQuote != '\'') ||
            !(last == '"' || last == '\'' || std::isalnum(static_cast<unsigned char>(last)) ||
              last == '_' || last == '-' || last == '.'))
            fail("where an attribute goes");
    }
    std::string const& xml_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchDir dir;
    const std::string xml = expand(data, size);
    const std::string path = dir.write("input.pos", xml);
    const std::string walked = walkedRecords(path);
    const std::string parsed = parsedRecords(path);
    require(parsed == walked, "the DOM parser's records", walked, parsed);
    std::string spans, smallSpans;
    const std::string scanned = scannedRecords(path, pos::SCAN_BUFFER, &spans);
    require(scanned == "refused" || scanned == walked, "the scanner's records", walked, scanned);
    // A small buffer makes every construct cross the buffer's end; the spans
    // are offsets in the file, whatever the buffer.
    const std::string small = scannedRecords(path, 1 + size % 61, &smallSpans);
    require(small == scanned && smallSpans == spans, "the scanner with a small buffer",
            scanned + spans, small + smallSpans);
    if (scanned != "refused") {
        QFile file(QString::fromStdString(path));
        span_check_t check(xml);
        if (!file.open(QIODevice::ReadOnly) || !pos::scanRecords(file, check))
            require(false, "the scanner on a second reading", scanned, "refused");
    }
    const std::string counted = countOutcome(pos::getMetrics, path);
    const std::string reference = countOutcome(domMetrics, path);
    require(counted == reference, "the count", reference, counted);
    return 0;
}
