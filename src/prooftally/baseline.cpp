#include "prooftally/baseline.h"

#include "prooftally/gate.h"

#include "pos/xml_load.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

#include <rapidjson/error/error.h>
#include <rapidjson/reader.h>

#include <unistd.h>

#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

// A file read a buffer at a time, as RapidJSON's FileReadStream reads it,
// but with blanks skipped a buffer at a time: an indented report is mostly
// blanks.
class file_stream_t {
public:
    using Ch = char;
    file_stream_t(std::FILE* file, char* buffer, std::size_t size)
        : file_(file), buffer_(buffer), size_(size), last_(buffer), current_(buffer) {
        read();
    }
    Ch Peek() const { return *current_; }
    Ch Take() {
        Ch const c = *current_;
        read();
        return c;
    }
    std::size_t Tell() const { return count_ + static_cast<std::size_t>(current_ - buffer_); }
    Ch const* Peek4() const { return current_ + 4 <= last_ ? current_ : nullptr; }
    void Put(Ch) {}
    void Flush() {}
    Ch* PutBegin() { return nullptr; }
    std::size_t PutEnd(Ch*) { return 0; }

    void skip_blanks() {
        for (;;) {
            while (current_ < last_) {
                // Indentation eight spaces at a time.
                std::uint64_t word;
                if (last_ - current_ >= 8 && (std::memcpy(&word, current_, 8), word == SPACES)) {
                    current_ += 8;
                    continue;
                }
                if (!blank(*current_))
                    return;
                ++current_;
            }
            if (!blank(*current_))
                return;
            read();
        }
    }

private:
    static constexpr std::uint64_t SPACES = 0x2020202020202020u;
    static bool blank(char c) {
        return c <= ' ' && (c == ' ' || c == '\n' || c == '\r' || c == '\t');
    }
    // Steps to the next byte; at the end of the file the stream holds '\0'.
    void read() {
        if (current_ < last_) {
            ++current_;
        } else if (!eof_) {
            count_ += read_;
            read_ = std::fread(buffer_, 1, size_ - 1, file_);
            last_ = buffer_ + read_ - 1;
            current_ = buffer_;
            if (read_ < size_ - 1) {
                buffer_[read_] = '\0';
                ++last_;
                eof_ = true;
            }
        }
    }
    std::FILE* file_;
    char* buffer_;
    std::size_t size_;
    char* last_; // the last byte held
    char* current_;
    std::size_t read_ = 0, count_ = 0;
    bool eof_ = false;
};

// Found by the reader (argument-dependent lookup) in place of its own.
[[maybe_unused]] void SkipWhitespace(file_stream_t& in) {
    in.skip_blanks();
}

// Where a value stands in the report.
enum class in_t {
    root,
    top,
    components,
    component,
    goal_list, // goals one object each (version 2)
    goal,
    mechanisms,
    mechanism,
    drivers,
    driver,
    obligations, // goals by obligation, arrays (version 3)
    obligation,
    goal3,
    result3,
    total,
    skip
};

enum class key_t {
    other,
    components,
    report,
    version,
    total,
    goals,
    name,
    po_file,
    po_file_state,
    proved,
    unproved,
    unreliable,
    disproved,
    goal_list,
    obligations,
    tag,
    tag_occurrence,
    obligation,
    goal,
    status,
    mechanisms,
    drivers
};

// Keys by length first: every key of the report goes through here.
key_t key_of(std::string_view key) {
    static std::pair<std::string_view, key_t> const keys[] = {
        {"goal", key_t::goal},
        {"name", key_t::name},
        {"tag", key_t::tag},
        {"goals", key_t::goals},
        {"total", key_t::total},
        {"report", key_t::report},
        {"proved", key_t::proved},
        {"status", key_t::status},
        {"version", key_t::version},
        {"po_file", key_t::po_file},
        {"drivers", key_t::drivers},
        {"unproved", key_t::unproved},
        {"disproved", key_t::disproved},
        {"goal_list", key_t::goal_list},
        {"components", key_t::components},
        {"unreliable", key_t::unreliable},
        {"obligation", key_t::obligation},
        {"mechanisms", key_t::mechanisms},
        {"obligations", key_t::obligations},
        {"po_file_state", key_t::po_file_state},
        {"tag_occurrence", key_t::tag_occurrence}};
    for (auto const& [name, k] : keys)
        if (name.size() == key.size() && name[0] == key[0] && name == key)
            return k;
    return key_t::other;
}

struct frame_t {
    in_t in;
    key_t key = key_t::other; // of the member being read, in an object
    std::size_t items = 0;    // read so far, in an array
};

enum class kind_t { none, other, number, string };

// A scalar as the reader hands it.
struct scalar_t {
    kind_t kind;
    std::string_view text = {};
    double number = 0;
};

// What Qt's toInt() makes of a number: 0 when it is not a whole int.
int whole(double number) {
    return std::trunc(number) == number && std::fabs(number) <= 2147483647.0
               ? static_cast<int>(number)
               : 0;
}

// Reads the report's values as they come: in the first pass each component's
// counts and start, checking every goal's shape; in the second the goals of
// one component.
class handler_t {
public:
    handler_t(file_stream_t& in, baseline_t& out, baseline_goals_t* goals)
        : in_(in), out_(out), goals_(goals) {
        stack_.push_back({goals ? in_t::components : in_t::root});
    }

    bool Null() { return scalar({kind_t::other, "null"}); }
    bool Bool(bool b) { return scalar({kind_t::other, b ? "true" : "false"}); }
    bool Int(int i) { return scalar({kind_t::number, {}, double(i)}); }
    bool Uint(unsigned u) { return scalar({kind_t::number, {}, double(u)}); }
    bool Int64(std::int64_t i) { return scalar({kind_t::number, {}, double(i)}); }
    bool Uint64(std::uint64_t u) { return scalar({kind_t::number, {}, double(u)}); }
    bool Double(double d) { return scalar({kind_t::number, {}, d}); }
    bool RawNumber(char const*, rapidjson::SizeType, bool) { return true; }
    bool String(char const* s, rapidjson::SizeType n, bool) {
        return scalar({kind_t::string, {s, n}});
    }
    bool Key(char const* s, rapidjson::SizeType n, bool) {
        stack_.back().key = key_of({s, n});
        return true;
    }
    bool StartObject() { return open(true); }
    bool StartArray() { return open(false); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }

    // What the first pass found.
    bool top_object = false, report = false, components_array = false;
    bool bad_component = false, bad_goal_list = false, bad_obligations = false;
    kind_t version_kind = kind_t::none;
    double version = 0;
    std::string version_text;
    bool total_goals = false, total_proved = false;

private:
    // The member's key in an object, the position of the item in an array.
    std::pair<key_t, std::size_t> slot() {
        frame_t& f = stack_.back();
        return {f.key, f.items++};
    }

    bool open(bool object) {
        in_t const parent = stack_.back().in;
        auto const [key, index] = slot();
        in_t child = in_t::skip;
        switch (parent) {
        case in_t::root:
            top_object = object;
            child = object ? in_t::top : in_t::skip;
            break;
        case in_t::top:
            if (key == key_t::components) {
                components_array = !object;
                child = object ? in_t::skip : in_t::components;
            } else if (key == key_t::total) {
                total_goals = total_proved = false;
                child = object ? in_t::total : in_t::skip;
            } else if (key == key_t::report) {
                report = false;
            } else if (key == key_t::version) {
                version_kind = kind_t::other;
                version_text = object ? "{}" : "[]";
            }
            break;
        case in_t::components:
            if (object) {
                child = in_t::component;
                component_ = {};
                component_.offset = in_.Tell();
                fields_ = 0;
                has_goal_list_ = has_obligations_ = false;
            } else {
                bad_component = true;
            }
            break;
        case in_t::component:
            if (key == key_t::goal_list && !object) {
                has_goal_list_ = true;
                child = out_.version == 3 && goals_ ? in_t::skip : in_t::goal_list;
            } else if (key == key_t::obligations && !object) {
                has_obligations_ = true;
                child = out_.version == 2 && goals_ ? in_t::skip : in_t::obligations;
            } else {
                component_field(key, {kind_t::other});
            }
            break;
        case in_t::goal_list:
            if (object) {
                child = in_t::goal;
                goal_.reset();
                goal_fields_ = 0;
                start_results();
            } else {
                bad_goal_list = true;
            }
            break;
        case in_t::goal:
            if (key == key_t::mechanisms && !object)
                child = in_t::mechanisms;
            else
                goal_field(key, {kind_t::other});
            break;
        case in_t::mechanisms:
            if (object) {
                child = in_t::mechanism;
                mechanism_ = {};
                drivers_.clear();
            } else {
                add_result({}, {});
            }
            break;
        case in_t::mechanism:
            if (key == key_t::drivers && !object)
                child = in_t::drivers;
            else if (key == key_t::name)
                mechanism_.first.clear();
            else if (key == key_t::status)
                mechanism_.second.clear();
            break;
        case in_t::drivers:
            drivers_.emplace_back();
            child = object ? in_t::driver : in_t::skip;
            break;
        case in_t::driver:
            if (key == key_t::name)
                drivers_.back().first.clear();
            else if (key == key_t::status)
                drivers_.back().second.clear();
            break;
        case in_t::obligations:
            if (!object) {
                child = in_t::obligation;
                goal_.reset();
            } else {
                bad_obligations = true;
            }
            break;
        case in_t::obligation:
            if (index >= 3 && !object) {
                child = in_t::goal3;
                start_results();
            } else {
                bad_obligations = true;
            }
            break;
        case in_t::goal3:
            if (index >= 3 && !object) {
                child = in_t::result3;
                drivers_.clear();
            } else {
                bad_obligations = true;
            }
            break;
        case in_t::result3:
            bad_obligations = true;
            break;
        case in_t::total:
        case in_t::skip:
            break;
        }
        stack_.push_back({child});
        return true;
    }

    bool scalar(scalar_t const& value) {
        in_t const in = stack_.back().in;
        auto const [key, index] = slot();
        bool const string = value.kind == kind_t::string;
        switch (in) {
        case in_t::top:
            if (key == key_t::report)
                report = string && value.text == "prooftally";
            if (key == key_t::version) {
                version_kind = value.kind;
                version = value.number;
                version_text = value.text;
            }
            break;
        case in_t::components:
            bad_component = true;
            break;
        case in_t::component:
            component_field(key, value);
            break;
        case in_t::goal_list:
            bad_goal_list = true;
            break;
        case in_t::goal:
            goal_field(key, value);
            break;
        case in_t::mechanisms:
            add_result({}, {});
            break;
        case in_t::mechanism:
            if (!goals_)
                break;
            if (key == key_t::name)
                mechanism_.first = string ? value.text : std::string_view();
            else if (key == key_t::status)
                mechanism_.second = string ? value.text : std::string_view();
            break;
        case in_t::drivers:
            drivers_.emplace_back();
            break;
        case in_t::driver:
            if (!goals_)
                break;
            if (key == key_t::name)
                drivers_.back().first = string ? value.text : std::string_view();
            else if (key == key_t::status)
                drivers_.back().second = string ? value.text : std::string_view();
            break;
        case in_t::total:
            if (key == key_t::goals && (total_goals = value.kind == kind_t::number))
                out_.goals = std::llround(value.number);
            if (key == key_t::proved && (total_proved = value.kind == kind_t::number))
                out_.proved = std::llround(value.number);
            break;
        case in_t::obligations:
            bad_obligations = true;
            break;
        case in_t::obligation:
            // [TAG, TAG_OCCURRENCE, OBLIGATION, GOAL...]
            if (index == 0 && string) {
                if (goals_)
                    goal_.tag = value.text;
            } else if (index == 1 && value.kind == kind_t::number)
                goal_.occurrence = whole(value.number);
            else if (index == 2 && value.kind == kind_t::number)
                goal_.obligation = whole(value.number);
            else
                bad_obligations = true;
            break;
        case in_t::goal3:
            // [NUMBER, LINE, STATUS, RESULTS...]
            if (index == 0 && value.kind == kind_t::number)
                goal_.number = whole(value.number);
            else if (index == 2 && string)
                goal_.status = goals_ ? value.text : std::string_view();
            else if (index != 1 || value.kind != kind_t::number)
                bad_obligations = true;
            break;
        case in_t::result3:
            // [MECHANISM, STATUS, DRIVER, STATUS...]
            if (!string)
                bad_obligations = true;
            else if (!goals_)
                break;
            else if (index % 2 == 0)
                drivers_.emplace_back().first = value.text;
            else
                drivers_.back().second = value.text;
            break;
        case in_t::root:
        case in_t::skip:
            break;
        }
        return true;
    }

    bool close() {
        frame_t const f = stack_.back();
        stack_.pop_back();
        switch (f.in) {
        case in_t::component:
            if (fields_ != ALL_FIELDS)
                bad_component = true;
            else if (!goals_)
                out_.components.push_back(std::move(component_));
            all_goal_lists_ = all_goal_lists_ && has_goal_list_;
            all_obligations_ = all_obligations_ && has_obligations_;
            break;
        case in_t::goal:
            if (goal_fields_ != ALL_GOAL_FIELDS)
                bad_goal_list = true;
            else
                add_goal();
            break;
        case in_t::mechanism:
            add_result(mechanism_.first, mechanism_.second);
            if (goals_)
                for (auto const& [name, status] : drivers_)
                    goals_->results.add_driver(name, status);
            break;
        case in_t::obligation:
            if (f.items < 3)
                bad_obligations = true;
            break;
        case in_t::goal3:
            if (f.items < 3)
                bad_obligations = true;
            else
                add_goal();
            break;
        case in_t::result3:
            if (f.items < 2 || f.items % 2)
                bad_obligations = true;
            else if (goals_) {
                goals_->results.add(drivers_[0].first, drivers_[0].second);
                for (std::size_t i = 1; i < drivers_.size(); ++i)
                    goals_->results.add_driver(drivers_[i].first, drivers_[i].second);
            }
            break;
        default:
            break;
        }
        return true;
    }

    static constexpr unsigned ALL_FIELDS = 0x3F, ALL_GOAL_FIELDS = 0x1F;

    // A component needs its name and PO file state as strings and its
    // counters as numbers; a PO file that is not a string is named "".
    void component_field(key_t key, scalar_t const& value) {
        bool const string = value.kind == kind_t::string;
        bool const number = value.kind == kind_t::number;
        unsigned bit = 0;
        switch (key) {
        case key_t::name:
            bit = string ? 1 : 0;
            component_.name = value.text;
            break;
        case key_t::po_file:
            component_.po_file = string ? value.text : std::string_view();
            break;
        case key_t::po_file_state:
            bit = string ? 2 : 0;
            component_.po_file_state = value.text;
            break;
        case key_t::proved:
        case key_t::unproved:
        case key_t::unreliable:
        case key_t::disproved: {
            long long* const counters[] = {&component_.proved, &component_.unproved,
                                           &component_.unreliable, &component_.disproved};
            int const i = static_cast<int>(key) - static_cast<int>(key_t::proved);
            *counters[i] = number ? std::llround(value.number) : 0;
            bit = number ? 4u << i : 0;
            fields_ &= ~(4u << i);
            break;
        }
        default:
            return;
        }
        if (key == key_t::name)
            fields_ &= ~1u;
        if (key == key_t::po_file_state)
            fields_ &= ~2u;
        fields_ |= bit;
    }

    void goal_field(key_t key, scalar_t const& value) {
        bool const string = value.kind == kind_t::string;
        bool const number = value.kind == kind_t::number;
        auto const set = [this](unsigned bit, bool ok) {
            goal_fields_ = ok ? goal_fields_ | bit : goal_fields_ & ~bit;
        };
        switch (key) {
        case key_t::tag:
            set(1, string);
            if (goals_)
                goal_.tag = value.text;
            break;
        case key_t::status:
            set(2, string);
            if (goals_)
                goal_.status = value.text;
            break;
        case key_t::tag_occurrence:
            set(4, number);
            goal_.occurrence = whole(value.number);
            break;
        case key_t::obligation:
            set(8, number);
            goal_.obligation = whole(value.number);
            break;
        case key_t::goal:
            set(16, number);
            goal_.number = whole(value.number);
            break;
        default:
            break;
        }
    }

    void start_results() {
        if (goals_)
            goals_->results.start();
    }

    void add_result(std::string_view name, std::string_view status) {
        if (goals_)
            goals_->results.add(name, status);
    }

    void add_goal() {
        if (!goals_)
            return;
        // Goals of one obligation come together: its name is made once.
        if (obligation_name_.empty() || goal_.tag != last_.tag ||
            goal_.occurrence != last_.occurrence || goal_.obligation != last_.obligation) {
            last_.tag = goal_.tag;
            last_.occurrence = goal_.occurrence;
            last_.obligation = goal_.obligation;
            obligation_name_ =
                obligation_key(goal_.tag, static_cast<std::uint32_t>(goal_.occurrence),
                               static_cast<std::uint32_t>(goal_.obligation));
        }
        goals_->add_goal(obligation_name_, static_cast<std::uint32_t>(goal_.number), goal_.status);
    }

    struct goal_fields_t {
        std::string tag, status;
        int occurrence = 0, obligation = 0, number = 0;
        // Cleared, its memory kept for the next goal.
        void reset() {
            tag.clear();
            status.clear();
            occurrence = obligation = number = 0;
        }
    };
    struct obligation_id_t {
        std::string tag;
        int occurrence = 0, obligation = 0;
    };

    file_stream_t& in_;
    baseline_t& out_;
    baseline_goals_t* goals_; // the second pass's
    std::vector<frame_t> stack_;
    baseline_component_t component_;
    unsigned fields_ = 0, goal_fields_ = 0;
    bool has_goal_list_ = false, has_obligations_ = false;
    goal_fields_t goal_;
    std::pair<std::string, std::string> mechanism_;
    std::vector<std::pair<std::string, std::string>> drivers_;
    obligation_id_t last_;
    std::string obligation_name_;

public:
    bool all_goal_lists_ = true, all_obligations_ = true;
};

constexpr unsigned PARSE = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;

// Qt's words for what stops a JSON reader.
char const* reason(rapidjson::ParseErrorCode code) {
    switch (code) {
    case rapidjson::kParseErrorDocumentRootNotSingular:
        return "garbage at the end of the document";
    case rapidjson::kParseErrorObjectMissColon:
        return "missing name separator";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
        return "unterminated object";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
        return "unterminated array";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
    case rapidjson::kParseErrorStringEscapeInvalid:
        return "invalid escape sequence";
    case rapidjson::kParseErrorStringMissQuotationMark:
        return "unterminated string";
    case rapidjson::kParseErrorStringInvalidEncoding:
        return "invalid UTF8 string";
    case rapidjson::kParseErrorNumberTooBig:
    case rapidjson::kParseErrorNumberMissFraction:
    case rapidjson::kParseErrorNumberMissExponent:
        return "illegal number";
    default:
        return "illegal value";
    }
}

// The file's size, and its size without the blanks at either end.
std::pair<std::uint64_t, std::uint64_t> sizes(std::FILE* file) {
    std::rewind(file);
    std::uint64_t size = 0, first = 0, last = 0; // non-blank bytes: [first, last)
    bool seen = false;
    std::array<char, 65536> buffer;
    for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), file)) > 0;) {
        for (std::size_t i = 0; i < n; ++i) {
            char const c = buffer[i];
            if (c == ' ' || (c >= '\t' && c <= '\r'))
                continue;
            if (!seen)
                first = size + i;
            seen = true;
            last = size + i + 1;
        }
        size += n;
    }
    return {size, seen ? last - first : 0};
}

// Why the document is no JSON: empty, cut short, or where it goes wrong
// (bytes counted from 1).
std::string not_json(std::FILE* file, rapidjson::ParseResult const& result) {
    auto const [size, trimmed] = sizes(file);
    if (trimmed == 0)
        return "empty";
    if (result.Offset() + 6 > trimmed)
        return "truncated at byte " + std::to_string(size);
    return "not JSON (" + std::string(reason(result.Code())) + " near byte " +
           std::to_string(result.Offset() + 1) + ")";
}

// The version as the report writes it.
std::string version_text(handler_t const& h) {
    QJsonValue value;
    if (h.version_kind == kind_t::number)
        value = h.version;
    else if (h.version_kind == kind_t::string)
        value = QString::fromStdString(h.version_text);
    else if (h.version_kind == kind_t::other && !h.version_text.empty())
        return h.version_text;
    QByteArray const written = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return written.mid(1, written.size() - 2).toStdString();
}

} // namespace

std::optional<baseline_t> load_baseline(std::string const& path, std::string& error) {
    // Regular files only: a FIFO or a device would block the run or never end.
    QFile opened;
    int fd = -1;
    if (pos::openRegularFile(QString::fromStdString(path), opened))
        fd = ::dup(opened.handle());
    baseline_t result;
    result.path = path;
    result.file.reset(fd < 0 ? nullptr : ::fdopen(fd, "rb"));
    opened.close();
    if (!result.file) {
        if (fd >= 0)
            ::close(fd);
        error = "cannot be read";
        return std::nullopt;
    }
    error = "not a prooftally JSON report";
    std::array<char, 65536> buffer;
    file_stream_t in(result.file.get(), buffer.data(), buffer.size());
    handler_t h(in, result, nullptr);
    rapidjson::Reader reader;
    rapidjson::ParseResult const parsed = reader.Parse<PARSE>(in, h);
    if (parsed.IsError()) {
        error += ": " + not_json(result.file.get(), parsed);
        return std::nullopt;
    }
    if (!h.top_object || !h.report)
        return std::nullopt;
    int const version = h.version_kind == kind_t::number ? whole(h.version) : 0;
    if (version < 1 || version > 3) {
        error = "prooftally JSON report version " + version_text(h) + " not known";
        return std::nullopt;
    }
    result.version = version;
    bool const goals_read = version == 1 ||
                            (version == 2 && h.all_goal_lists_ && !h.bad_goal_list) ||
                            (version == 3 && h.all_obligations_ && !h.bad_obligations);
    if (!h.components_array || h.bad_component || !goals_read)
        return std::nullopt;
    // The total, where the report has one, also counts goals of status Unknown.
    if (!h.total_goals || !h.total_proved) {
        result.goals = result.proved = 0;
        for (baseline_component_t const& c : result.components) {
            result.goals += c.proved + c.unproved + c.unreliable + c.disproved;
            result.proved += c.proved;
        }
    }
    error.clear();
    return result;
}

bool baseline_goals(baseline_t const& baseline, std::size_t i, baseline_goals_t& goals) {
    goals.clear();
    std::FILE* const file = baseline.file.get();
    if (baseline.version == 1 ||
        std::fseek(file, static_cast<long>(baseline.components[i].offset), SEEK_SET) != 0)
        return true;
    std::array<char, 65536> buffer;
    file_stream_t in(file, buffer.data(), buffer.size());
    baseline_t scratch;
    scratch.version = baseline.version;
    handler_t h(in, scratch, &goals);
    rapidjson::Reader reader;
    return !reader.Parse<PARSE | rapidjson::kParseStopWhenDoneFlag>(in, h).IsError() &&
           !h.bad_component && !h.bad_goal_list && !h.bad_obligations;
}

void keyed_results_t::add(std::string_view name, std::string_view status, bool driver) {
    if (!driver)
        mechanism_ = list_.size();
    // A driver before any mechanism of its goal goes under the name "".
    bool const under = driver && mechanism_ >= goal_ && mechanism_ < list_.size();
    // The names before it in its goal (a mechanism) or its mechanism (a driver).
    int occurrence = 1;
    for (std::size_t i = under ? mechanism_ + 1 : goal_; i < list_.size(); ++i)
        if (list_[i].driver == driver && text_.view(list_[i].name, list_[i].name_size) == name)
            ++occurrence;
    result_t r;
    r.driver = driver;
    r.name = text_.size();
    r.name_size = name.size();
    text_ += name;
    r.key = text_.size();
    if (under) {
        result_t const& m = list_[mechanism_];
        text_ += text_.view(m.key, m.key_size);
    }
    if (driver)
        text_ += "/";
    text_ += name;
    if (occurrence > 1) {
        text_ += "#";
        text_ += std::to_string(occurrence);
    }
    r.key_size = text_.size() - r.key;
    r.status = text_.size();
    r.status_size = status.size();
    text_ += status;
    list_.push_back(r);
}

void baseline_goals_t::add_goal(std::string_view obligation, std::uint32_t number,
                                std::string_view status) {
    if (obligations_.empty() || key(obligations_.back()) != obligation) {
        obligation_t& o = obligations_.emplace_back();
        o.key = text_.size();
        o.key_size = obligation.size();
        o.first_goal = goals_.size();
        text_ += obligation;
    }
    goal_t& g = goals_.emplace_back();
    g.obligation = obligations_.size() - 1;
    g.number = number;
    g.status = text_.size();
    g.status_size = status.size();
    text_ += status;
    g.first_result = results.goal_start();
    g.end_result = results.size();
    obligations_.back().end_goal = goals_.size();
}
