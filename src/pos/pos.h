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
#include <string_view>
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
    std::map<std::string, std::unique_ptr<driver_metrics_t>, std::less<>> drivers;
};

struct metrics_t {
    std::uint32_t nb_po = 0;
    std::uint32_t nb_unproved = 0;
    std::uint32_t nb_proved = 0;
    std::uint32_t nb_unreliably_proved = 0;
    std::uint32_t nb_disproved = 0;
    std::uint32_t nb_ext = 0;
    std::uint32_t nb_int = 0;
    std::map<std::string, std::unique_ptr<mechanism_metrics_t>, std::less<>> mechanisms;
};

// Counts the PO file at `path` (UTF-8) into `metrics`, replacing its content.
// Returns false, leaving `metrics` untouched, when the file cannot be opened.
// A status value outside the vocabulary throws std::out_of_range ("map::at")
// with `metrics` partly filled.
bool getMetrics(std::string const& path, metrics_t& metrics);

// How a PO file was read.
enum class po_read_t { read, unopened, malformed };

struct read_state_t;

// getMetrics, also telling a file that was counted whole from one that is
// not well-formed (counted as far as the reader got).
po_read_t countPoFile(std::string const& path, metrics_t& metrics);

// An attribute's value as the DOM reads it (UTF-8), or none when the element
// lacks it.
using attr_t = std::optional<std::string_view>;

// Records that a reader holds while it hands them on: valid during the call.
template <typename T> struct items_t {
    T const* first = nullptr;
    std::size_t count = 0;
    T const* begin() const { return first; }
    T const* end() const { return first + count; }
    std::size_t size() const { return count; }
    T const& operator[](std::size_t i) const { return first[i]; }
};

// Bytes [begin, end) of the file, as offsets from its first byte.
struct span_t {
    std::uint64_t begin = 0, end = 0;
};

// Where an attribute stands: `value` holds its bytes between the quotes, as
// written (references not decoded); `quote` is 0 when the element lacks it.
struct attr_span_t {
    span_t value;
    char quote = 0;
};

// Where a start tag that an edit may change stands. An attribute is added at
// `insert` (right after the last attribute, or after the name) in the quote
// `addQuote`: the tag's first attribute's, else the first one the file used
// before the tag, else '"'.
struct tag_span_t {
    std::uint64_t insert = 0;
    char addQuote = '"';
    attr_span_t status;
};

struct driver_record_t {
    long long line = 0; // of the start tag, as the DOM reader counts lines
    attr_t name, status;
};

struct mechanism_record_t {
    long long line = 0;
    attr_t name, status;
    items_t<driver_record_t> drivers;
    // Where it stands (only when the goal has spans): its start tag and name;
    // the element from '<' to the end of its end tag or "/>"; the start of
    // the blanks that go before it back to the previous tag or comment (the
    // element's start when there are none or when that text is not blank
    // only); whether the text right before or after it (up to the next tag or
    // comment) holds more than blanks.
    tag_span_t tag;
    attr_span_t name_span;
    span_t element;
    std::uint64_t blanks = 0;
    bool textBefore = false, textAfter = false;
};

// The goal's first iapa child, that element's first status child, and its
// value attribute: the verdict the expected status reads.
struct verdict_record_t {
    enum kind_t { no_iapa, no_status, no_value, value } kind = no_iapa;
    std::string_view text; // the value, when kind is `value`
    long long line = 0;    // of the status element, or of the iapa without one
};

struct obligation_record_t {
    std::uint32_t number = 0; // its place in the file, from 1
    long long line = 0;
    std::string_view tag; // the text of its first Tag, as far as read
    bool tagRead = false; // that Tag has ended: `tag` will not change
};

// One goal as its PO file records it: what every rule reads. The views
// point into the reader's memory and live until the call that hands the
// record returns.
struct goal_record_t {
    obligation_record_t const* obligation = nullptr;
    std::uint32_t number = 0; // its place among the obligation's goals, from 1
    long long line = 0;
    attr_t status;
    attr_t proofState; // of the first Proof_State; none without either
    verdict_record_t verdict;
    items_t<mechanism_record_t> mechanisms;
    // Offsets in the file, given by the strict scanner only.
    bool hasSpans = false;
    span_t element;
    tag_span_t tag;
};

// Takes the goals of a PO file one at a time, in document order, each when
// it ends (or, in a file that is not well-formed, where the reading stops).
class goal_consumer_t {
public:
    virtual ~goal_consumer_t() = default;
    // Everything handed so far is void: the file is read again from its start.
    virtual void restart() = 0;
    virtual void goal(goal_record_t const& goal) = 0;
    // After the obligation's last goal; its tag is final.
    virtual void endObligation(obligation_record_t const&) {}
};

struct read_state_t {
    po_read_t read = po_read_t::unopened;
    std::string message; // why it is not well-formed, as the DOM reader says it
    int line = 0, column = 0;
};

// Reads the PO file at `path` (UTF-8) goal by goal, in flat memory: with
// the strict scanner, and where it gives up with the DOM reader's own parser
// from the start again (calling restart()). The goals are those of the
// document a DOM load builds, up to where its parser stops; a malformed
// file's message, line and column are those of loadPoDocument. What the
// consumer throws is passed on once the reading has stopped.
read_state_t readPoFile(std::string const& path, goal_consumer_t& consumer);

// Loads the PO file at `path` as the DOM reader does, within the reader's
// limits on nesting and entity expansion.
read_state_t loadPoDocument(std::string const& path, QDomDocument& doc);

// The rules, over one goal. An unknown status value throws
// unknown_status_error, naming the value (empty when absent) and its line.

// Counts the goal into `metrics` as a walk of the whole document counts it:
// its status first, then its mechanisms up to the first proved one, then
// each mechanism with its drivers (an entry is made before its status is
// checked).
void countGoal(goal_record_t const& goal, metrics_t& metrics);
// The goal's status attribute, "Unproved" when absent.
status_t recordedStatus(goal_record_t const& goal);
// What the goal's first proof state, first iapa verdict and mechanisms call
// for: any disproof, else any proof, else any unreliable proof, else
// unproved. The verdict is looked up first, then each mechanism in order.
status_t expectedStatus(goal_record_t const& goal);
// The goal's status once unproved, from its first proof state alone: PROVED
// or UNPROVED. Unproving makes every mechanism's status "Unproved".
status_t unprovedStatus(goal_record_t const& goal);
// The first mechanism named `name` (an absent name reads as empty), or
// NO_MECHANISM.
constexpr std::size_t NO_MECHANISM = SIZE_MAX;
std::size_t mechanismToRemove(goal_record_t const& goal, std::string_view name);
// The goal's new status once mechanism `removed` is gone, or none when its
// status attribute stays as it is: the expected status first, then the
// recorded one.
std::optional<status_t> statusAfterRemoval(goal_record_t const& goal, std::size_t removed);

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

} // namespace pos

#endif
