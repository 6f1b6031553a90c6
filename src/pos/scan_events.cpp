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
constexpr std::size_t MAX_NAME = 256;
constexpr std::size_t MAX_DEPTH = 256;
constexpr int MAX_ATTRIBUTES = 32;

using uchar = unsigned char;

struct Tables {
    std::array<bool, 256> nameStart{};
    std::array<bool, 256> name{};
    std::array<bool, 256> blank{};
    Tables() {
        for (int c = 0; c < 256; ++c) {
            nameStart[c] = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
            name[c] = nameStart[c] || (c >= '0' && c <= '9') || c == '-' || c == '.';
            blank[c] = c == ' ' || c == '\t' || c == '\n';
        }
    }
};

const Tables tables;

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
        for (unsigned candidates = byFirst_[*p]; candidates; candidates &= candidates - 1) {
            const int i = __builtin_ctz(candidates);
            if (is(p, i))
                return size = words_[std::size_t(i)].size, i;
        }
        return -1;
    }
    // Whether the name that starts at `p` is word `i`.
    bool is(const uchar* p, int i) const {
        word_t const& w = words_[std::size_t(i)];
#ifdef __SSE2__
        const unsigned same = static_cast<unsigned>(_mm_movemask_epi8(
            _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                           _mm_loadu_si128(reinterpret_cast<const __m128i*>(w.bytes.data())))));
        return (same & w.mask) == w.mask && !tables.name[p[w.size]];
#else
        return std::memcmp(p, w.bytes.data(), w.size) == 0 && !tables.name[p[w.size]];
#endif
    }
    std::size_t size(int i) const {
        return words_[std::size_t(i)].size;
    }
    QString const* name(int i) const {
        return i < 0 ? nullptr : words_[std::size_t(i)].name;
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

// The first byte from `q` on that no name holds.
const uchar* nameEnd(const uchar* q) {
#ifdef __SSE2__
    for (;; q += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
        const __m128i lower = _mm_or_si128(v, _mm_set1_epi8(0x20));
        // Signed: the bytes of 0x80 or more are below every bound.
        __m128i in = _mm_and_si128(_mm_cmpgt_epi8(lower, _mm_set1_epi8('a' - 1)),
                                   _mm_cmplt_epi8(lower, _mm_set1_epi8('z' + 1)));
        in = _mm_or_si128(in, _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8('0' - 1)),
                                            _mm_cmplt_epi8(v, _mm_set1_epi8('9' + 1))));
        in = _mm_or_si128(in, _mm_cmpeq_epi8(v, _mm_set1_epi8('_')));
        in = _mm_or_si128(in, _mm_cmpeq_epi8(v, _mm_set1_epi8('-')));
        in = _mm_or_si128(in, _mm_cmpeq_epi8(v, _mm_set1_epi8('.')));
        const unsigned out = static_cast<unsigned>(_mm_movemask_epi8(in)) ^ 0xFFFFu;
        if (out)
            return q + __builtin_ctz(out);
    }
#else
    while (tables.name[*q])
        ++q;
    return q;
#endif
}

// The first byte from `q` on that plain text cannot hold as it is: '<', '&',
// ']', a control other than tab and line feed, DEL or a byte of 0x80 or more.
// Counts the line feeds before it into `lines`, and sets `text` when a byte
// before it is not blank.
const uchar* textStop(const uchar* q, long long& lines, bool& text) {
#ifdef __SSE2__
    const __m128i space = _mm_set1_epi8(' '), tab = _mm_set1_epi8('\t'), feed = _mm_set1_epi8('\n');
    for (;; q += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
        const __m128i nl = _mm_cmpeq_epi8(v, feed);
        const __m128i allowed = _mm_or_si128(nl, _mm_cmpeq_epi8(v, tab));
        // Signed: the controls and the bytes of 0x80 or more.
        __m128i stop = _mm_andnot_si128(allowed, _mm_cmplt_epi8(v, space));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(v, _mm_set1_epi8('<')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(v, _mm_set1_epi8('&')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(v, _mm_set1_epi8(']')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(v, _mm_set1_epi8(0x7F)));
        const unsigned s = static_cast<unsigned>(_mm_movemask_epi8(stop));
        const unsigned before = s ? (s & (0u - s)) - 1 : 0xFFFFu;
        for (unsigned n = static_cast<unsigned>(_mm_movemask_epi8(nl)) & before; n; n &= n - 1)
            ++lines;
        const unsigned blanks = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_or_si128(allowed, _mm_cmpeq_epi8(v, space))));
        if (~blanks & before)
            text = true;
        if (s)
            return q + __builtin_ctz(s);
    }
#else
    for (;; ++q) {
        const uchar c = *q;
        if (c == '\n')
            ++lines;
        else if (c != ' ' && c != '\t' &&
                 (c < 0x20 || c >= 0x7F || c == '<' || c == '&' || c == ']'))
            return q;
        else if (c != ' ' && c != '\t')
            text = true;
    }
#endif
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

std::string_view view(const uchar* from, const uchar* to) {
    return {reinterpret_cast<const char*>(from), static_cast<std::size_t>(to - from)};
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
    step_t tagText();
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
    step_t attributeValue(std::string* scratch, attr_t& value);
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
    // The file offset of the buffer's first byte, and that offset less the
    // byte's address (modulo 2^64).
    std::uint64_t base_, origin_ = 0;
    const uchar* p_ = nullptr;
    const uchar* end_ = nullptr;
    bool eof_ = false;
    bool rootSeen_ = false;
    bool started_ = false;

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
    // the edits would change them, and the decoded values of those that hold
    // a reference.
    enum { STATUS, NAME, VALUE };
    attr_t values_[3];
    attr_span_t spans_[3];
    std::string decoded_[3];
    const uchar* insert_ = nullptr;
    uchar firstQuote_ = 0, fileQuote_ = 0;
    std::string tagText_;

    std::uint64_t runStart_ = 0;
    bool runText_ = false, afterMechanism_ = false;
};

bool Scanner::refill(const uchar* keep) {
    const std::size_t kept = static_cast<std::size_t>(end_ - keep);
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
    origin_ = base_ - reinterpret_cast<std::uintptr_t>(next);
    started_ = true;
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
    if (!levels_.empty()) {
        const role_t role = levels_.back().role;
        return role == role_t::tag || role == role_t::tag_part ? tagText() : text();
    }
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
    for (;;) {
        const uchar c = *q;
        if (c == '-' && q[1] == '-')
            break;
        if (c == '\n')
            ++lines_;
        if (c >= 0x80) {
            const int n = utf8Length(q);
            if (n == 0)
                return fail(q);
            q += n;
        } else if ((c >= 0x20 && c != 0x7F) || c == '\t' || c == '\n' ||
                   (c == '\r' && q[1] == '\n')) {
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

inline bool Scanner::name(names_t const& known, const uchar*& begin, std::size_t& size,
                          int& which) {
    begin = p_;
    if ((which = known.match(p_, size)) >= 0) {
        p_ += size;
        return true;
    }
    if (!tables.nameStart[*p_])
        return false;
    p_ = nameEnd(p_ + 1);
    size = static_cast<std::size_t>(p_ - begin);
    // Names starting with "xml" are reserved and treated apart by the parser.
    return size <= MAX_NAME && !(size >= 3 && (begin[0] | 0x20) == 'x' &&
                                 (begin[1] | 0x20) == 'm' && (begin[2] | 0x20) == 'l');
}

// A quoted value at p_: as a view into the buffer, or decoded into `scratch`
// when it holds a reference. Without `scratch` it is only checked.
step_t Scanner::attributeValue(std::string* scratch, attr_t& value) {
    const uchar quote = *p_;
    const uchar* from = p_ + 1;
    const uchar* q = from;
    const uchar* run = from;
    bool decoding = false;
    for (;;) {
        q = valueStop(q, quote);
        const uchar c = *q;
        if (c == quote) {
            if (scratch && decoding)
                value = std::string_view(scratch->append(view(run, q)));
            else if (scratch)
                value = view(from, q);
            p_ = q + 1;
            return step_t::done;
        }
        if (c == '&') {
            char decoded;
            const int n = entity(q, decoded);
            if (n == 0)
                return fail(q);
            if (scratch) {
                if (!decoding)
                    scratch->clear();
                decoding = true;
                scratch->append(view(run, q)).push_back(decoded);
            }
            q += n;
            run = q;
        } else if (c >= 0x80) {
            const int n = utf8Length(q);
            if (n == 0)
                return fail(q);
            q += n;
        } else {
            return fail(q); // '<', a control character, the end of the data
        }
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
    QString const* element = elements_.name(known);
    const role_t role = childRole(
        parent ? parent->role : role_t::none, [element](QString const& n) { return &n == element; },
        seen);

    // Only these roles read the attributes.
    if (role >= role_t::goal && role != role_t::other)
        for (int i : {STATUS, NAME, VALUE}) {
            values_[i] = std::nullopt;
            spans_[i] = attr_span_t{};
        }
    insert_ = p_;
    firstQuote_ = 0;
    // The attributes met: those of the known names by bit, the others in
    // full (left uninitialised: most tags have none).
    unsigned knownSeen = 0;
    const uchar* seenAt[MAX_ATTRIBUTES];
    std::size_t seenSize[MAX_ATTRIBUTES];
    int nbSeen = 0;
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
            for (int i = 0; i < nbSeen; ++i)
                if (seenSize[i] == length && std::memcmp(seenAt[i], attribute, length) == 0)
                    return step_t::refused;
            if (nbSeen == MAX_ATTRIBUTES)
                return step_t::refused;
            seenAt[nbSeen] = attribute;
            seenSize[nbSeen++] = length;
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
        // The slot of an attribute the records carry, or -1.
        int slot = -1;
        QString const* attr = attributes_.name(which);
        if (role == role_t::goal || role == role_t::mechanism || role == role_t::driver)
            slot = attr == &ATTR_STATUS                         ? STATUS
                   : role != role_t::goal && attr == &ATTR_NAME ? NAME
                                                                : -1;
        else if ((role == role_t::proof_state && attr == &ATTR_PROOF_STATE) ||
                 (role == role_t::verdict && attr == &ATTR_VALUE))
            slot = VALUE;
        const uchar* value = p_ + 1;
        attr_t ignored;
        const step_t step = attributeValue(slot < 0 ? nullptr : &decoded_[slot],
                                           slot < 0 ? ignored : values_[slot]);
        if (step != step_t::done)
            return step;
        if (slot >= 0)
            spans_[slot] = {{at(value), at(p_ - 1)}, char(quote)};
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
        if (!elements_.is(p_, level.known))
            return fail(p_);
        size = elements_.size(level.known);
    } else {
        size = open_.size() - level.nameStart;
        if (static_cast<std::size_t>(end_ - p_) <= size)
            return fail(end_);
        if (std::memcmp(open_.data() + level.nameStart, p_, size) != 0 || tables.name[p_[size]])
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
// left to text() and tagText().
void Scanner::blanksAfterTag() {
    if (levels_.empty() || levels_.back().role == role_t::tag ||
        levels_.back().role == role_t::tag_part)
        return;
    const uchar* q = p_;
    long long lines = lines_;
#ifdef __SSE2__
    for (;; q += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
        const __m128i nl = _mm_cmpeq_epi8(v, _mm_set1_epi8('\n'));
        const __m128i blank = _mm_or_si128(_mm_or_si128(nl, _mm_cmpeq_epi8(v, _mm_set1_epi8(' '))),
                                           _mm_cmpeq_epi8(v, _mm_set1_epi8('\t')));
        const unsigned other = static_cast<unsigned>(_mm_movemask_epi8(blank)) ^ 0xFFFFu;
        const unsigned before = other ? (other & (0u - other)) - 1 : 0xFFFFu;
        for (unsigned n = static_cast<unsigned>(_mm_movemask_epi8(nl)) & before; n; n &= n - 1)
            ++lines;
        if (other) {
            q += __builtin_ctz(other);
            break;
        }
    }
#else
    for (; tables.blank[*q]; ++q)
        lines += *q == '\n';
#endif
    if (*q == '<') {
        p_ = q;
        lines_ = lines;
    }
}

// A run of text up to the next tag, outside the first Tag of an obligation.
// Directly inside a goal, whether it is blank only is noted.
step_t Scanner::text() {
    bool text = false;
    const uchar* q = p_;
    for (;;) {
        q = textStop(q, lines_, text);
        const uchar c = *q;
        if (c == '<') {
            if (text && levels_.back().role == role_t::goal)
                runText_ = true;
            p_ = q;
            return step_t::done;
        }
        if (c == '\r' && q[1] == '\n') {
            ++q;
            continue;
        }
        text = true;
        if (c == '&') {
            char decoded;
            const int n = entity(q, decoded);
            if (n == 0)
                return fail(q);
            q += n;
        } else if (c == ']') {
            if (q + 3 > end_ && !eof_)
                return step_t::more;
            if (q[1] == ']' && q[2] == '>')
                return step_t::refused; // not well-formed in text
            ++q;
        } else if (c >= 0x80 && c != 0x7F) {
            const int n = utf8Length(q);
            if (n == 0)
                return fail(q);
            q += n;
        } else {
            return fail(q); // a control character, or the end of the data
        }
    }
}

// A run of text inside the first Tag of an obligation: part of the
// obligation's name. The parser reports it unless it is blank only, and takes
// CRs and non-ASCII characters in ways best left to it.
step_t Scanner::tagText() {
    const uchar* q = p_;
    while (tables.blank[*q])
        ++q;
    if (*q == '<') {
        lines_ += std::count(p_, q, '\n');
        p_ = q;
        return step_t::done;
    }
    tagText_.clear();
    for (q = p_;;) {
        const uchar c = *q;
        if (c == '<') {
            out_.tagText(tagText_);
            p_ = q;
            return step_t::done;
        }
        if (c == '&') {
            char decoded;
            const int n = entity(q, decoded);
            if (n == 0)
                return fail(q);
            tagText_.push_back(decoded);
            q += n;
            continue;
        }
        if (c == ']') {
            if (q + 3 > end_ && !eof_)
                return step_t::more;
            if (q[1] == ']' && q[2] == '>')
                return step_t::refused; // not well-formed in text
        } else if ((c < 0x20 && c != '\t' && c != '\n') || c >= 0x7F) {
            return fail(q); // a control character, CR, non-ASCII, or the end of the data
        }
        lines_ += c == '\n';
        tagText_.push_back(static_cast<char>(c));
        ++q;
    }
}

} // namespace

bool scanRecords(QFile& file, goal_consumer_t& consumer, std::size_t buffer) {
    Scanner scanner(file, consumer, buffer);
    return scanner.run();
}

} // namespace pos
