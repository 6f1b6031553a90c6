#include "pos/lenient_input.h"

#include "pos/xml_load.h"

#include <QString>
#include <QTextCodec>

#include <cstring>

// Where Qt's DOM reader (QXmlSimpleReader) and QXmlStreamReader disagree on a
// file that both read, or where the DOM reader goes on and the streaming one
// would stop at once, the bytes are adjusted before the streaming reader sees
// them:
// - bytes that are not UTF-8 in a UTF-8 file become U+FFFD (the DOM reader's
//   lenient decoding) instead of stopping the reader;
// - any version in the XML declaration reads as "1.0", and an encoding that
//   Qt does not know as UTF-8;
// - tabs and line breaks in attribute values are kept as written (the DOM
//   reader does not normalise them to spaces);
// - an attribute may follow the closing quote of the one before without a
//   blank, and "]]>" may stand in text, as the DOM reader allows;
// - U+FFFD in a tag, a declaration or a processing instruction's target, where the DOM reader stops
// at once,
//   stops the streaming reader too;
// - elements nested deeper than MAX_XML_DEPTH end the document, as the DOM
//   loader breaks it off there;
// - the DOM reader makes an empty element on reading the '/' of "<Name .../"
//   and stops at the next character if that is not '>': so does the streaming
//   reader, by way of a '>' and a character reference that it refuses;
// - a file that ends just after the '/' of an empty-element tag still makes
//   that element, as the DOM reader makes it on reading the '/'.

namespace pos {

namespace {

constexpr qint64 CHUNK_SIZE = 64 * 1024;

// The quoted value of `name` in the XML declaration at the start of `head`,
// as [begin, end) offsets; false without one.
bool declarationValue(QByteArray const& head, const char* name, int& begin, int& end) {
    if (!head.startsWith("<?xml"))
        return false;
    const int close = head.indexOf("?>");
    const int at = head.indexOf(name, 5);
    if (close < 0 || at < 0 || at > close)
        return false;
    int i = at + static_cast<int>(std::strlen(name));
    while (i < close && head[i] != '"' && head[i] != '\'')
        ++i;
    if (i >= close)
        return false;
    const int last = head.indexOf(head[i], i + 1);
    if (last < 0 || last > close)
        return false;
    begin = i + 1;
    end = last;
    return true;
}

void adjustDeclaration(Input& in) {
    QByteArray& head = in.chunk;
    if (head.size() >= 2 && (head[0] == '\0' || head[1] == '\0' || head.startsWith("\xFE\xFF") ||
                             head.startsWith("\xFF\xFE"))) {
        in.utf8 = in.bytes = false; // a wide encoding: left to the reader
        return;
    }
    int begin = 0, end = 0;
    if (declarationValue(head, "encoding", begin, end)) {
        const QByteArray name = head.mid(begin, end - begin);
        const QTextCodec* codec = QTextCodec::codecForName(name);
        in.utf8 = !codec || codec->mibEnum() == 106;
        // The DOM reader looks a name up loosely and falls back to UTF-8.
        if (!name.contains('<') && !name.contains('&'))
            head.replace(begin, end - begin, codec ? codec->name() : QByteArray("UTF-8"));
    }
    if (declarationValue(head, "version", begin, end))
        head.replace(begin, end - begin, "1.0");
}

bool isAscii(const char* data, int size) {
    int i = 0;
    for (; i + 8 <= size; i += 8) {
        quint64 word;
        std::memcpy(&word, data + i, 8);
        if (word & 0x8080808080808080ULL)
            return false;
    }
    for (; i < size; ++i)
        if (static_cast<unsigned char>(data[i]) >= 0x80)
            return false;
    return true;
}

// Decodes the chunk leniently unless it is plain ASCII, keeping back a last
// character whose bytes may go on in the next chunk.
void decodeLeniently(Input& in) {
    in.chunk.prepend(in.held);
    in.held.clear();
    const int size = in.chunk.size();
    int k = size;
    while (k > 0 && size - k < 3 && (static_cast<unsigned char>(in.chunk[k - 1]) & 0xC0) == 0x80)
        --k;
    if (k > 0 && static_cast<unsigned char>(in.chunk[k - 1]) >= 0xC0) {
        in.held = in.chunk.mid(k - 1);
        in.chunk.truncate(k - 1);
    }
    if (!isAscii(in.chunk.constData(), in.chunk.size()))
        in.chunk = QString::fromUtf8(in.chunk).toUtf8();
}

// A set of bytes, to skip quickly over the bytes that change nothing.
struct ByteSet {
    bool has[256] = {};
    constexpr explicit ByteSet(const char* bytes) {
        for (; *bytes; ++bytes)
            has[static_cast<unsigned char>(*bytes)] = true;
    }
    constexpr bool operator()(char c) const { return has[static_cast<unsigned char>(c)]; }
};

constexpr ByteSet TAG_STOPS("\"'>/\xEF");
constexpr ByteSet VALUE_STOPS("\"'\t\n\r");

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Whether U+FFFD, as the lenient decoding writes it, starts at p[i].
bool isReplacement(Input const& in, const char* p, int i, int size) {
    return in.utf8 && i + 2 < size && p[i] == '\xEF' && p[i + 1] == '\xBF' && p[i + 2] == '\xBD';
}

// Follows the markup byte by byte and writes tabs and line breaks inside
// attribute values as character references, which the reader keeps as they
// are. Returns the chunk itself when there is nothing to write.
QByteArray keepValueWhitespace(Input& in, QByteArray const& chunk) {
    QByteArray out;
    int copied = 0;
    const char* p = chunk.constData();
    const int size = chunk.size();
    for (int i = 0; i < size; ++i) {
        const char c = p[i];
        switch (in.lex) {
        case Lex::Text:
            // Blanks between two tags count for nothing: they are left out,
            // which spares the reader a token.
            if (in.afterMarkup && !in.inSubset) {
                in.afterMarkup = false;
                int j = i;
                while (j < size && isBlank(p[j]))
                    ++j;
                if (j < size && j > i && p[j] == '<') {
                    out.append(p + copied, i - copied);
                    copied = j;
                    i = j;
                    in.lex = Lex::Open;
                    break;
                }
            }
            if (in.inSubset && c == ']') {
                in.inSubset = false;
                in.lex = Lex::Decl;
            } else if (c == '<') {
                in.lex = Lex::Open;
            } else if (c == '>' && in.run >= 2 && !in.inSubset) {
                out.append(p + copied, i - copied);
                out.append("&gt;");
                copied = i + 1;
            }
            in.run = c == ']' ? in.run + 1 : 0;
            break;
        case Lex::Open:
            in.lex = c == '!' ? Lex::Bang : c == '?' ? Lex::PiTarget : Lex::Tag;
            in.run = 0;
            if (in.lex == Lex::Tag && c == '>')
                in.lex = Lex::Text;
            break;
        case Lex::Bang:
            in.lex = c == '-' ? Lex::BangDash : c == '[' ? Lex::CData : Lex::Decl;
            break;
        case Lex::BangDash:
            in.lex = c == '-' ? Lex::Comment : Lex::Decl;
            break;
        case Lex::Tag:
            if (in.run == 2 && c != '>') { // after the '/' of an empty-element tag
                out.append(p + copied, i - copied);
                out.append(">&#0;");
                copied = i;
            } else if (in.run == 1 && c != ' ' && c != '\t' && c != '\n' && c != '\r' && c != '/' &&
                       c != '>') {
                out.append(p + copied, i - copied);
                out.append(' ');
                copied = i;
            }
            in.run = 0;
            while (i < size && !TAG_STOPS(p[i]))
                ++i;
            if (i == size)
                break;
            if (p[i] == '/') {
                in.run = 2;
            } else if (p[i] == '\xEF') {
                if (isReplacement(in, p, i, size)) {
                    out.append(p + copied, i - copied);
                    out.append('<');
                    copied = i + 3;
                    i += 2;
                }
            } else if (p[i] == '>') {
                in.lex = Lex::Text;
                in.run = 0;
                in.afterMarkup = true;
            } else {
                in.lex = Lex::Value;
                in.quote = p[i];
            }
            break;
        case Lex::Value:
            while (i < size && !VALUE_STOPS(p[i]))
                ++i;
            if (i == size)
                break;
            if (p[i] == in.quote) {
                in.lex = Lex::Tag;
                in.run = 1; // a value has just ended
            } else if (isBlank(p[i])) {
                out.append(p + copied, i - copied);
                out.append(p[i] == '\t' ? "&#9;" : p[i] == '\n' ? "&#10;" : "&#13;");
                copied = i + 1;
            }
            break;
        case Lex::PiTarget:
            if (isReplacement(in, p, i, size)) {
                out.append(p + copied, i - copied);
                out.append('<');
                copied = i + 3;
                i += 2;
                break;
            }
            if (c == '?' || c == ' ' || c == '\t' || c == '\n' || c == '\r')
                in.lex = Lex::Pi;
            in.run = c == '?';
            break;
        case Lex::Pi:
            if (c == '>' && in.run > 0) {
                in.lex = Lex::Text;
                in.run = 0;
                in.afterMarkup = true;
                break;
            }
            in.run = c == '?';
            break;
        case Lex::Comment:
        case Lex::CData:
            if (c == '>' && in.run >= 2) {
                in.lex = Lex::Text;
                in.run = 0;
                in.afterMarkup = true;
                break;
            }
            in.run = c == (in.lex == Lex::Comment ? '-' : ']') ? in.run + 1 : 0;
            break;
        case Lex::Decl:
            if (isReplacement(in, p, i, size)) {
                out.append(p + copied, i - copied);
                out.append('<');
                copied = i + 3;
                i += 2;
            } else if (c == '"' || c == '\'') {
                in.lex = Lex::DeclValue;
                in.quote = c;
            } else if (c == '[') {
                in.inSubset = true;
                in.lex = Lex::Text;
            } else if (c == '>') {
                in.lex = Lex::Text;
            }
            break;
        case Lex::DeclValue:
            if (c == in.quote)
                in.lex = Lex::Decl;
            break;
        }
    }
    if (copied == 0)
        return chunk;
    out.append(p + copied, size - copied);
    return out;
}

// Gives the reader the next chunk; false at the end of the file.
bool feed(Input& in) {
    in.chunk.resize(static_cast<int>(CHUNK_SIZE));
    const qint64 got = in.file.read(in.chunk.data(), CHUNK_SIZE);
    if (got <= 0) {
        if (!in.held.isEmpty()) {
            in.reader.addData(QString::fromUtf8(in.held).toUtf8());
            in.held.clear();
            return true;
        }
        if (in.last != '/')
            return false;
        in.last = 0;
        in.reader.addData(QByteArrayLiteral(">"));
        return true;
    }
    in.chunk.resize(static_cast<int>(got));
    in.last = in.chunk.back();
    if (in.first) {
        in.first = false;
        adjustDeclaration(in);
    }
    if (in.utf8)
        decodeLeniently(in);
    in.reader.addData(in.bytes ? keepValueWhitespace(in, in.chunk) : in.chunk);
    return true;
}

} // namespace

QXmlStreamReader::TokenType nextToken(Input& in) {
    if (in.tooDeep)
        return QXmlStreamReader::Invalid;
    for (;;) {
        const auto token = in.reader.readNext();
        if (token == QXmlStreamReader::StartElement && ++in.depth > MAX_XML_DEPTH) {
            // The DOM loader breaks the document off here.
            in.tooDeep = true;
            return QXmlStreamReader::Invalid;
        }
        if (token == QXmlStreamReader::EndElement)
            --in.depth;
        if (token != QXmlStreamReader::Invalid ||
            in.reader.error() != QXmlStreamReader::PrematureEndOfDocumentError || !feed(in))
            return token;
    }
}

} // namespace pos
