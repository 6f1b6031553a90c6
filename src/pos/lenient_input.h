// A PO file given to QXmlStreamReader a chunk at a time, adjusted where
// Qt's DOM reader is more lenient than the streaming reader, so that both
// read the same elements and attribute values from the same file.
#ifndef POS_LENIENT_INPUT_H
#define POS_LENIENT_INPUT_H

#include <QByteArray>
#include <QFile>
#include <QXmlStreamReader>

namespace pos {

// Where the scan of the bytes stands, across chunks: inside text, a tag, an
// attribute value, a comment and so on.
enum class Lex : unsigned char {
    Text,
    Open,
    Bang,
    BangDash,
    Tag,
    Value,
    PiTarget,
    Pi,
    Comment,
    CData,
    Decl,
    DeclValue
};

struct Input {
    QFile& file;
    QXmlStreamReader& reader;
    QByteArray chunk{};
    QByteArray held{}; // the start of a character cut by the chunk's end
    bool first = true;
    bool utf8 = true;  // read as UTF-8, so decoded leniently
    bool bytes = true; // an encoding where markup is ASCII bytes
    char last = 0;
    Lex lex = Lex::Text;
    char quote = 0;
    int run = 0;              // terminator characters seen ("--" of "-->", ...)
    bool inSubset = false;    // inside a DOCTYPE's internal subset
    bool afterMarkup = false; // the text began right after a tag, comment, ...
    int depth = 0;            // of the elements open in the reader
    bool tooDeep = false;
};

// The next token of the reader, given more of the file whenever it runs dry.
QXmlStreamReader::TokenType nextToken(Input& in);

} // namespace pos

#endif
