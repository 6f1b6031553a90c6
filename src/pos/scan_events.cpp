#include "pos/readers.h"
#include "pos/record_builder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// A scanner for the form that PO files take in practice. It proves each
// construct it meets to be well-formed and read by the DOM reader's parser as
// it reads it, and gives up at the first one it cannot vouch for: the caller
// then reads the file again from the start with that parser.

namespace pos {

namespace {

// Zero bytes after the data: every scanning loop stops on them, and a
// construct that needs one of them needs more data. More than one vector load
// and the byte after it read past the data.
constexpr std::size_t SENTINEL = 32;
// Far from the nesting limit; names as long as any real PO file has.
constexpr std::size_t MAX_NAME = 256, MAX_DEPTH = 256;
constexpr int MAX_ATTRIBUTES = 32;

using uchar = unsigned char;

// The bytes of names, and those that may start one.
const auto nameBytes = [] {
    std::array<unsigned char, 256> kind{};
    for (int c = 0; c < 256; ++c)
        kind[c] = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ? 2
                  : (c >= '0' && c <= '9') || c == '-' || c == '.'             ? 1
                                                                               : 0;
    return kind;
}();

// A few of the format's ASCII names (of 16 bytes at most, told apart by
// their first byte and one compare of 16 bytes: the scanner's buffer holds 16
// bytes from any byte of its data on).
class names_t {
public:
    names_t(std::initializer_list<QString const*> names) {
        for (QString const* name : names) {
            const std::string bytes = name->toStdString();
            word_t w{name, bytes.size(), (1u << bytes.size()) - 1, {}};
            std::memcpy(w.bytes.data(), bytes.data(), std::min<std::size_t>(w.size, 16));
            byFirst_[w.bytes[0]] |= 1u << words_.size();
            words_.push_back(w);
        }
    }
    // The index of the name that starts at `p`, and its size; -1 when the
    // name there is none of them.
    int match(const uchar* p, std::size_t& size) const {
        for (unsigned candidates = byFirst_[*p]; candidates; candidates &= candidates - 1)
            if ((size = length(p, __builtin_ctz(candidates))) > 0)
                return __builtin_ctz(candidates);
        return -1;
    }
    // The size of word `i` when the name that starts at `p` is that word, or 0.
    std::size_t length(const uchar* p, int i) const {
        word_t const& w = words_[std::size_t(i)];
#ifdef __SSE2__
        const unsigned same = static_cast<unsigned>(_mm_movemask_epi8(
            _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                           _mm_loadu_si128(reinterpret_cast<const __m128i*>(w.bytes.data())))));
        return (same & w.mask) == w.mask && !nameBytes[p[w.size]] ? w.size : 0;
#else
        return std::memcmp(p, w.bytes.data(), w.size) == 0 && !nameBytes[p[w.size]] ? w.size : 0;
#endif
    }
    QString const* name(int i) const {
        return i < 0 ? nullptr : words_[size_t(i)].name;
    }

private:
    struct word_t {
        QString const* name;
        std::size_t size;
        unsigned mask; // a bit for each of its bytes
        std::array<uchar, 16> bytes;
    };
    std::vector<word_t> words_;
    // The words by first byte, as bits.
    std::array<unsigned, 256> byFirst_{};
};

// The element names that give a role, and the attributes that the records
// carry.
names_t const& elementNames() {
    static const names_t names{&TAG_SIMPLE_GOAL,      &TAG_MECHANISM, &TAG_DRIVER,
                               &TAG_PROOF_STATE,      &TAG_IAPA,      &TAG_STATUS,
                               &TAG_PROOF_OBLIGATION, &TAG_TAG};
    return names;
}

names_t const& attributeNames() {
    static const names_t names{&ATTR_STATUS, &ATTR_NAME, &ATTR_PROOF_STATE, &ATTR_VALUE};
    return names;
}

// The first byte from `q` on that a value cannot hold as it is: its quote,
// '<', '&', a control, DEL or a byte of 0x80 or more.
const uchar* valueStop(const uchar* q, uchar quote) {
#ifdef __SSE2__
    const __m128i space = _mm_set1_epi8(' '), end = _mm_set1_epi8(static_cast<char>(quote));
    for (;; q += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
        __m128i stop = _mm_or_si128(_mm_cmplt_epi8(v, space), _mm_cmpeq_epi8(v, end));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(v, _mm_set1_epi8('<')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(v, _mm_set1_epi8('&')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(v, _mm_set1_epi8(0x7F)));
        const unsigned s = static_cast<unsigned>(_mm_movemask_epi8(stop));
        if (s)
            return q + __builtin_ctz(s);
    }
#else
    while (*q >= 0x20 && *q < 0x7F && *q != quote && *q != '<' && *q != '&')
        ++q;
    return q;
#endif
}

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
    void blanksAfterTag();
    step_t text();
    bool name(names_t const& known, const uchar*& begin, std::size_t& size, int& which);
    // Blanks, with CR LF pairs where `crlf`; their line feeds are counted.
    const uchar* blanks(const uchar* q, bool crlf) {
        for (;; ++q) {
            const uchar c = *q;
            if (c == ' ')
                continue;
            if (c > ' ')
                return q;
            if (c == '\n')
                ++lines_;
            else if (c != '\t' && !(crlf && c == '\r' && q[1] == '\n'))
                return q;
        }
    }
    step_t attributeValue(bool kept, std::string& decoded, attr_t& value);
    void report(role_t role, const uchar* open, bool empty);
    void close(role_t role);
    std::uint64_t at(const uchar* p) const { return origin_ + reinterpret_cast<std::uintptr_t>(p); }
    tag_span_t tagSpan() const {
        const uchar quote = firstQuote_ ? firstQuote_ : fileQuote_ ? fileQuote_ : '"';
        return {at(insert_), char(quote), spans_[STATUS]};
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
    names_t const& elements_ = elementNames();
    names_t const& attributes_ = attributeNames();
    std::size_t capacity_;
    std::vector<uchar> buffer_, spare_;
    // The file offset of the buffer's first byte, and that offset less the
    // byte's address (modulo 2^64).
    std::uint64_t base_, origin_ = 0;
    const uchar *p_ = nullptr, *end_ = nullptr;
    bool eof_ = false, rootSeen_ = false;

    // Line feeds before p_.
    long long lines_ = 0;

    // The open elements: their names one after the other (those of the
    // format by their index), roles, and the first children each has had.
    std::string open_;
    // A known name is not kept in open_.
    struct level_t {
        std::size_t nameStart;
        role_t role;
        int known;
        unsigned char seen = 0;
    };
    std::vector<level_t> levels_;

    // The attributes that the records carry, of the tag being scanned, where
    // the edits would change them, and their values where references are
    // decoded.
    enum { STATUS, NAME, VALUE, OTHER };
    attr_t values_[4];
    attr_span_t spans_[4];
    std::string decoded_[4];
    const uchar* insert_ = nullptr;
    uchar firstQuote_ = 0, fileQuote_ = 0;
    std::string tagText_;

    std::uint64_t runStart_ = 0;
    bool runText_ = false, afterMechanism_ = false;
};

bool Scanner::refill(const uchar* keep) {
    const std::size_t kept = static_cast<std::size_t>(end_ - keep);
    if (!buffer_.empty())
        base_ += static_cast<std::uint64_t>(keep - buffer_.data());
    // A construct that fills the buffer needs a larger one.
    if (kept == capacity_ && !buffer_.empty())
        capacity_ *= 2;
    // The kept bytes move to the other buffer.
    if (spare_.size() < capacity_ + SENTINEL)
        spare_.resize(capacity_ + SENTINEL);
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
    origin_ = base_ - reinterpret_cast<std::uintptr_t>(next);
    p_ = next;
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
        const long long lines = lines_;
        const step_t step = construct();
        if (step == step_t::refused)
            return false;
        if (step == step_t::more) {
            p_ = start;
            lines_ = lines;
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
    p_ = blanks(p_, true);
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
    for (int n; q[0] != '-' || q[1] != '-'; q += n) {
        const uchar c = *q;
        n = c >= 0x80
                ? utf8Length(q)
                : (c >= 0x20 && c != 0x7F) || c == '\t' || c == '\n' || (c == '\r' && q[1] == '\n');
        if (n == 0)
            return fail(q); // a control character, or the end of the data
        lines_ += c == '\n';
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

inline bool Scanner::name(names_t const& known, const uchar*& begin, std::size_t& size,
                          int& which) {
    begin = p_;
    if ((which = known.match(p_, size)) >= 0) {
        p_ += size;
        return true;
    }
    if (nameBytes[*p_] != 2)
        return false;
    while (nameBytes[*++p_])
        ;
    size = static_cast<std::size_t>(p_ - begin);
    // Names starting with "xml" are reserved and treated apart by the parser.
    return size <= MAX_NAME && !(size >= 3 && (begin[0] | 0x20) == 'x' &&
                                 (begin[1] | 0x20) == 'm' && (begin[2] | 0x20) == 'l');
}

// A quoted value at p_: a view into the buffer, or into `decoded` when it
// holds a reference (only checked unless `kept`).
step_t Scanner::attributeValue(bool kept, std::string& decoded, attr_t& value) {
    const uchar quote = *p_;
    const uchar* run = p_ + 1; // the bytes not yet decoded
    bool decoding = false;
    for (const uchar* q = valueStop(run, quote);; q = valueStop(q, quote)) {
        if (*q == quote) {
            value = decoding ? std::string_view(decoded.append(run, q))
                             : std::string_view(reinterpret_cast<const char*>(run),
                                                static_cast<std::size_t>(q - run));
            p_ = q + 1;
            return step_t::done;
        }
        char c;
        const int n = *q == '&' ? entity(q, c) : *q >= 0x80 ? utf8Length(q) : 0;
        if (n == 0)
            return fail(q); // '<', a control character, the end of the data
        if (*q == '&' && kept) {
            decoded.erase(0, decoding ? 0 : decoded.size()).append(run, q).push_back(c);
            decoding = true;
            run = q + n;
        }
        q += n;
    }
}

step_t Scanner::startTag() {
    const uchar* open = p_++;
    const uchar* tag;
    std::size_t size;
    int known;
    if (!name(elements_, tag, size, known))
        return fail(p_);
    if (levels_.empty() && rootSeen_)
        return step_t::refused; // a second document element
    // The parent's marks change only once the tag is read whole: a tag cut by
    // the end of the buffer is read again.
    level_t* parent = levels_.empty() ? nullptr : &levels_.back();
    unsigned char seen = parent ? parent->seen : 0;
    const role_t role = childRole(
        parent ? parent->role : role_t::none,
        [element = elements_.name(known)](QString const& n) { return &n == element; }, seen);

    // Only these roles read the attributes.
    if (role >= role_t::goal && role != role_t::other) {
        std::fill(values_, values_ + OTHER, std::nullopt);
        std::fill(spans_, spans_ + OTHER, attr_span_t{});
    }
    insert_ = p_;
    firstQuote_ = 0;
    // The attributes met: those of the known names by bit, the others in
    // full (left uninitialised: most tags have few).
    unsigned knownSeen = 0;
    const uchar* others[MAX_ATTRIBUTES];
    std::size_t sizes[MAX_ATTRIBUTES];
    int nbOthers = 0;
    for (;;) {
        const uchar* before = p_;
        p_ = blanks(p_, true);
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
                levels_.push_back({open_.size(), role, known});
                if (known < 0)
                    open_.append(reinterpret_cast<const char*>(tag), size);
            }
            blanksAfterTag();
            return step_t::done;
        }
        if (p_ == before)
            return fail(p_); // no blank before the attribute
        const uchar* attribute;
        std::size_t length;
        int which;
        if (!name(attributes_, attribute, length, which))
            return fail(p_);
        // The DOM keeps the last of two attributes of one name.
        if (which >= 0) {
            if (knownSeen & (1u << which))
                return step_t::refused;
            knownSeen |= 1u << which;
        } else {
            for (int i = 0; i < nbOthers; ++i)
                if (sizes[i] == length && std::memcmp(others[i], attribute, length) == 0)
                    return step_t::refused;
            if (nbOthers == MAX_ATTRIBUTES)
                return step_t::refused;
            others[nbOthers] = attribute;
            sizes[nbOthers++] = length;
        }
        p_ = blanks(p_, false);
        if (*p_ != '=')
            return fail(p_);
        p_ = blanks(p_ + 1, false);
        const uchar quote = *p_;
        if (quote != '"' && quote != '\'')
            return fail(p_);
        if (!firstQuote_)
            firstQuote_ = quote;
        // The slot of an attribute the records carry, or OTHER.
        int slot = OTHER;
        QString const* attr = attributes_.name(which);
        if (role == role_t::goal || role == role_t::mechanism || role == role_t::driver)
            slot = attr == &ATTR_STATUS                         ? STATUS
                   : role != role_t::goal && attr == &ATTR_NAME ? NAME
                                                                : OTHER;
        else if ((role == role_t::proof_state && attr == &ATTR_PROOF_STATE) ||
                 (role == role_t::verdict && attr == &ATTR_VALUE))
            slot = VALUE;
        const std::uint64_t value = at(p_ + 1);
        const step_t step = attributeValue(slot != OTHER, decoded_[slot], values_[slot]);
        if (step != step_t::done)
            return step;
        spans_[slot] = {{value, at(p_ - 1)}, char(quote)};
        insert_ = p_;
    }
}

void Scanner::report(role_t role, const uchar* open, bool empty) {
    if (!levels_.empty() && levels_.back().role == role_t::goal)
        closeRun();
    // Lines are counted only where a record keeps them.
    if (role == role_t::proof_state)
        out_.start(role, 0, {}, {}, values_[VALUE]);
    else if (role == role_t::obligation || (role >= role_t::goal && role != role_t::other))
        out_.start(role, lines_ + 1, values_[NAME], values_[STATUS], values_[VALUE]);
    if (role == role_t::goal) {
        goal_record_t& goal = out_.openGoal();
        goal.hasSpans = true;
        goal.element.begin = at(open);
        goal.tag = tagSpan();
        openRun(p_);
    } else if (role == role_t::mechanism) {
        mechanism_record_t& m = out_.lastMechanism();
        m.tag = tagSpan();
        m.name_span = spans_[NAME];
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
    if (levels_.empty())
        return step_t::refused;
    // The open element's name, and no name character after it.
    const level_t level = levels_.back();
    std::size_t size;
    if (level.known >= 0) {
        if ((size = elements_.length(p_, level.known)) == 0)
            return fail(p_);
    } else {
        size = open_.size() - level.nameStart;
        if (static_cast<std::size_t>(end_ - p_) <= size)
            return fail(end_);
        if (std::memcmp(open_.data() + level.nameStart, p_, size) != 0 || nameBytes[p_[size]])
            return fail(p_);
    }
    p_ = blanks(p_ + size, true);
    if (*p_ != '>')
        return fail(p_);
    ++p_;
    open_.resize(level.nameStart);
    levels_.pop_back();
    close(level.role);
    blanksAfterTag();
    return step_t::done;
}

// The blanks that most often follow a tag, up to the next tag: read with
// the tag rather than as a construct of their own. Any other text, and CR, is
// left to text().
void Scanner::blanksAfterTag() {
    const long long lines = lines_;
    const uchar* q = blanks(p_, false);
    if (*q == '<')
        p_ = q;
    else
        lines_ = lines;
}

// A run of text up to the next tag. Inside the first Tag of an obligation it
// is part of the obligation's name: the parser reports it unless it is blank
// only, and takes CRs and non-ASCII characters in ways best left to it.
// Directly inside a goal, whether it is blank only is noted.
step_t Scanner::text() {
    const role_t role = levels_.back().role;
    const bool tag = role == role_t::tag || role == role_t::tag_part;
    tagText_.clear();
    bool blank = true;
    for (const uchar* q = p_;;) {
        const uchar c = *q;
        if (c == '<') {
            if (tag && !blank)
                out_.tagText(tagText_);
            if (role == role_t::goal && !blank)
                runText_ = true;
            p_ = q;
            return step_t::done;
        }
        char decoded = static_cast<char>(c);
        int n = 1;
        if (c == '&') {
            if ((n = entity(q, decoded)) == 0)
                return fail(q);
        } else if (c == ']') {
            if (q + 3 > end_ && !eof_)
                return step_t::more;
            if (q[1] == ']' && q[2] == '>')
                return step_t::refused; // not well-formed in text
        } else if (c == '\r' && !tag && q[1] == '\n') {
            ++q; // a blank, as the line feed after it
            continue;
        } else if (c >= 0x80 && !tag) {
            if ((n = utf8Length(q)) == 0)
                return fail(q);
        } else if ((c < 0x20 && c != '\t' && c != '\n') || c >= 0x7F) {
            return fail(q); // a control character, CR, or the end of the data
        }
        lines_ += c == '\n';
        blank = blank && (c == ' ' || c == '\t' || c == '\n');
        if (tag)
            tagText_.push_back(decoded);
        q += n;
    }
}

} // namespace

bool scanRecords(QFile& file, goal_consumer_t& consumer, std::size_t buffer) {
    Scanner scanner(file, consumer, buffer);
    return scanner.run();
}

} // namespace pos
