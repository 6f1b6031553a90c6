#include "pomaint/undecodable.h"

#include <QFile>
#include <QRegularExpression>
#include <QTextCodec>

#include <cstdio>
#include <string_view>
#include <utility>

namespace {

// The codec the DOM reader's input source starts with, from the first bytes:
// the first of these starts that the data has, else UTF-8.
QTextCodec* initialCodec(QByteArray const& data) {
    using namespace std::string_view_literals;
    static const std::pair<std::string_view, int> starts[] = {
        {"\0\0\xFE\xFF"sv, 1017}, {"\xFF\xFE\0\0"sv, 1017}, // UTF-32 with a byte order mark
        {"<\0\0\0"sv, 1019},                                // UTF-32LE
        {"\0\0\0<"sv, 1018},                                // UTF-32BE
        {"\xFE\xFF"sv, 1015},     {"\xFF\xFE"sv, 1015},     // UTF-16 with a byte order mark
        {"<\0"sv, 1014},                                    // UTF-16LE
        {"\0<"sv, 1013},                                    // UTF-16BE
    };
    for (auto const& [start, mib] : starts)
        if (data.startsWith(QByteArray::fromRawData(start.data(), static_cast<int>(start.size()))))
            return QTextCodec::codecForMib(mib);
    return QTextCodec::codecForMib(106);
}

} // namespace

bool decodes_cleanly(std::string const& path) {
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly))
        return true; // gone since it was loaded: nothing to judge
    const QByteArray data = file.readAll();
    QTextCodec* codec = initialCodec(data);
    static const QRegularExpression declaration(
        QStringLiteral("^\\s*<\\?xml\\s[^>]*?encoding\\s*=\\s*[\"']([^\"']+)[\"']"));
    const QRegularExpressionMatch match = declaration.match(codec->toUnicode(data.left(1024)));
    QTextCodec* const declared =
        match.hasMatch() ? QTextCodec::codecForName(match.captured(1).toLatin1()) : nullptr;
    if (declared)
        codec = declared;
    // How many characters a prefix leaves undecoded; it only grows with the
    // prefix, so the first bad byte is found by halving.
    const auto bad = [codec, &data](int size, bool atEnd) {
        QTextCodec::ConverterState state;
        codec->toUnicode(data.constData(), size, &state);
        return state.invalidChars > 0 || (atEnd && state.remainingChars > 0);
    };
    if (!bad(data.size(), true))
        return true;
    int good = 0, worse = data.size();
    while (worse - good > 1) {
        const int middle = good + (worse - good) / 2;
        (bad(middle, false) ? worse : good) = middle;
    }
    // The bad sequence began with the bytes the decoder still held.
    QTextCodec::ConverterState held;
    const QString before = codec->toUnicode(data.constData(), worse - 1, &held);
    std::fprintf(
        stderr,
        "%s:%d: byte 0x%02X is not valid %s%s; a rewrite would lose it, so the file is "
        "left unchanged\n",
        path.c_str(), before.count(QLatin1Char('\n')) + 1,
        static_cast<uchar>(data[worse - 1 - held.remainingChars]), codec->name().constData(),
        declared ? ", the encoding the file declares" : " and the file declares no encoding");
    return false;
}
