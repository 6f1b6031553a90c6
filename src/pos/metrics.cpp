#include "pos/pos_internal.h"

#include <QFile>
#include <QTextCodec>
#include <QXmlStreamReader>

#include <cstring>
#include <stdexcept>
#include <vector>

// The file is read in one pass and only one goal's children are held at a
// time: a goal is counted when its end tag is read (or the reader stops), with
// the same steps and in the same order as a walk of the finished document
// would take, so that an unknown status fails at the same point.

namespace pos {

namespace {

// A status value outside the vocabulary is kept as this mark and rejected
// only when the count reaches it.
constexpr int BAD_STATUS = -1;

struct Pending {
    std::string name;
    int status = UNPROVED;
    std::size_t driversEnd = 0; // mechanisms: end of their drivers in GoalBuffer::drivers
};

// The children of the goal being read. The vectors only grow, so that their
// strings keep their capacity from one goal to the next.
struct GoalBuffer {
    int status = UNPROVED;
    bool builtInProof = false;
    bool hasProofState = false;
    std::vector<Pending> mechanisms;
    std::size_t nbMechanisms = 0;
    std::vector<Pending> drivers;
    std::size_t nbDrivers = 0;
};

Pending& push(std::vector<Pending>& items, std::size_t& size) {
    if (size == items.size())
        items.emplace_back();
    return items[size++];
}

// The file on its way to the reader, a chunk at a time. The DOM reader
// decodes UTF-8 leniently (bytes that are no UTF-8 become U+FFFD) where the
// streaming reader stops, so a chunk that is not plain ASCII goes through the
// same lenient decoder first.
struct Input {
    QFile& file;
    QXmlStreamReader& reader;
    QByteArray chunk;
    QByteArray held; // the start of a character cut by the chunk's end
    bool utf8 = true;
    bool first = true;
    char last = 0;
};

constexpr qint64 CHUNK_SIZE = 64 * 1024;

// Whether the readers take the file for UTF-8: no byte-order mark of a wider
// encoding, and no declared encoding other than UTF-8 that Qt knows.
bool readAsUtf8(QByteArray const& head) {
    if (head.size() >= 2 && (head[0] == '\0' || head[1] == '\0' || head.startsWith("\xFE\xFF") ||
                             head.startsWith("\xFF\xFE")))
        return false;
    if (!head.startsWith("<?xml"))
        return true;
    const int end = head.indexOf("?>");
    const int at = head.indexOf("encoding", 5);
    if (end < 0 || at < 0 || at > end)
        return true;
    int i = at + 8;
    while (i < end && (head[i] == ' ' || head[i] == '=' || head[i] == '\t' || head[i] == '\n' ||
                       head[i] == '\r'))
        ++i;
    if (i >= end || (head[i] != '"' && head[i] != '\''))
        return true;
    const int close = head.indexOf(head[i], i + 1);
    if (close < 0 || close > end)
        return true;
    const QTextCodec* codec = QTextCodec::codecForName(head.mid(i + 1, close - i - 1));
    return !codec || codec->mibEnum() == 106;
}

// The DOM reader takes any version in the XML declaration for 1.0, where the
// streaming reader refuses all but "1.0".
void declareVersion10(QByteArray& head) {
    const int end = head.indexOf("?>");
    const int at = head.indexOf("version", 5);
    if (!head.startsWith("<?xml") || end < 0 || at < 0 || at > end)
        return;
    int open = -1;
    for (int i = at + 7; i < end && open < 0; ++i)
        if (head[i] == '"' || head[i] == '\'')
            open = i;
    const int close = open < 0 ? -1 : head.indexOf(head[open], open + 1);
    if (close < 0 || close > end)
        return;
    head.replace(open + 1, close - open - 1, "1.0");
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

// Gives the reader the next chunk; false at the end of the file.
bool feed(Input& in) {
    in.chunk.resize(CHUNK_SIZE);
    const qint64 got = in.file.read(in.chunk.data(), CHUNK_SIZE);
    if (got <= 0) {
        if (!in.held.isEmpty()) {
            in.reader.addData(QString::fromUtf8(in.held).toUtf8());
            in.held.clear();
            return true;
        }
        // The DOM reader makes an empty element as soon as it has read the
        // '/' of "<Name .../"; a file cut off there gets the '>' it lacks.
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
        in.utf8 = readAsUtf8(in.chunk);
        declareVersion10(in.chunk);
    }
    if (!in.utf8) {
        in.reader.addData(in.chunk);
        return true;
    }
    in.chunk.prepend(in.held);
    in.held.clear();
    // Keep back a character whose bytes may go on in the next chunk.
    const int size = in.chunk.size();
    int k = size;
    while (k > 0 && size - k < 3 && (static_cast<unsigned char>(in.chunk[k - 1]) & 0xC0) == 0x80)
        --k;
    if (k > 0 && static_cast<unsigned char>(in.chunk[k - 1]) >= 0xC0) {
        in.held = in.chunk.mid(k - 1);
        in.chunk.truncate(k - 1);
    }
    if (isAscii(in.chunk.constData(), in.chunk.size()))
        in.reader.addData(in.chunk);
    else
        in.reader.addData(QString::fromUtf8(in.chunk).toUtf8());
    return true;
}

// The next token, with more of the file given to the reader when it runs dry.
QXmlStreamReader::TokenType next(Input& in) {
    for (;;) {
        const auto token = in.reader.readNext();
        if (token != QXmlStreamReader::Invalid ||
            in.reader.error() != QXmlStreamReader::PrematureEndOfDocumentError || !feed(in))
            return token;
    }
}

// Like QXmlStreamReader::readNextStartElement: true at the next child element
// of the current one, false at its end or when the reader stops.
bool nextChild(Input& in) {
    for (;;) {
        switch (next(in)) {
        case QXmlStreamReader::StartElement:
            return true;
        case QXmlStreamReader::EndElement:
        case QXmlStreamReader::EndDocument:
        case QXmlStreamReader::Invalid:
            return false;
        default:
            break;
        }
    }
}

void skipElement(Input& in) {
    for (int depth = 1; depth > 0;) {
        switch (next(in)) {
        case QXmlStreamReader::StartElement:
            ++depth;
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        case QXmlStreamReader::EndDocument:
        case QXmlStreamReader::Invalid:
            return;
        default:
            break;
        }
    }
}

int statusCode(QStringRef const& value) {
    // The same table as proofStatusOfAttrValue, most frequent values first,
    // compared without building a string.
    static const std::pair<QString, status_t> table[] = {
        {ATTR_VALUE_PROVED, PROVED},       {ATTR_VALUE_UNPROVED, UNPROVED},
        {ATTR_VALUE_PROVED_ZERO, PROVED},  {ATTR_VALUE_UNKNOWN, UNKNOWN},
        {ATTR_VALUE_DISPROVED, DISPROVED}, {ATTR_VALUE_UNRELIABLY_PROVED, UNRELIABLY_PROVED},
        {ATTR_VALUE_PROVED_ONE, PROVED},   {ATTR_VALUE_PROVED_TWO, PROVED},
        {ATTR_VALUE_PROVED_THREE, PROVED}, {ATTR_VALUE_PROVED_UTIL, PROVED},
    };
    for (auto const& [text, status] : table)
        if (value == text)
            return status;
    return BAD_STATUS;
}

status_t checked(int code) {
    if (code == BAD_STATUS)
        throw std::out_of_range("map::at"); // as the vocabulary's own lookup fails
    return static_cast<status_t>(code);
}

// The value of `name` as written in the start tag; attributes that the reader
// adds from a DTD's defaults are not part of the document that is counted.
bool attribute(QXmlStreamAttributes const& attributes, QString const& name, QStringRef& value) {
    for (auto const& a : attributes)
        if (!a.isDefault() && a.qualifiedName() == name) {
            value = a.value();
            return true;
        }
    return false;
}

int statusAttribute(QXmlStreamAttributes const& attributes) {
    QStringRef value;
    return attribute(attributes, ATTR_STATUS, value) ? statusCode(value) : UNPROVED;
}

void nameAttribute(QXmlStreamAttributes const& attributes, std::string& out) {
    out.clear();
    QStringRef value;
    if (!attribute(attributes, ATTR_NAME, value))
        return;
    const QChar* text = value.unicode();
    for (int i = 0; i < value.size(); ++i) {
        const ushort c = text[i].unicode();
        if (c >= 0x80) {
            out = value.toUtf8().toStdString(); // rare: let Qt encode the rest
            return;
        }
        out.push_back(static_cast<char>(c));
    }
}

bool isBuiltInProof(QXmlStreamAttributes const& attributes) {
    QStringRef value;
    if (!attribute(attributes, ATTR_PROOF_STATE, value))
        return false; // reads as "Unproved"
    for (QString const& proved : proofProvedStatuses)
        if (value == proved)
            return true;
    return false;
}

void readMechanism(Input& in, GoalBuffer& goal) {
    QXmlStreamReader const& reader = in.reader;
    Pending& mechanism = push(goal.mechanisms, goal.nbMechanisms);
    nameAttribute(reader.attributes(), mechanism.name);
    mechanism.status = statusAttribute(reader.attributes());
    while (nextChild(in)) {
        if (reader.qualifiedName() == TAG_DRIVER) {
            Pending& driver = push(goal.drivers, goal.nbDrivers);
            nameAttribute(reader.attributes(), driver.name);
            driver.status = statusAttribute(reader.attributes());
        }
        skipElement(in);
    }
    mechanism.driversEnd = goal.nbDrivers;
}

void readGoal(Input& in, GoalBuffer& goal) {
    QXmlStreamReader const& reader = in.reader;
    goal.status = statusAttribute(reader.attributes());
    goal.builtInProof = false;
    goal.hasProofState = false;
    goal.nbMechanisms = 0;
    goal.nbDrivers = 0;
    while (nextChild(in)) {
        const QStringRef name = reader.qualifiedName();
        if (name == TAG_MECHANISM) {
            readMechanism(in, goal);
            continue;
        }
        if (name == TAG_PROOF_STATE && !goal.hasProofState) {
            goal.hasProofState = true;
            goal.builtInProof = isBuiltInProof(reader.attributes());
        }
        skipElement(in);
    }
}

template <typename Map>
typename Map::mapped_type::element_type& entry(Map& map, std::string const& key) {
    auto it = map.find(key); // no copy of the key when the entry exists
    if (it == map.end())
        it = map.emplace(key, std::make_unique<typename Map::mapped_type::element_type>()).first;
    return *it->second;
}

void countDriver(mechanism_metrics_t& mechanism, Pending const& driver) {
    driver_metrics_t& d = entry(mechanism.drivers, driver.name);
    switch (checked(driver.status)) {
    case UNPROVED:
        ++d.nb_unproved;
        break;
    case UNKNOWN:
        ++d.nb_unknown;
        break;
    case PROVED:
        ++d.nb_proved;
        break;
    case DISPROVED:
        ++d.nb_disproved;
        break;
    case UNRELIABLY_PROVED: // a driver has no counter for it
        break;
    }
}

mechanism_metrics_t& countMechanism(metrics_t& metrics, Pending const& mechanism) {
    mechanism_metrics_t& m = entry(metrics.mechanisms, mechanism.name);
    switch (checked(mechanism.status)) {
    case UNPROVED:
        ++m.nb_unproved;
        break;
    case UNKNOWN:
        ++m.nb_unknown;
        break;
    case PROVED:
        ++m.nb_proved;
        break;
    case UNRELIABLY_PROVED:
        ++m.nb_unreliably_proved;
        break;
    case DISPROVED:
        ++m.nb_disproved;
        break;
    }
    return m;
}

void countGoal(GoalBuffer const& goal, metrics_t& metrics) {
    const status_t status = checked(goal.status);
    ++metrics.nb_po;
    switch (status) {
    case UNPROVED:
        ++metrics.nb_unproved;
        break;
    case PROVED:
        ++metrics.nb_proved;
        break;
    case UNRELIABLY_PROVED:
        ++metrics.nb_unreliably_proved;
        break;
    case DISPROVED:
        ++metrics.nb_disproved;
        break;
    case UNKNOWN:
        break;
    }
    if (goal.builtInProof)
        ++metrics.nb_int;

    // Every mechanism's status is checked up to the first proved one before
    // any mechanism entry of the goal is made.
    for (std::size_t i = 0; i < goal.nbMechanisms; ++i)
        if (checked(goal.mechanisms[i].status) == PROVED) {
            ++metrics.nb_ext;
            break;
        }

    std::size_t d = 0;
    for (std::size_t i = 0; i < goal.nbMechanisms; ++i) {
        Pending const& mechanism = goal.mechanisms[i];
        mechanism_metrics_t& entryOfName = countMechanism(metrics, mechanism);
        for (; d < mechanism.driversEnd; ++d)
            countDriver(entryOfName, goal.drivers[d]);
    }
}

void countObligation(Input& in, GoalBuffer& goal, metrics_t& metrics) {
    QXmlStreamReader const& reader = in.reader;
    while (nextChild(in)) {
        if (reader.qualifiedName() == TAG_SIMPLE_GOAL) {
            // A goal cut off by an error counts with the children read so far.
            readGoal(in, goal);
            countGoal(goal, metrics);
        } else {
            skipElement(in);
        }
    }
}

} // namespace

bool getMetrics(std::string const& path, metrics_t& metrics) {
    QFile file(QString::fromStdString(path));
    if (!file.exists() || !file.open(QIODevice::ReadOnly))
        return false;
    metrics = metrics_t{};
    QXmlStreamReader reader;
    reader.setNamespaceProcessing(false); // names are matched as written, prefix included
    Input in{file, reader, {}, {}, true, true, 0};
    GoalBuffer goal;
    // Whatever was read before an error counts; the reader then reports no
    // further element and every loop ends.
    if (nextChild(in)) { // the document element, whatever its name
        while (nextChild(in)) {
            if (reader.qualifiedName() == TAG_PROOF_OBLIGATION)
                countObligation(in, goal, metrics);
            else
                skipElement(in);
        }
    }
    return true;
}

} // namespace pos
