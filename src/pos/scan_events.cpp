#include "pos/readers.h"
#include "pos/record_builder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

// A scanner for the form that PO files take in practice. It proves each
// construct it meets to be well-formed and read by the DOM reader's parser as
// it reads it, and gives up at the first one it cannot vouch for: the caller
// then reads the file again from the start with that parser.

namespace pos {

namespace {

// Zero bytes after the data: every scanning loop stops on them, and a
// construct that needs one of them needs more data.
constexpr std::size_t SENTINEL = 8;
// Far from the nesting limit; names as long as any real PO file has.
constexpr std::size_t MAX_NAME = 256;
constexpr std::size_t MAX_DEPTH = 256;
constexpr int MAX_ATTRIBUTES = 32;

using uchar = unsigned char;

// Byte classes for the scanning loops.
enum : uchar { PLAIN, STOP, AMP, BRACKET, HIGH, CR, BAD };

struct Tables {
    std::array<uchar, 256> text{};  // content between tags
    std::array<uchar, 256> value{}; // inside a quoted attribute value
    std::array<bool, 256> nameStart{};
    std::array<bool, 256> name{};
    std::array<bool, 256> blank{};
    Tables() {
        for (int c = 0; c < 256; ++c) {
            const bool control = c < 0x20 || c == 0x7F;
            text[c] = control ? BAD : c >= 0x80 ? HIGH : PLAIN;
            // A tab or a line break in a value: the parser keeps them as they are.
            value[c] = text[c];
            nameStart[c] = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
            name[c] = nameStart[c] || (c >= '0' && c <= '9') || c == '-' || c == '.';
            blank[c] = c == ' ' || c == '\t' || c == '\n';
        }
        text['\t'] = text['\n'] = PLAIN;
        text['\r'] = CR;
        text['<'] = STOP;
        text['&'] = AMP;
        text[']'] = BRACKET;
        value['<'] = BAD;
        value['&'] = AMP;
        value['"'] = STOP;
        value['\''] = STOP;
    }
};

const Tables tables;

// The length of the UTF-8 character at `p` (its first byte 0x80 or more) when
// it is a shortest form of a character that both readers take alike, else 0:
// no C1 controls, surrogates, noncharacters, code points past U+10FFFF or
// U+FEFF (which the DOM's input drops where a piece of 1 KiB starts).
int utf8Length(const uchar* p) {
    const uchar c = p[0];
    auto cont = [](uchar b) { return (b & 0xC0) == 0x80; };
    if (c >= 0xC2 && c <= 0xDF)
        return cont(p[1]) && (c > 0xC2 || p[1] >= 0xA0) ? 2 : 0;
    if (c >= 0xE0 && c <= 0xEF) {
        if (!cont(p[1]) || !cont(p[2]))
            return 0;
        const unsigned cp = (c & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
        if (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF) || (cp >= 0xFDD0 && cp <= 0xFDEF) ||
            cp == 0xFEFF || cp >= 0xFFFE)
            return 0;
        return 3;
    }
    if (c >= 0xF0 && c <= 0xF4) {
        if (!cont(p[1]) || !cont(p[2]) || !cont(p[3]))
            return 0;
        const unsigned cp =
            (c & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
        if (cp < 0x10000 || cp > 0x10FFFF || (cp & 0xFFFE) == 0xFFFE)
            return 0;
        return 4;
    }
    return 0;
}

// The five predefined entities, "&" included: their length and character,
// or 0.
int entity(const uchar* p, char& c) {
    static const std::pair<const char*, char> entities[] = {
        {"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};
    for (auto const& [name, character] : entities) {
        const std::size_t n = std::strlen(name);
        if (std::memcmp(p, name, n) == 0)
            return c = character, static_cast<int>(n);
    }
    return 0;
}

// Whether the bytes are the name, one of the format's ASCII names.
bool same(const uchar* a, std::size_t size, QString const& name) {
    if (size != static_cast<std::size_t>(name.size()))
        return false;
    for (std::size_t i = 0; i < size; ++i)
        if (a[i] != name[static_cast<int>(i)].unicode())
            return false;
    return true;
}

// The line breaks in [from, to). Most calls span one line, where memchr
// costs less than any loop over the bytes.
long long breaks(const uchar* from, const uchar* to) {
    long long n = 0;
    while ((from = static_cast<const uchar*>(
                std::memchr(from, '\n', static_cast<std::size_t>(to - from)))) != nullptr) {
        ++n;
        ++from;
    }
    return n;
}

// What a construct came to: read, refused, or cut by the end of the buffer.
enum class step_t { done, refused, more };

class Scanner {
public:
    Scanner(QFile& file, goal_consumer_t& consumer, std::size_t buffer)
        : file_(file), out_(consumer), capacity_(std::max<std::size_t>(buffer, 1)),
          base_(static_cast<std::uint64_t>(file.pos())) {}

    bool run();

private:
    bool refill(const uchar* keep);
    step_t fail(const uchar* at) const {
        return at + SENTINEL > end_ && !eof_ ? step_t::more : step_t::refused;
    }
    step_t construct();
    step_t declaration();
    step_t comment();
    step_t startTag();
    step_t endTag();
    step_t text();
    bool name(const uchar*& begin, std::size_t& size);
    step_t attributeValue(std::string* out);
    void report(role_t role, const uchar* open, bool empty);
    void close(role_t role);
    long long line();
    std::uint64_t at(const uchar* p) const {
        return base_ + static_cast<std::uint64_t>(p - buffer_.data());
    }
    tag_span_t tagSpan() const {
        const uchar quote = firstQuote_ ? firstQuote_ : fileQuote_ ? fileQuote_ : '"';
        return {insert_, char(quote), statusAt_};
    }
    // The text of a goal between two of its children (tags or comments): a
    // mechanism takes the blanks before it, and text beside one is noted.
    void openRun(const uchar* from) {
        runStart_ = at(from);
        runText_ = false;
    }
    void closeRun() {
        if (afterMechanism_ && runText_)
            out_.lastMechanism().textAfter = true;
        afterMechanism_ = false;
    }

    QFile& file_;
    record_builder_t out_;
    std::size_t capacity_;
    // A block of bytes left uninitialised.
    struct block_t {
        std::unique_ptr<uchar[]> bytes;
        std::size_t size_ = 0;
        std::size_t size() const { return size_; }
        uchar* data() { return bytes.get(); }
        const uchar* data() const { return bytes.get(); }
        void reset(std::size_t n) {
            bytes.reset(new uchar[n]);
            size_ = n;
        }
    };
    block_t buffer_, spare_;
    // The file offset of the buffer's first byte.
    std::uint64_t base_;
    const uchar* p_ = nullptr;
    const uchar* end_ = nullptr;
    bool eof_ = false;
    bool rootSeen_ = false;
    bool started_ = false;

    // Line breaks before lineMark_.
    long long lines_ = 0;
    const uchar* lineMark_ = nullptr;

    // The open elements: their names one after the other, roles, and the
    // first children each has had.
    std::string open_;
    struct level_t {
        std::size_t nameStart;
        role_t role;
        unsigned char seen = 0;
    };
    std::vector<level_t> levels_;

    // The attributes that the records carry, of the tag being scanned, and
    // where the edits would change them.
    std::string status_, name_, value_;
    attr_span_t statusAt_, nameAt_, valueAt_;
    std::uint64_t insert_ = 0;
    uchar firstQuote_ = 0, fileQuote_ = 0;
    std::string tagText_;

    std::uint64_t runStart_ = 0;
    bool runText_ = false, afterMechanism_ = false;
};

bool Scanner::refill(const uchar* keep) {
    const std::size_t kept = static_cast<std::size_t>(end_ - keep);
    if (lineMark_)
        lines_ += breaks(lineMark_, keep);
    if (started_)
        base_ += static_cast<std::uint64_t>(keep - buffer_.data());
    // A construct that fills the buffer needs a larger one.
    if (kept == capacity_ && started_)
        capacity_ *= 2;
    // The kept bytes move to the other buffer, which is never cleared: only
    // what is read into it is looked at.
    if (spare_.size() < capacity_ + SENTINEL)
        spare_.reset(capacity_ + SENTINEL);
    uchar* next = spare_.data();
    if (kept)
        std::memcpy(next, keep, kept);
    std::size_t size = kept;
    while (size < capacity_ && !eof_) {
        const qint64 got =
            file_.read(reinterpret_cast<char*>(next + size), static_cast<qint64>(capacity_ - size));
        if (got < 0)
            return false;
        if (got == 0)
            eof_ = true;
        size += static_cast<std::size_t>(got);
    }
    std::memset(next + size, 0, SENTINEL);
    std::swap(buffer_, spare_);
    started_ = true;
    p_ = lineMark_ = next;
    end_ = p_ + size;
    return true;
}

bool Scanner::run() {
    if (!refill(p_))
        return false;
    for (;;) {
        const step_t step = declaration();
        if (step == step_t::done)
            break;
        if (step == step_t::refused || !refill(p_))
            return false;
    }
    for (;;) {
        if (p_ == end_) {
            if (eof_)
                return rootSeen_ && levels_.empty();
            if (!refill(p_))
                return false;
            continue;
        }
        const uchar* start = p_;
        const step_t step = construct();
        if (step == step_t::refused)
            return false;
        if (step == step_t::more) {
            p_ = start;
            if (!refill(start))
                return false;
        }
    }
}

step_t Scanner::construct() {
    if (*p_ == '<') {
        switch (p_[1]) {
        case '/':
            return endTag();
        case '!':
            return comment();
        case '?':
            return step_t::refused; // a processing instruction or a misplaced declaration
        case 0:
            return fail(p_);
        default:
            return startTag();
        }
    }
    if (!levels_.empty())
        return text();
    // Outside the document element only blanks.
    while (tables.blank[*p_] || (*p_ == '\r' && p_[1] == '\n'))
        ++p_;
    return p_ == end_ || *p_ == '<' ? step_t::done : fail(p_);
}

step_t Scanner::declaration() {
    if (end_ - p_ < 5 && !eof_)
        return step_t::more;
    if (end_ - p_ < 5 || std::memcmp(p_, "<?xml", 5) != 0)
        return step_t::done;
    for (const char* form : {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>",
                             "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
                             "<?xml version=\"1.0\"?>", "<?xml version='1.0' encoding='UTF-8'?>",
                             "<?xml version='1.0' encoding='utf-8'?>", "<?xml version='1.0'?>"}) {
        const std::size_t size = std::strlen(form);
        if (p_ + size <= end_ && std::memcmp(p_, form, size) == 0) {
            p_ += size;
            fileQuote_ = static_cast<uchar>(form[14]);
            return step_t::done;
        }
    }
    return eof_ || end_ - p_ > 64 ? step_t::refused : step_t::more;
}

step_t Scanner::comment() {
    if (std::memcmp(p_, "<!--", 4) != 0)
        return fail(p_ + 2); // DOCTYPE, CDATA
    const uchar* q = p_ + 4;
    for (;;) {
        const uchar c = *q;
        if (c == '-') {
            if (q[1] == '-')
                break;
            ++q;
            continue;
        }
        const uchar kind = tables.text[c];
        if (kind == PLAIN || kind == STOP || kind == AMP || kind == BRACKET) {
            ++q;
        } else if (kind == HIGH) {
            const int n = utf8Length(q);
            if (n == 0)
                return fail(q);
            q += n;
        } else if (kind == CR && q[1] == '\n') {
            ++q;
        } else {
            return fail(q); // a control character, or the end of the data
        }
    }
    if (q[2] != '>')
        return fail(q);
    p_ = q + 3;
    if (!levels_.empty() && levels_.back().role == role_t::goal) {
        closeRun();
        openRun(p_);
    }
    return step_t::done;
}

bool Scanner::name(const uchar*& begin, std::size_t& size) {
    begin = p_;
    if (!tables.nameStart[*p_])
        return false;
    ++p_;
    while (tables.name[*p_])
        ++p_;
    size = static_cast<std::size_t>(p_ - begin);
    // Names starting with "xml" are reserved and treated apart by the parser.
    return size <= MAX_NAME && !(size >= 3 && (begin[0] | 0x20) == 'x' &&
                                 (begin[1] | 0x20) == 'm' && (begin[2] | 0x20) == 'l');
}

step_t Scanner::attributeValue(std::string* out) {
    const uchar quote = *p_++;
    if (out)
        out->clear();
    for (;;) {
        const uchar* run = p_;
        while (tables.value[*p_] == PLAIN)
            ++p_;
        if (out)
            out->append(reinterpret_cast<const char*>(run), static_cast<std::size_t>(p_ - run));
        const uchar c = *p_;
        switch (tables.value[c]) {
        case STOP:
            ++p_;
            if (c == quote)
                return step_t::done;
            if (out)
                out->push_back(static_cast<char>(c));
            break;
        case AMP: {
            char decoded;
            const int n = entity(p_, decoded);
            if (n == 0)
                return fail(p_);
            if (out)
                out->push_back(decoded);
            p_ += n;
            break;
        }
        case HIGH: {
            const int n = utf8Length(p_);
            if (n == 0)
                return fail(p_);
            if (out)
                out->append(reinterpret_cast<const char*>(p_), static_cast<std::size_t>(n));
            p_ += n;
            break;
        }
        default:
            return fail(p_); // '<', a control character, the end of the data
        }
    }
}

step_t Scanner::startTag() {
    const uchar* open = p_++;
    const uchar* tag;
    std::size_t size;
    if (!name(tag, size))
        return fail(p_);
    if (levels_.empty() && rootSeen_)
        return step_t::refused; // a second document element
    // The parent's marks change only once the tag is read whole: a tag cut by
    // the end of the buffer is read again.
    level_t* parent = levels_.empty() ? nullptr : &levels_.back();
    unsigned char seen = parent ? parent->seen : 0;
    const role_t role = childRole(
        parent ? parent->role : role_t::none, [&](QString const& n) { return same(tag, size, n); },
        seen);

    statusAt_ = nameAt_ = valueAt_ = attr_span_t{};
    insert_ = at(p_);
    firstQuote_ = 0;
    // Left uninitialised: most tags have one or two attributes.
    const uchar* seenAt[MAX_ATTRIBUTES];
    std::size_t seenSize[MAX_ATTRIBUTES];
    int nbSeen = 0;
    for (;;) {
        const uchar* before = p_;
        while (tables.blank[*p_] || (*p_ == '\r' && p_[1] == '\n'))
            ++p_;
        if (*p_ == '>' || (*p_ == '/' && p_[1] == '>')) {
            const bool empty = *p_ == '/';
            p_ += empty ? 2 : 1;
            if (levels_.size() == MAX_DEPTH)
                return step_t::refused;
            if (parent)
                parent->seen = seen;
            rootSeen_ = true;
            report(role, open, empty);
            if (!fileQuote_)
                fileQuote_ = firstQuote_;
            if (!empty) {
                levels_.push_back({open_.size(), role});
                open_.append(reinterpret_cast<const char*>(tag), size);
            }
            return step_t::done;
        }
        if (p_ == before)
            return fail(p_); // no blank before the attribute
        const uchar* attribute;
        std::size_t length;
        if (!name(attribute, length) || nbSeen == MAX_ATTRIBUTES)
            return fail(p_);
        for (int i = 0; i < nbSeen; ++i)
            if (seenSize[i] == length && std::memcmp(seenAt[i], attribute, length) == 0)
                return step_t::refused; // the DOM keeps the last of the two
        seenAt[nbSeen] = attribute;
        seenSize[nbSeen++] = length;
        while (tables.blank[*p_])
            ++p_;
        if (*p_ != '=')
            return fail(p_);
        ++p_;
        while (tables.blank[*p_])
            ++p_;
        const uchar quote = *p_;
        if (quote != '"' && quote != '\'')
            return fail(p_);
        if (!firstQuote_)
            firstQuote_ = quote;
        std::string* out = nullptr;
        attr_span_t* where = nullptr;
        const auto is = [&](QString const& n) { return same(attribute, length, n); };
        if (role == role_t::goal || role == role_t::mechanism || role == role_t::driver) {
            if (is(ATTR_STATUS)) {
                out = &status_;
                where = &statusAt_;
            } else if (role != role_t::goal && is(ATTR_NAME)) {
                out = &name_;
                where = &nameAt_;
            }
        } else if ((role == role_t::proof_state && is(ATTR_PROOF_STATE)) ||
                   (role == role_t::verdict && is(ATTR_VALUE))) {
            out = &value_;
            where = &valueAt_;
        }
        const uchar* value = p_ + 1;
        const step_t step = attributeValue(out);
        if (step != step_t::done)
            return step;
        if (where)
            *where = {{at(value), at(p_ - 1)}, char(quote)};
        insert_ = at(p_);
    }
}

long long Scanner::line() {
    lines_ += breaks(lineMark_, p_);
    lineMark_ = p_;
    return lines_ + 1;
}

void Scanner::report(role_t role, const uchar* open, bool empty) {
    const auto given = [](attr_span_t const& span, std::string const& value) -> attr_t {
        return span.quote ? attr_t(value) : std::nullopt;
    };
    if (!levels_.empty() && levels_.back().role == role_t::goal)
        closeRun();
    // Lines are counted only where a record keeps them.
    if (role == role_t::proof_state)
        out_.start(role, 0, {}, {}, given(valueAt_, value_));
    else if (role == role_t::obligation || (role >= role_t::goal && role != role_t::other))
        out_.start(role, line(), given(nameAt_, name_), given(statusAt_, status_),
                   given(valueAt_, value_));
    if (role == role_t::goal) {
        goal_record_t& goal = out_.openGoal();
        goal.hasSpans = true;
        goal.element.begin = at(open);
        goal.tag = tagSpan();
        openRun(p_);
    } else if (role == role_t::mechanism) {
        mechanism_record_t& m = out_.lastMechanism();
        m.tag = tagSpan();
        m.name_span = nameAt_;
        m.element.begin = at(open);
        m.blanks = runText_ ? m.element.begin : runStart_;
        m.textBefore = runText_;
    }
    if (empty)
        close(role);
}

// After the end of an element of `role`.
void Scanner::close(role_t role) {
    if (role == role_t::goal) {
        closeRun();
        out_.openGoal().element.end = at(p_);
    } else if (role == role_t::mechanism) {
        out_.lastMechanism().element.end = at(p_);
    }
    out_.end(role);
    if (!levels_.empty() && levels_.back().role == role_t::goal) {
        openRun(p_);
        afterMechanism_ = role == role_t::mechanism;
    }
}

step_t Scanner::endTag() {
    p_ += 2;
    const uchar* tag;
    std::size_t size;
    if (levels_.empty())
        return step_t::refused;
    const std::size_t start = levels_.back().nameStart;
    if (!name(tag, size) || open_.size() - start != size ||
        std::memcmp(open_.data() + start, tag, size) != 0)
        return fail(p_);
    while (tables.blank[*p_] || (*p_ == '\r' && p_[1] == '\n'))
        ++p_;
    if (*p_ != '>')
        return fail(p_);
    ++p_;
    const role_t role = levels_.back().role;
    open_.resize(start);
    levels_.pop_back();
    close(role);
    return step_t::done;
}

// A run of text up to the next tag. Inside the first Tag of an obligation it
// is part of the obligation's name: the parser reports it unless it is blank
// only, and takes CRs and non-ASCII characters in ways best left to it.
// Directly inside a goal, whether it is blank only is noted.
step_t Scanner::text() {
    const role_t role = levels_.back().role;
    std::string* chunk = role == role_t::tag || role == role_t::tag_part ? &tagText_ : nullptr;
    const bool watch = chunk || role == role_t::goal;
    if (chunk)
        chunk->clear();
    if (watch) {
        // Most such runs are the blanks between two tags.
        const uchar* b = p_;
        while (tables.blank[*b] || (!chunk && *b == '\r' && b[1] == '\n'))
            ++b;
        if (*b == '<') {
            p_ = b;
            return step_t::done;
        }
    }
    const uchar* q = p_;
    for (;;) {
        const uchar* run = q;
        while (tables.text[*q] == PLAIN)
            ++q;
        if (chunk)
            chunk->append(reinterpret_cast<const char*>(run), static_cast<std::size_t>(q - run));
        switch (tables.text[*q]) {
        case STOP:
            if (chunk)
                out_.tagText(*chunk);
            if (role == role_t::goal)
                runText_ = true;
            p_ = q;
            return step_t::done;
        case AMP: {
            char decoded;
            const int n = entity(q, decoded);
            if (n == 0)
                return fail(q);
            if (chunk)
                chunk->push_back(decoded);
            q += n;
            break;
        }
        case BRACKET:
            if (q + 3 > end_ && !eof_)
                return step_t::more;
            if (q[1] == ']' && q[2] == '>')
                return step_t::refused; // not well-formed in text
            if (chunk)
                chunk->push_back(']');
            ++q;
            break;
        case HIGH: {
            const int n = chunk ? 0 : utf8Length(q);
            if (n == 0)
                return fail(q);
            q += n;
            break;
        }
        case CR:
            if (chunk || q[1] != '\n')
                return fail(q);
            ++q;
            break;
        default:
            return fail(q); // a control character, or the end of the data
        }
    }
}

} // namespace

bool scanRecords(QFile& file, goal_consumer_t& consumer, std::size_t buffer) {
    Scanner scanner(file, consumer, buffer);
    return scanner.run();
}

} // namespace pos
