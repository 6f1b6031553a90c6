#include "pos/fast_count.h"
#include "pos/lenient_input.h"
#include "pos/pos_internal.h"
#include "pos/records.h"
#include "pos/xml_load.h"

#include <QFile>
#include <QXmlStreamReader>

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

// Like QXmlStreamReader::readNextStartElement: true at the next child element
// of the current one, false at its end or when the reader stops.
bool nextChild(Input& in) {
    for (;;) {
        switch (nextToken(in)) {
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
        switch (nextToken(in)) {
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

// Names and values are compared in place, without building strings.
bool equals(QStringRef const& text, QString const& name) {
    const int size = name.size();
    if (text.size() != size)
        return false;
    const QChar* a = text.unicode();
    const QChar* b = name.unicode();
    for (int i = 0; i < size; ++i)
        if (a[i] != b[i])
            return false;
    return true;
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
        if (equals(value, text))
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
        if (equals(a.qualifiedName(), name) && !a.isDefault()) {
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
        if (equals(value, proved))
            return true;
    return false;
}

void readMechanism(Input& in, GoalBuffer& goal) {
    QXmlStreamReader const& reader = in.reader;
    Pending& mechanism = push(goal.mechanisms, goal.nbMechanisms);
    const QXmlStreamAttributes attributes = reader.attributes();
    nameAttribute(attributes, mechanism.name);
    mechanism.status = statusAttribute(attributes);
    while (nextChild(in)) {
        if (equals(reader.qualifiedName(), TAG_DRIVER)) {
            const QXmlStreamAttributes driverAttributes = reader.attributes();
            Pending& driver = push(goal.drivers, goal.nbDrivers);
            nameAttribute(driverAttributes, driver.name);
            driver.status = statusAttribute(driverAttributes);
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
        if (equals(name, TAG_MECHANISM)) {
            readMechanism(in, goal);
            continue;
        }
        if (equals(name, TAG_PROOF_STATE) && !goal.hasProofState) {
            goal.hasProofState = true;
            goal.builtInProof = isBuiltInProof(reader.attributes());
        }
        skipElement(in);
    }
}

// An entry is made before its status is checked, as a walk of the document
// makes it.
void countDriver(mechanism_metrics_t& mechanism, Pending const& driver) {
    driver_metrics_t& d = entry(mechanism.drivers, driver.name);
    addResult(d, checked(driver.status));
}

mechanism_metrics_t& countMechanism(metrics_t& metrics, Pending const& mechanism) {
    mechanism_metrics_t& m = entry(metrics.mechanisms, mechanism.name);
    addResult(m, checked(mechanism.status));
    return m;
}

void countGoal(GoalBuffer const& goal, metrics_t& metrics) {
    addGoal(metrics, checked(goal.status));
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
        if (equals(reader.qualifiedName(), TAG_SIMPLE_GOAL)) {
            // A goal cut off by an error counts with the children read so far.
            readGoal(in, goal);
            countGoal(goal, metrics);
        } else {
            skipElement(in);
        }
    }
}

// The count by the streaming reader, from the start of the open file.
po_read_t streamCount(QFile& file, std::string const& path, metrics_t& metrics) {
    metrics = metrics_t{};
    QXmlStreamReader reader;
    reader.setNamespaceProcessing(false); // names are matched as written, prefix included
    Input in{file, reader};
    GoalBuffer goal;
    // Whatever was read before an error counts; the reader then reports no
    // further element and every loop ends.
    if (nextChild(in)) { // the document element, whatever its name
        while (nextChild(in)) {
            if (equals(reader.qualifiedName(), TAG_PROOF_OBLIGATION))
                countObligation(in, goal, metrics);
            else
                skipElement(in);
        }
    }
    // Read on past the document element, counting nothing more, so that a
    // cut-off file or junk after the end tag shows as not well-formed.
    for (auto token = reader.tokenType();
         token != QXmlStreamReader::EndDocument && token != QXmlStreamReader::Invalid;)
        token = nextToken(in);
    if (!reader.hasError())
        return po_read_t::read;
    // Where the streaming reader gives up (a name too long for it, a file not
    // well-formed), the DOM reader may read on: it decides.
    QDomDocument doc;
    const load_t loaded = loadDocument(QString::fromStdString(path), doc, nullptr);
    countDocument(doc, metrics);
    return loaded == load_t::parsed ? po_read_t::read : po_read_t::malformed;
}

} // namespace

po_read_t streamCountPoFile(std::string const& path, metrics_t& metrics) {
    QFile file;
    if (!openRegularFile(QString::fromStdString(path), file))
        return po_read_t::unopened;
    return streamCount(file, path, metrics);
}

po_read_t countPoFile(std::string const& path, metrics_t& metrics) {
    QFile file;
    if (!openRegularFile(QString::fromStdString(path), file))
        return po_read_t::unopened;
    // Most files take the scanner; any other is read again from the start.
    metrics_t counted;
    if (fastCount(file, counted)) {
        metrics = std::move(counted);
        return po_read_t::read;
    }
    if (!file.seek(0))
        return po_read_t::unopened;
    return streamCount(file, path, metrics);
}

bool getMetrics(std::string const& path, metrics_t& metrics) {
    return countPoFile(path, metrics) != po_read_t::unopened;
}

} // namespace pos
