// Differential fuzz target: the readers against the reference. On every
// input, the events that the DOM parser reports (and whether it read the file
// whole) equal those of a walk of the document the loader builds, malformed
// or not; an input the scanner takes is well-formed and gives the same
// events, whatever the size of the scanner's buffer; and the count leaves the
// record, result and exception (with its value and line) that the walk's
// events leave.
//
// Bytes 0x01 to 0x08 followed by an argument byte N stand for what a mutator
// would hardly find by itself (see expand()): long names and values, byte
// order marks and broken UTF-8 at the input's 1 KiB and 64 KiB piece ends,
// document type declarations with entities and attribute types, character
// references beyond the BMP, UTF-16, and documents of megabytes.
#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "test_support.h"

#include <QTextCodec>

#include <cstdint>
#include <cstdlib>
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

// Everything a count leaves: its result or exception, with the exception's
// value and line, and the record.
std::string outcome(bool (*count)(std::string const&, pos::metrics_t&), std::string const& path) {
    try {
        return countOutcome(count, path);
    } catch (pos::unknown_status_error const& e) {
        return "unknown " + e.value + " at " + std::to_string(e.line);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchDir dir;
    const std::string xml = expand(data, size);
    const std::string path = dir.write("input.pos", xml);
    const std::string walked = walkedEvents(path);
    const std::string parsed = parsedEvents(path);
    require(parsed == walked, "the DOM parser's events", walked, parsed);
    const std::string scanned = scannedEvents(path);
    require(scanned == "refused" || scanned == walked, "the scanner's events", walked, scanned);
    // A small buffer makes every construct cross the buffer's end.
    const std::string small = scannedEvents(path, 1 + size % 61);
    require(small == scanned, "the scanner with a small buffer", scanned, small);
    const std::string counted = outcome(pos::getMetrics, path);
    const std::string reference = outcome(domMetrics, path);
    require(counted == reference, "the count", reference, counted);
    return 0;
}
