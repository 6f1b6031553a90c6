#include "prooftally/json_text.h"

#include <QString>

#include <charconv>

namespace {

// True when Qt reads `bytes` as UTF-8 unchanged: well-formed, without
// surrogates or overlong forms, and not starting with a byte order mark.
bool plain_utf8(std::string_view bytes) {
    auto const* p = reinterpret_cast<unsigned char const*>(bytes.data());
    auto const* const end = p + bytes.size();
    if (bytes.size() >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF)
        return false;
    while (p < end) {
        unsigned const c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        int const extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC2 ? 1 : -1;
        if (extra < 0 || c > 0xF4 || end - p <= extra)
            return false;
        unsigned code = c & (0x3F >> extra);
        for (int i = 1; i <= extra; ++i) {
            if ((p[i] & 0xC0) != 0x80)
                return false;
            code = code << 6 | (p[i] & 0x3F);
        }
        unsigned const least[] = {0, 0x80, 0x800, 0x10000};
        if (code < least[extra] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            return false;
        p += extra + 1;
    }
    return true;
}

void append_escaped(std::string& out, char const* p, std::size_t size) {
    static char const hex[] = "0123456789abcdef";
    out += '"';
    for (char const* const end = p + size; p < end; ++p) {
        auto const c = static_cast<unsigned char>(*p);
        if (c >= 0x20 && c != '"' && c != '\\') {
            out += *p;
            continue;
        }
        out += '\\';
        switch (c) {
        case '"':
        case '\\':
            out += *p;
            break;
        case '\b':
            out += 'b';
            break;
        case '\f':
            out += 'f';
            break;
        case '\n':
            out += 'n';
            break;
        case '\r':
            out += 'r';
            break;
        case '\t':
            out += 't';
            break;
        default:
            out += "u00";
            out += hex[c >> 4];
            out += hex[c & 0xF];
        }
    }
    out += '"';
}

} // namespace

void append_json_string(std::string& out, std::string_view bytes) {
    if (plain_utf8(bytes)) {
        append_escaped(out, bytes.data(), bytes.size());
        return;
    }
    QByteArray const read =
        QString::fromUtf8(bytes.data(), static_cast<int>(bytes.size())).toUtf8();
    append_escaped(out, read.constData(), static_cast<std::size_t>(read.size()));
}

void append_json_number(std::string& out, long long value) {
    char digits[24];
    auto const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}
