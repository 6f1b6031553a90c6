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
    // Most frequent first: the readers look values up by a linear scan.
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

std::optional<status_t> statusOfUtf8(std::string_view value) {
    // The words by length: a value is compared only with words as long.
    constexpr std::size_t LONGEST = 32;
    static const auto bySize = [] {
        std::array<std::vector<std::pair<std::string, status_t>>, LONGEST + 1> table;
        for (auto const& [word, status] : statusWords()) {
            std::string bytes = word.toStdString();
            table[bytes.size()].emplace_back(std::move(bytes), status);
        }
        return table;
    }();
    if (value.size() > LONGEST)
        return std::nullopt;
    // Byte by byte: the words are short, a call to memcmp costs more.
    for (auto const& [word, status] : bySize[value.size()]) {
        std::size_t i = 0;
        while (i < word.size() && word[i] == value[i])
            ++i;
        if (i == word.size())
            return status;
    }
    return std::nullopt;
}

bool provedByProver(std::string_view proofState) {
    static const auto proved = [] {
        std::vector<std::string> utf8;
        for (QString const& word : proofProvedStatuses)
            utf8.push_back(word.toStdString());
        return utf8;
    }();
    return std::find(proved.begin(), proved.end(), proofState) != proved.end();
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
