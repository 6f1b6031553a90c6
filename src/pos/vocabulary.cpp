#include "pos/pos_internal.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace pos {

// All constants live in this one file so that proofProvedStatuses is built
// after the values it copies.
const QString TAG_PROOF_OBLIGATIONS = QStringLiteral("Proof_Obligations");
const QString TAG_PROOF_OBLIGATION = QStringLiteral("Proof_Obligation");
const QString TAG_PROOF_STATE = QStringLiteral("Proof_State");
const QString TAG_SIMPLE_GOAL = QStringLiteral("Simple_Goal");
const QString TAG_TAG = QStringLiteral("Tag");
const QString TAG_MECHANISM = QStringLiteral("Mechanism");
const QString TAG_DRIVER = QStringLiteral("Driver");
const QString TAG_IAPA = QStringLiteral("iapa");
const QString TAG_STATUS = QStringLiteral("status");

const QString ATTR_AUTHOR = QStringLiteral("author");
const QString ATTR_STATUS = QStringLiteral("status");
const QString ATTR_NAME = QStringLiteral("name");
const QString ATTR_PROOF_STATE = QStringLiteral("proofState");
const QString ATTR_VALUE = QStringLiteral("value");

const QString ATTR_VALUE_UNPROVED = QStringLiteral("Unproved");
const QString ATTR_VALUE_PROVED = QStringLiteral("Proved");
const QString ATTR_VALUE_PROVED_ZERO = QStringLiteral("Proved(0)");
const QString ATTR_VALUE_PROVED_ONE = QStringLiteral("Proved(1)");
const QString ATTR_VALUE_PROVED_TWO = QStringLiteral("Proved(2)");
const QString ATTR_VALUE_PROVED_THREE = QStringLiteral("Proved(3)");
const QString ATTR_VALUE_PROVED_UTIL = QStringLiteral("Proved(Util)");
const QString ATTR_VALUE_UNRELIABLY_PROVED = QStringLiteral("UnreliablyProved");
const QString ATTR_VALUE_DISPROVED = QStringLiteral("Disproved");
const QString ATTR_VALUE_UNKNOWN = QStringLiteral("Unknown");
const QString ATTR_VALUE_VALID = QStringLiteral("Valid");
const QString ATTR_VALUE_INVALID = QStringLiteral("Invalid");

const std::map<status_t, char> charOfStatus{
    {UNPROVED, '-'}, {UNKNOWN, '-'}, {UNRELIABLY_PROVED, '*'}, {PROVED, '+'}, {DISPROVED, '!'},
};

const int XML_INDENT = 4;

const QStringList proofProvedStatuses{
    ATTR_VALUE_PROVED_ZERO,  ATTR_VALUE_PROVED_ONE,  ATTR_VALUE_PROVED_TWO,
    ATTR_VALUE_PROVED_THREE, ATTR_VALUE_PROVED_UTIL,
};

namespace {

// The attribute values of a status and what they read as: the one table
// behind every lookup of a status value.
std::vector<std::pair<QString, status_t>> const& statusWords() {
    static const std::vector<std::pair<QString, status_t>> words{
        {ATTR_VALUE_PROVED, PROVED},       {ATTR_VALUE_UNPROVED, UNPROVED},
        {ATTR_VALUE_PROVED_ZERO, PROVED},  {ATTR_VALUE_UNKNOWN, UNKNOWN},
        {ATTR_VALUE_DISPROVED, DISPROVED}, {ATTR_VALUE_UNRELIABLY_PROVED, UNRELIABLY_PROVED},
        {ATTR_VALUE_PROVED_ONE, PROVED},   {ATTR_VALUE_PROVED_TWO, PROVED},
        {ATTR_VALUE_PROVED_THREE, PROVED}, {ATTR_VALUE_PROVED_UTIL, PROVED},
    };
    return words;
}

} // namespace

status_t proofStatusOfAttrValue(QString const& value) {
    static const std::map<QString, status_t> dict(statusWords().begin(), statusWords().end());
    return dict.at(value);
}

namespace {

// What a status word or proof state reads as, in UTF-8.
struct word_t {
    std::string bytes;
    std::optional<status_t> status;
    bool byProver = false;
};

// The words by their length and next to last byte, which tell them apart.
std::size_t slot(std::string_view v) {
    return (v.size() * 4 + (v.size() > 1 ? static_cast<unsigned char>(v[v.size() - 2]) : 0)) & 63;
}

// Out of line, to keep the lookups small.
[[gnu::noinline]] auto makeWords() {
    std::array<std::vector<word_t>, 64> words;
    const auto add = [&words](QString const& word) -> word_t& {
        const std::string bytes = word.toStdString();
        for (word_t& w : words[slot(bytes)])
            if (w.bytes == bytes)
                return w;
        return words[slot(bytes)].emplace_back(word_t{bytes, {}, false});
    };
    for (auto const& [word, status] : statusWords())
        add(word).status = status;
    for (QString const& word : proofProvedStatuses)
        add(word).byProver = true;
    return words;
}

word_t const* lookUp(std::string_view value) {
    static const auto words = makeWords();
    for (word_t const& w : words[slot(value)])
        if (w.bytes == value)
            return &w;
    return nullptr;
}

} // namespace

std::optional<status_t> statusOfUtf8(std::string_view value) {
    const word_t* w = lookUp(value);
    return w ? w->status : std::nullopt;
}

bool provedByProver(std::string_view proofState) {
    const word_t* w = lookUp(proofState);
    return w && w->byProver;
}

std::optional<status_t> verdictOfUtf8(std::string_view value) {
    static const std::pair<std::string, status_t> dict[] = {
        {ATTR_VALUE_UNPROVED.toStdString(), UNPROVED},
        {ATTR_VALUE_UNKNOWN.toStdString(), UNPROVED},
        {ATTR_VALUE_VALID.toStdString(), UNRELIABLY_PROVED},
        {ATTR_VALUE_INVALID.toStdString(), DISPROVED},
    };
    for (auto const& [word, status] : dict)
        if (word == value)
            return status;
    return std::nullopt;
}

std::optional<status_t> mechanismResultOfUtf8(std::string_view value) {
    // The status names alone, not the proof state's ranks; Unknown counts as
    // unproved.
    const auto status = statusOfUtf8(value);
    if (!status || provedByProver(value))
        return std::nullopt;
    return *status == UNKNOWN ? UNPROVED : *status;
}

unknown_status_error::unknown_status_error(std::string value, long long line)
    : std::out_of_range("map::at"), value(std::move(value)), line(line) {}

QString strOfProofStatus(status_t const& status) {
    static const std::map<status_t, QString> dict{
        {UNPROVED, ATTR_VALUE_UNPROVED},
        {UNKNOWN, ATTR_VALUE_UNKNOWN},
        {UNRELIABLY_PROVED, ATTR_VALUE_UNRELIABLY_PROVED},
        {PROVED, ATTR_VALUE_PROVED},
        {DISPROVED, ATTR_VALUE_DISPROVED},
    };
    return dict.at(status);
}

std::ostream& operator<<(std::ostream& os, status_t const& status) {
    // Converted first, so that an unknown status writes nothing.
    const std::string text = strOfProofStatus(status).toStdString();
    return os << text;
}

} // namespace pos
