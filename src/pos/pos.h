// Proof-obligation files: the status vocabulary, the names of the format,
// the metrics of one file and the maintenance operations on PO documents.
#ifndef POS_POS_H
#define POS_POS_H

#include <QDomDocument>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace pos {

enum status_t : std::int32_t {
    UNPROVED = 0,
    UNKNOWN = 1,
    UNRELIABLY_PROVED = 2,
    PROVED = 3,
    DISPROVED = 4,
};

extern const QString TAG_PROOF_OBLIGATIONS;
extern const QString TAG_PROOF_OBLIGATION;
extern const QString TAG_PROOF_STATE;
extern const QString TAG_SIMPLE_GOAL;
extern const QString TAG_TAG;
extern const QString TAG_MECHANISM;
extern const QString TAG_DRIVER;
extern const QString TAG_IAPA;
extern const QString TAG_STATUS;

extern const QString ATTR_AUTHOR;
extern const QString ATTR_STATUS;
extern const QString ATTR_NAME;
extern const QString ATTR_PROOF_STATE;
extern const QString ATTR_VALUE;

extern const QString ATTR_VALUE_UNPROVED;
extern const QString ATTR_VALUE_PROVED;
extern const QString ATTR_VALUE_PROVED_ZERO;
extern const QString ATTR_VALUE_PROVED_ONE;
extern const QString ATTR_VALUE_PROVED_TWO;
extern const QString ATTR_VALUE_PROVED_THREE;
extern const QString ATTR_VALUE_PROVED_UTIL;
extern const QString ATTR_VALUE_UNRELIABLY_PROVED;
extern const QString ATTR_VALUE_DISPROVED;
extern const QString ATTR_VALUE_UNKNOWN;
extern const QString ATTR_VALUE_VALID;
extern const QString ATTR_VALUE_INVALID;

// One-character mark per status; UNPROVED and UNKNOWN share "-".
extern const std::map<status_t, char> charOfStatus;

// Spaces per nesting level when the module writes XML.
extern const int XML_INDENT;

// Throws std::out_of_range ("map::at") for a value outside the vocabulary.
status_t proofStatusOfAttrValue(QString const& value);
// A status value outside the vocabulary where a PO file was read: what() is
// "map::at", as for every unknown value, and it tells the value and its place.
struct unknown_status_error : std::out_of_range {
    unknown_status_error(std::string value, long long line);
    std::string value; // as written, UTF-8
    long long line;    // of the start tag that holds it, as the DOM reader counts lines
};

// Throws std::out_of_range ("map::at") for a status outside 0..4.
QString strOfProofStatus(status_t const& status);
std::ostream& operator<<(std::ostream& os, status_t const& status);

struct driver_metrics_t {
    std::uint32_t nb_unproved = 0;
    std::uint32_t nb_unknown = 0;
    std::uint32_t nb_proved = 0;
    std::uint32_t nb_disproved = 0;
};

struct mechanism_metrics_t {
    std::uint32_t nb_unproved = 0;
    std::uint32_t nb_unknown = 0;
    std::uint32_t nb_proved = 0;
    std::uint32_t nb_unreliably_proved = 0;
    std::uint32_t nb_disproved = 0;
    std::map<std::string, std::unique_ptr<driver_metrics_t>> drivers;
};

struct metrics_t {
    std::uint32_t nb_po = 0;
    std::uint32_t nb_unproved = 0;
    std::uint32_t nb_proved = 0;
    std::uint32_t nb_unreliably_proved = 0;
    std::uint32_t nb_disproved = 0;
    std::uint32_t nb_ext = 0;
    std::uint32_t nb_int = 0;
    std::map<std::string, std::unique_ptr<mechanism_metrics_t>> mechanisms;
};

// Counts the PO file at `path` (UTF-8) into `metrics`, replacing its content.
// Returns false, leaving `metrics` untouched, when the file cannot be opened.
// A status value outside the vocabulary throws std::out_of_range ("map::at")
// with `metrics` partly filled.
bool getMetrics(std::string const& path, metrics_t& metrics);

// How a PO file was read by countPoFile.
enum class po_read_t { read, unopened, malformed };

// A mechanism's or driver's result on one goal.
struct result_detail_t {
    std::string name;
    status_t status;
    std::vector<result_detail_t> drivers; // of a mechanism
};

// One goal as its PO file records it: where it is and what it holds.
struct goal_detail_t {
    std::string tag;              // the text of its obligation's first Tag; empty when none
    std::uint32_t obligation = 0; // position of that obligation in the file, from 1
    std::uint32_t number = 0;     // position of the goal in its obligation, from 1
    long long line = 0;           // of its Simple_Goal start tag
    status_t status = UNPROVED;
    std::vector<result_detail_t> mechanisms;
};

// getMetrics, also telling a file that was counted whole from one that is
// not well-formed (counted as far as the reader got). With `goals`, every
// goal counted is listed there, in file order.
po_read_t countPoFile(std::string const& path, metrics_t& metrics,
                      std::vector<goal_detail_t>* goals = nullptr);

// True when every goal's recorded status is the one its proof state, iapa
// verdict and mechanisms call for. At the first goal that breaks this, writes
// that goal as XML to standard error and returns false. An unknown status
// value throws std::out_of_range ("map::at").
bool checkPosInvariant(QDomDocument const& doc);

// Replaces `mechanismNames` with the distinct mechanism names of the PO file at
// `path` (UTF-8), in order of first appearance. Returns false, leaving the list
// untouched, when the file cannot be opened.
bool getMechanisms(std::string const& path, std::list<std::string>& mechanismNames);

// Marks every mechanism unproved and sets each goal's status from its proof
// state alone.
void unprove(QDomDocument& doc);

// Removes the first mechanism called `name` from every goal and brings each
// changed goal's status back in line. `removed` tells whether anything was
// removed. Returns false for a null document or a refused removal. An unknown
// status value throws std::out_of_range ("map::at"), leaving earlier changes.
bool removeMechanism(QDomDocument& doc, std::string const& name, bool& removed);

// What a maintenance command tells about a document it refuses: where it
// holds a status value outside the vocabulary, and its inconsistent goals.
struct unknown_status_t {
    long long line = 0; // where the start tag that holds the value ends
    std::string value;  // as written (UTF-8)
};

// The first status value outside the vocabulary, in the order the count
// checks them: a goal's, its mechanisms' up to the first proved one, then
// each mechanism's and its drivers'. None when every value is known.
std::optional<unknown_status_t> findUnknownStatus(QDomDocument const& doc);

// The first iapa verdict or mechanism result, in document order, that the
// expected-status rule of the maintenance operations does not know.
std::optional<unknown_status_t> findUnknownVerdict(QDomDocument const& doc);

struct inconsistent_goal_t {
    QDomElement goal;
    status_t recorded; // the goal's status attribute
    status_t expected; // what its proof state, iapa verdict and mechanisms call for
};

// The goals that checkPosInvariant would refuse, in document order, with both
// statuses; the walk stops after `limit` of them. Throws std::out_of_range
// ("map::at") as checkPosInvariant does, for the goals it reaches.
std::vector<inconsistent_goal_t> findInconsistentGoals(QDomDocument const& doc,
                                                       std::size_t limit = SIZE_MAX);

// The goal as XML, as checkPosInvariant writes it.
void writeGoal(QDomElement const& goal, std::FILE* out);

} // namespace pos

#endif
