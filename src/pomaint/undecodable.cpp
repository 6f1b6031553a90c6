#include "pomaint/undecodable.h"

#include <QRegularExpression>
#include <QTextCodec>

namespace {

// The codec the DOM reader's input source starts with, from the first bytes.
QTextCodec* initialCodec(QByteArray const& data) {
    const auto at = [&data](int i) { return i < data.size() ? static_cast<uchar>(data[i]) : -1; };
    int mib = 106; // UTF-8
    if ((at(0) == 0 && at(1) == 0 && at(2) == 0xFE && at(3) == 0xFF) ||
        (at(0) == 0xFF && at(1) == 0xFE && at(2) == 0 && at(3) == 0))
        mib = 1017; // UTF-32 with a byte order mark
    else if (at(0) == '<' && at(1) == 0 && at(2) == 0 && at(3) == 0)
        mib = 1019; // UTF-32LE
    else if (at(0) == 0 && at(1) == 0 && at(2) == 0 && at(3) == '<')
        mib = 1018; // UTF-32BE
    else if ((at(0) == 0xFE && at(1) == 0xFF) || (at(0) == 0xFF && at(1) == 0xFE))
        mib = 1015; // UTF-16 with a byte order mark
    else if (at(0) == '<' && at(1) == 0)
        mib = 1014; // UTF-16LE
    else if (at(0) == 0 && at(1) == '<')
        mib = 1013; // UTF-16BE
    return QTextCodec::codecForMib(mib);
}

} // namespace

undecodable_t firstUndecodable(QByteArray const& data) {
    undecodable_t result;
    QTextCodec* codec = initialCodec(data);
    static const QRegularExpression declaration(
        QStringLiteral("^\\s*<\\?xml\\s[^>]*?encoding\\s*=\\s*[\"']([^\"']+)[\"']"));
    const QRegularExpressionMatch match = declaration.match(codec->toUnicode(data.left(1024)));
    if (match.hasMatch()) {
        if (QTextCodec* named = QTextCodec::codecForName(match.captured(1).toLatin1())) {
            codec = named;
            result.declared = true;
        }
    }
    result.encoding = QString::fromLatin1(codec->name());
    // How many characters a prefix leaves undecoded; it only grows with the
    // prefix, so the first bad byte is found by halving.
    const auto bad = [codec, &data](int size, bool atEnd) {
        QTextCodec::ConverterState state;
        codec->toUnicode(data.constData(), size, &state);
        return state.invalidChars > 0 || (atEnd && state.remainingChars > 0);
    };
    if (!bad(data.size(), true))
        return result;
    int good = 0, worse = data.size();
    while (worse - good > 1) {
        const int middle = good + (worse - good) / 2;
        (bad(middle, false) ? worse : good) = middle;
    }
    // The bad sequence began with the bytes the decoder still held.
    QTextCodec::ConverterState held;
    const QString before = codec->toUnicode(data.constData(), worse - 1, &held);
    result.byte = static_cast<uchar>(data[worse - 1 - held.remainingChars]);
    result.line = before.count(QLatin1Char('\n')) + 1;
    return result;
}
