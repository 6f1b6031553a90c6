// Reads a prooftally JSON report one component at a time with each JSON
// reader at hand, so that the benchmark can choose how --since reads its
// baseline:
//   json_reader [-r ROUNDS] FILE [READER...]
//       each reader in a child process of its own, ROUNDS times: the median
//       wall time, the peak memory, what it read
//   json_reader --one READER FILE
//       one reader in this process (for callgrind): what it read, or where
//       and why it stopped
// Readers: qt (the whole document at once, as --since reads it now),
// rapidjson (SAX over its FileReadStream, 64 KB at a time), rapidjson-blanks16
// (the same over a stream that skips blanks 16 bytes at a time), simdjson
// (On-Demand over the whole file, padded). Each takes per component its name, file, file state and
// counts, and per goal its tag, tag occurrence, obligation, number, status and
// its mechanisms' and drivers' statuses, checking their types. A digest of
// what was read shows that every reader read the same.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#ifdef HAVE_RAPIDJSON
#include <rapidjson/error/en.h>
#include <rapidjson/filereadstream.h>
#include <rapidjson/reader.h>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#endif
#ifdef HAVE_SIMDJSON
#include <simdjson.h>
#endif

namespace {

struct goal_t {
    std::string tag, status;
    long long tag_occurrence = 0, obligation = 0, number = 0;
    std::vector<std::pair<std::string, std::string>> results; // "M" or "M/d", status
    unsigned seen = 0;
};

struct component_t {
    std::string name, po_file, po_file_state;
    long long counts[4] = {}; // proved, unproved, unreliable, disproved
    std::vector<goal_t> goals;
    unsigned seen = 0;
};

// Fields each reader must find, as bits of `seen`.
constexpr unsigned NAME = 1, STATE = 2, COUNTS = 4 | 8 | 16 | 32;
constexpr unsigned TAG = 1, STATUS = 2, NUMBERS = 4 | 8 | 16;
char const* const COUNT_KEYS[] = {"proved", "unproved", "unreliable", "disproved"};
char const* const GOAL_NUMBER_KEYS[] = {"tag_occurrence", "obligation", "goal"};

long long* goal_number(goal_t& g, int i) {
    return i == 0 ? &g.tag_occurrence : i == 1 ? &g.obligation : &g.number;
}

int index_of(char const* const* keys, int n, std::string_view key) {
    for (int i = 0; i < n; ++i)
        if (key == keys[i])
            return i;
    return -1;
}

bool complete(component_t const& c) {
    if ((c.seen & (NAME | STATE | COUNTS)) != (NAME | STATE | COUNTS))
        return false;
    for (goal_t const& g : c.goals)
        if ((g.seen & (TAG | STATUS | NUMBERS)) != (TAG | STATUS | NUMBERS))
            return false;
    return true;
}

// FNV-1a over everything read, with counts.
class digest_t {
public:
    void add(component_t const& c) {
        ++components_;
        mix(c.name);
        mix(c.po_file);
        mix(c.po_file_state);
        for (long long n : c.counts)
            mix(n);
        for (goal_t const& g : c.goals) {
            ++goals_;
            mix(g.tag);
            mix(g.status);
            mix(g.tag_occurrence);
            mix(g.obligation);
            mix(g.number);
            for (auto const& [name, status] : g.results) {
                ++results_;
                mix(name);
                mix(status);
            }
        }
    }
    std::string line() const {
        char hash[17];
        std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(hash_));
        return std::to_string(components_) + " components, " + std::to_string(goals_) + " goals, " +
               std::to_string(results_) + " results, digest " + hash;
    }

private:
    void mix(std::string_view s) {
        for (unsigned char ch : s)
            hash_ = (hash_ ^ ch) * 1099511628211ull;
        hash_ = (hash_ ^ 0xff) * 1099511628211ull;
    }
    void mix(long long n) { mix(std::to_string(n)); }
    std::uint64_t hash_ = 14695981039346656037ull;
    long long components_ = 0, goals_ = 0, results_ = 0;
};

std::string at(long long offset, std::string const& what) {
    return "byte " + std::to_string(offset) + ": " + what;
}

char const* const NOT_A_REPORT = "not a prooftally report";

// --- Qt: the whole document, then its components --------------------------

std::string read_qt(char const* path, digest_t& digest) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "cannot be read";
    QJsonParseError error{};
    QJsonDocument const doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (doc.isNull())
        return at(error.offset, error.errorString().toStdString());
    QJsonObject const report = doc.object();
    int const version = report.value("version").toInt();
    if (report.value("report") != "prooftally" || (version != 1 && version != 2) ||
        !report.value("components").isArray())
        return NOT_A_REPORT;
    auto text = [](QJsonValue const& v) { return v.toString().toStdString(); };
    component_t c;
    for (auto const& item : report.value("components").toArray()) {
        QJsonObject const o = item.toObject();
        c = component_t{};
        c.seen = (o.value("name").isString() ? NAME : 0) |
                 (o.value("po_file_state").isString() ? STATE : 0);
        c.name = text(o.value("name"));
        c.po_file = text(o.value("po_file"));
        c.po_file_state = text(o.value("po_file_state"));
        for (int i = 0; i < 4; ++i) {
            QJsonValue const n = o.value(COUNT_KEYS[i]);
            c.seen |= n.isDouble() ? 4u << i : 0;
            c.counts[i] = n.toVariant().toLongLong();
        }
        for (auto const& value : o.value("goal_list").toArray()) {
            QJsonObject const g = value.toObject();
            goal_t goal;
            goal.seen =
                (g.value("tag").isString() ? TAG : 0) | (g.value("status").isString() ? STATUS : 0);
            goal.tag = text(g.value("tag"));
            goal.status = text(g.value("status"));
            for (int i = 0; i < 3; ++i) {
                QJsonValue const n = g.value(GOAL_NUMBER_KEYS[i]);
                goal.seen |= n.isDouble() ? 4u << i : 0;
                *goal_number(goal, i) = n.toVariant().toLongLong();
            }
            for (auto const& m : g.value("mechanisms").toArray()) {
                std::string const name = text(m.toObject().value("name"));
                goal.results.emplace_back(name, text(m.toObject().value("status")));
                for (auto const& d : m.toObject().value("drivers").toArray())
                    goal.results.emplace_back(name + "/" + text(d.toObject().value("name")),
                                              text(d.toObject().value("status")));
            }
            c.goals.push_back(std::move(goal));
        }
        if (!complete(c))
            return NOT_A_REPORT;
        digest.add(c);
    }
    return {};
}

// --- RapidJSON: SAX events, one component held at a time ------------------

#ifdef HAVE_RAPIDJSON
class sax_t : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, sax_t> {
public:
    explicit sax_t(digest_t& digest) : digest_(digest) {}

    // Values under keys not followed (the metrics, the total, the findings)
    // are skipped by depth.
    bool StartObject() {
        if (skip_ || (!stack_.empty() && !is_array(top()))) {
            if (!skip_ && expected() != none)
                return wrong();
            ++skip_;
            return true;
        }
        if (stack_.empty())
            stack_.push_back(root);
        else if (top() == components)
            stack_.push_back(component), component_ = component_t{};
        else if (top() == goals)
            stack_.push_back(goal), goal_ = goal_t{};
        else if (top() == mechanisms)
            stack_.push_back(mechanism), mechanism_ = {};
        else
            stack_.push_back(driver), driver_ = {};
        return true;
    }
    bool EndObject(rapidjson::SizeType) {
        if (skip_)
            return --skip_, true;
        where_t const done = pop();
        if (done == component) {
            if (!complete(component_))
                return fail(NOT_A_REPORT);
            digest_.add(component_);
        } else if (done == goal) {
            component_.goals.push_back(std::move(goal_));
        } else if (done == mechanism) {
            goal_.results.emplace_back(mechanism_.first, mechanism_.second);
            for (auto& [name, status] : drivers_)
                goal_.results.emplace_back(mechanism_.first + "/" + name, std::move(status));
            drivers_.clear();
        } else if (done == driver) {
            drivers_.push_back(std::move(driver_));
        } else if (report_ != "prooftally" || (version_ != 1 && version_ != 2) || !listed_) {
            return fail(NOT_A_REPORT);
        }
        return true;
    }
    bool StartArray() {
        if (skip_)
            return ++skip_, true;
        switch (expected()) {
        case list_of_components:
            listed_ = true;
            return stack_.push_back(components), true;
        case list_of_goals:
            return stack_.push_back(goals), true;
        case list_of_mechanisms:
            return stack_.push_back(mechanisms), true;
        case list_of_drivers:
            return stack_.push_back(drivers), true;
        case none:
            return ++skip_, true;
        default:
            return wrong();
        }
    }
    bool EndArray(rapidjson::SizeType) {
        if (skip_)
            return --skip_, true;
        pop();
        return true;
    }
    bool Key(char const* s, rapidjson::SizeType n, bool) {
        if (!skip_)
            key_.assign(s, n);
        return true;
    }
    bool String(char const* s, rapidjson::SizeType n, bool) {
        if (skip_)
            return true;
        std::string* into = nullptr;
        switch (expected()) {
        case text_name:
            into = top() == component   ? &component_.name
                   : top() == mechanism ? &mechanism_.first
                                        : &driver_.first;
            component_.seen |= top() == component ? NAME : 0;
            break;
        case text_file:
            into = &component_.po_file;
            break;
        case text_state:
            into = &component_.po_file_state;
            component_.seen |= STATE;
            break;
        case text_tag:
            into = &goal_.tag;
            goal_.seen |= TAG;
            break;
        case text_status:
            into = top() == goal        ? &goal_.status
                   : top() == mechanism ? &mechanism_.second
                                        : &driver_.second;
            goal_.seen |= top() == goal ? STATUS : 0;
            break;
        case text_report:
            into = &report_;
            break;
        case none:
            return true;
        default:
            return wrong();
        }
        into->assign(s, n);
        return true;
    }
    bool Int(int n) { return number(n); }
    bool Uint(unsigned n) { return number(n); }
    bool Int64(std::int64_t n) { return number(n); }
    bool Uint64(std::uint64_t n) { return n > INT64_MAX ? wrong() : number(std::int64_t(n)); }
    bool Double(double n) { return number(static_cast<long long>(n)); }
    bool Default() { return skip_ || expected() == none ? true : wrong(); } // null, true, false

    std::string problem;

private:
    enum where_t {
        root,
        components,
        component,
        goals,
        goal,
        mechanisms,
        mechanism,
        drivers,
        driver
    };
    enum expected_t {
        none,
        list_of_components,
        list_of_goals,
        list_of_mechanisms,
        list_of_drivers,
        text_name,
        text_file,
        text_state,
        text_tag,
        text_status,
        text_report,
        number_count,
        number_goal,
        number_version,
        element
    };
    static bool is_array(where_t w) {
        return w == components || w == goals || w == mechanisms || w == drivers;
    }
    where_t top() const { return stack_.back(); }
    where_t pop() {
        where_t const w = stack_.back();
        stack_.pop_back();
        return w;
    }
    // What the current key (or place in a list) must hold.
    expected_t expected() const {
        if (stack_.empty())
            return none;
        std::string_view const k = key_;
        switch (top()) {
        case root:
            return k == "components" ? list_of_components
                   : k == "report"   ? text_report
                   : k == "version"  ? number_version
                                     : none;
        case component:
            return k == "name"                       ? text_name
                   : k == "po_file"                  ? text_file
                   : k == "po_file_state"            ? text_state
                   : k == "goal_list"                ? list_of_goals
                   : index_of(COUNT_KEYS, 4, k) >= 0 ? number_count
                                                     : none;
        case goal:
            return k == "tag"                              ? text_tag
                   : k == "status"                         ? text_status
                   : k == "mechanisms"                     ? list_of_mechanisms
                   : index_of(GOAL_NUMBER_KEYS, 3, k) >= 0 ? number_goal
                                                           : none;
        case mechanism:
            return k == "name"      ? text_name
                   : k == "status"  ? text_status
                   : k == "drivers" ? list_of_drivers
                                    : none;
        case driver:
            return k == "name" ? text_name : k == "status" ? text_status : none;
        default:
            return element; // a list's item must be an object
        }
    }
    bool number(long long n) {
        if (skip_)
            return true;
        switch (expected()) {
        case number_count: {
            int const i = index_of(COUNT_KEYS, 4, key_);
            component_.counts[i] = n;
            component_.seen |= 4u << i;
            return true;
        }
        case number_goal: {
            int const i = index_of(GOAL_NUMBER_KEYS, 3, key_);
            *goal_number(goal_, i) = n;
            goal_.seen |= 4u << i;
            return true;
        }
        case number_version:
            version_ = n;
            return true;
        case none:
            return true;
        default:
            return wrong();
        }
    }
    bool wrong() { return fail(NOT_A_REPORT); }
    bool fail(char const* why) {
        problem = why;
        return false;
    }

    digest_t& digest_;
    std::vector<where_t> stack_;
    std::string key_;
    int skip_ = 0;
    component_t component_;
    goal_t goal_;
    std::pair<std::string, std::string> mechanism_, driver_;
    std::vector<std::pair<std::string, std::string>> drivers_;
    std::string report_;
    long long version_ = 0;
    bool listed_ = false;
};

// A file read 64 KB at a time, like RapidJSON's FileReadStream, whose blanks
// are skipped 16 bytes at a time: RapidJSON vectorises that only for input
// held whole in memory, and an indented report is largely blanks.
class blank_skipping_stream_t {
public:
    using Ch = char;
    explicit blank_skipping_stream_t(std::FILE* file) : file_(file) { fill(); }
    Ch Peek() const { return *current_; }
    Ch Take() {
        Ch const c = *current_;
        if (++current_ == end_)
            fill();
        return c;
    }
    std::size_t Tell() const { return before_ + std::size_t(current_ - buffer_); }
    void skip_blanks() {
        for (;;) {
#ifdef __SSE2__
            while (end_ - current_ >= 16) {
                __m128i const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(current_));
                __m128i const blank =
                    _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(' ')),
                                              _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n'))),
                                 _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')),
                                              _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\t'))));
                unsigned const mask = unsigned(_mm_movemask_epi8(blank));
                if (mask != 0xffff) {
                    current_ += __builtin_ctz(~mask);
                    return;
                }
                current_ += 16;
            }
#endif
            while (current_ < end_ && (*current_ == ' ' || *current_ == '\n' || *current_ == '\r' ||
                                       *current_ == '\t'))
                ++current_;
            if (current_ < end_ || done_)
                return;
            fill();
        }
    }
    // Never written to.
    Ch* PutBegin() {
        return nullptr;
    }
    void Put(Ch) {}
    void Flush() {}
    std::size_t PutEnd(Ch*) {
        return 0;
    }

private:
    void fill() {
        before_ += std::size_t(end_ - buffer_);
        std::size_t const n = done_ ? 0 : std::fread(buffer_, 1, sizeof buffer_ - 1, file_);
        current_ = buffer_;
        end_ = buffer_ + n;
        if (n == 0) { // at the end, a NUL that is never taken
            done_ = true;
            buffer_[0] = '\0';
            end_ = buffer_ + 1;
        }
    }
    std::FILE* file_;
    char buffer_[65536];
    char* current_ = buffer_;
    char* end_ = buffer_;
    std::size_t before_ = 0;
    bool done_ = false;
};

} // namespace
namespace rapidjson {
template <> inline void SkipWhitespace(blank_skipping_stream_t& in) {
    in.skip_blanks();
}
} // namespace rapidjson
namespace {

template <class Stream> std::string read_with(char const* path, digest_t& digest) {
    std::FILE* file = std::fopen(path, "rb");
    if (!file)
        return "cannot be read";
    static char buffer[65536];
    auto in = [&]() {
        if constexpr (std::is_same_v<Stream, rapidjson::FileReadStream>)
            return Stream(file, buffer, sizeof buffer);
        else
            return std::make_unique<Stream>(file);
    }();
    sax_t sax(digest);
    rapidjson::Reader reader;
    // Iterative: no recursion however deep the input; UTF-8 checked, as the
    // other readers check it.
    constexpr unsigned flags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    rapidjson::ParseResult ok;
    if constexpr (std::is_same_v<Stream, rapidjson::FileReadStream>)
        ok = reader.Parse<flags>(in, sax);
    else
        ok = reader.Parse<flags>(*in, sax);
    std::fclose(file);
    if (ok)
        return {};
    return at(ok.Offset(), ok.Code() == rapidjson::kParseErrorTermination
                               ? sax.problem
                               : rapidjson::GetParseError_En(ok.Code()));
}

std::string read_rapidjson(char const* path, digest_t& digest) {
    return read_with<rapidjson::FileReadStream>(path, digest);
}

std::string read_rapidjson_skip(char const* path, digest_t& digest) {
    return read_with<blank_skipping_stream_t>(path, digest);
}
#endif

// --- simdjson On-Demand: the whole file padded, walked in place -----------

#ifdef HAVE_SIMDJSON
namespace od = simdjson::ondemand;
using simdjson::error_code;

error_code text(simdjson::simdjson_result<od::value> v, std::string& into) {
    std::string_view s;
    SIMDJSON_TRY(v.get_string().get(s));
    into.assign(s);
    return simdjson::SUCCESS;
}

error_code read_mechanism(od::object m, std::vector<std::pair<std::string, std::string>>& out) {
    std::string name, status;
    std::vector<std::pair<std::string, std::string>> drivers;
    for (auto field : m) {
        std::string_view key;
        SIMDJSON_TRY(field.unescaped_key().get(key));
        if (key == "name") {
            SIMDJSON_TRY(text(field.value(), name));
        } else if (key == "status") {
            SIMDJSON_TRY(text(field.value(), status));
        } else if (key == "drivers") {
            od::array list;
            SIMDJSON_TRY(field.value().get_array().get(list));
            for (auto item : list) {
                od::object d;
                SIMDJSON_TRY(item.get_object().get(d));
                std::pair<std::string, std::string> driver;
                for (auto f : d) {
                    std::string_view k;
                    SIMDJSON_TRY(f.unescaped_key().get(k));
                    if (k == "name") {
                        SIMDJSON_TRY(text(f.value(), driver.first));
                    } else if (k == "status") {
                        SIMDJSON_TRY(text(f.value(), driver.second));
                    }
                }
                drivers.push_back(std::move(driver));
            }
        }
    }
    out.emplace_back(name, status);
    for (auto& [driver, result] : drivers)
        out.emplace_back(name + "/" + driver, std::move(result));
    return simdjson::SUCCESS;
}

error_code read_goal(od::object g, goal_t& goal) {
    for (auto field : g) {
        std::string_view key;
        SIMDJSON_TRY(field.unescaped_key().get(key));
        int const i = index_of(GOAL_NUMBER_KEYS, 3, key);
        if (key == "tag") {
            SIMDJSON_TRY(text(field.value(), goal.tag));
            goal.seen |= TAG;
        } else if (key == "status") {
            SIMDJSON_TRY(text(field.value(), goal.status));
            goal.seen |= STATUS;
        } else if (i >= 0) {
            std::int64_t n;
            SIMDJSON_TRY(field.value().get_int64().get(n));
            *goal_number(goal, i) = n;
            goal.seen |= 4u << i;
        } else if (key == "mechanisms") {
            od::array list;
            SIMDJSON_TRY(field.value().get_array().get(list));
            for (auto item : list) {
                od::object m;
                SIMDJSON_TRY(item.get_object().get(m));
                SIMDJSON_TRY(read_mechanism(m, goal.results));
            }
        }
    }
    return simdjson::SUCCESS;
}

error_code read_component(od::object o, component_t& c) {
    for (auto field : o) {
        std::string_view key;
        SIMDJSON_TRY(field.unescaped_key().get(key));
        int const i = index_of(COUNT_KEYS, 4, key);
        if (key == "name") {
            SIMDJSON_TRY(text(field.value(), c.name));
            c.seen |= NAME;
        } else if (key == "po_file") {
            SIMDJSON_TRY(text(field.value(), c.po_file));
        } else if (key == "po_file_state") {
            SIMDJSON_TRY(text(field.value(), c.po_file_state));
            c.seen |= STATE;
        } else if (i >= 0) {
            std::int64_t n;
            SIMDJSON_TRY(field.value().get_int64().get(n));
            c.counts[i] = n;
            c.seen |= 4u << i;
        } else if (key == "goal_list") {
            od::array list;
            SIMDJSON_TRY(field.value().get_array().get(list));
            for (auto item : list) {
                od::object g;
                SIMDJSON_TRY(item.get_object().get(g));
                goal_t goal;
                SIMDJSON_TRY(read_goal(g, goal));
                c.goals.push_back(std::move(goal));
            }
        }
    }
    return complete(c) ? simdjson::SUCCESS : simdjson::NO_SUCH_FIELD;
}

error_code read_report(od::document& doc, digest_t& digest) {
    od::object report;
    SIMDJSON_TRY(doc.get_object().get(report));
    std::string name;
    std::int64_t version = 0;
    bool listed = false;
    for (auto field : report) {
        std::string_view key;
        SIMDJSON_TRY(field.unescaped_key().get(key));
        if (key == "report") {
            SIMDJSON_TRY(text(field.value(), name));
        } else if (key == "version") {
            SIMDJSON_TRY(field.value().get_int64().get(version));
        } else if (key == "components") {
            od::array list;
            SIMDJSON_TRY(field.value().get_array().get(list));
            listed = true;
            for (auto item : list) {
                od::object o;
                SIMDJSON_TRY(item.get_object().get(o));
                component_t c;
                SIMDJSON_TRY(read_component(o, c));
                digest.add(c);
            }
        }
    }
    // This version's document has no at_end(): a location still in bounds
    // after the root object is content after it.
    char const* after = nullptr;
    if (!doc.current_location().get(after))
        return simdjson::TRAILING_CONTENT;
    return name == "prooftally" && (version == 1 || version == 2) && listed
               ? simdjson::SUCCESS
               : simdjson::NO_SUCH_FIELD;
}

std::string read_simdjson(char const* path, digest_t& digest) {
    simdjson::padded_string json;
    if (error_code e = simdjson::padded_string::load(path).get(json))
        return simdjson::error_message(e);
    od::parser parser;
    od::document doc;
    // The first pass over the whole input finds broken strings and UTF-8,
    // without a place.
    if (error_code e = parser.iterate(json).get(doc))
        return simdjson::error_message(e);
    error_code const e = read_report(doc, digest);
    if (!e)
        return {};
    char const* where = nullptr;
    long long const offset = doc.current_location().get(where) ? -1 : where - json.data();
    return at(offset, e == simdjson::NO_SUCH_FIELD ? NOT_A_REPORT : simdjson::error_message(e));
}
#endif

using reader_t = std::string (*)(char const*, digest_t&);

std::vector<std::pair<std::string, reader_t>> const& readers() {
    static std::vector<std::pair<std::string, reader_t>> const all = {
        {"qt", read_qt},
#ifdef HAVE_RAPIDJSON
        {"rapidjson", read_rapidjson},
        {"rapidjson-blanks16", read_rapidjson_skip},
#endif
#ifdef HAVE_SIMDJSON
        {"simdjson", read_simdjson},
#endif
    };
    return all;
}

reader_t find(std::string const& name) {
    for (auto const& [n, r] : readers())
        if (n == name)
            return r;
    return nullptr;
}

// What one reader read, or "error: ..." (one line).
std::string run(reader_t reader, char const* path) {
    digest_t digest;
    std::string const error = reader(path, digest);
    return error.empty() ? digest.line() : "error: " + error;
}

struct measured_t {
    double seconds;
    long peak_kb;
    std::string line;
};

// One reader in a child process, so that its peak memory is its own.
measured_t in_child(reader_t reader, char const* path) {
    int ends[2];
    if (pipe(ends) != 0)
        return {0, 0, "error: no pipe"};
    std::cout.flush();
    auto const start = std::chrono::steady_clock::now();
    pid_t const child = fork();
    if (child == 0) {
        close(ends[0]);
        std::string const line = run(reader, path) + "\n";
        _exit(write(ends[1], line.data(), line.size()) == ssize_t(line.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string line;
    char chunk[256];
    for (ssize_t n; (n = read(ends[0], chunk, sizeof chunk)) > 0;)
        line.append(chunk, std::size_t(n));
    close(ends[0]);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    double const seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!line.empty())
        line.pop_back();
    if (!WIFEXITED(status))
        line = "error: killed by signal " + std::to_string(WTERMSIG(status));
    return {seconds, usage.ru_maxrss, line};
}

int usage() {
    std::cerr << "usage: json_reader [-r ROUNDS] FILE [READER...] | json_reader --one READER FILE\n"
                 "readers:";
    for (auto const& r : readers())
        std::cerr << ' ' << r.first;
    std::cerr << '\n';
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--one") == 0) {
        reader_t const reader = find(argv[2]);
        if (!reader)
            return usage();
        std::string const line = run(reader, argv[3]);
        std::cout << line << '\n';
        return line.compare(0, 6, "error:") == 0 ? 2 : 0;
    }
    int rounds = 1, first = 1;
    if (argc > 2 && std::strcmp(argv[1], "-r") == 0) {
        rounds = std::max(1, std::atoi(argv[2]));
        first = 3;
    }
    if (first >= argc)
        return usage();
    char const* const path = argv[first];
    std::vector<std::pair<std::string, reader_t>> chosen;
    for (int i = first + 1; i < argc; ++i)
        if (reader_t r = find(argv[i]))
            chosen.emplace_back(argv[i], r);
        else
            return usage();
    if (chosen.empty())
        chosen = readers();
    // Rounds interleave the readers, so that the machine's load weighs on
    // all alike; the median time and the highest peak are shown.
    std::vector<std::vector<measured_t>> runs(chosen.size());
    for (int r = 0; r < rounds; ++r)
        for (std::size_t i = 0; i < chosen.size(); ++i)
            runs[i].push_back(in_child(chosen[i].second, path));
    std::printf("| reader | median s | peak MB | read |\n|---|---:|---:|---|\n");
    bool same = true;
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        std::vector<double> seconds;
        long peak = 0;
        for (measured_t const& m : runs[i]) {
            seconds.push_back(m.seconds);
            peak = std::max(peak, m.peak_kb);
            same = same && m.line == runs[0][0].line;
        }
        std::sort(seconds.begin(), seconds.end());
        std::size_t const n = seconds.size();
        double const median = n % 2 ? seconds[n / 2] : (seconds[n / 2 - 1] + seconds[n / 2]) / 2;
        std::printf("| %s | %.3f | %.1f | %s |\n", chosen[i].first.c_str(), median, peak / 1024.0,
                    runs[i][0].line.c_str());
    }
    std::printf(same ? "\nEvery reader read the same.\n" : "\nTHE READERS READ DIFFERENTLY.\n");
    return same ? 0 : 1;
}
