#include "pos/fast_count.h"

#include "pos/records.h"
#include "pos/xml_load.h"

#include <array>
#include <cstring>
#include <string>
#include <vector>

// A scanner for the form that PO files take in practice. It proves each
// construct it meets to be well-formed and read alike by both of Qt's XML
// readers, and gives up at the first one it cannot vouch for: the caller
// then counts the file again from the start with the streaming reader. It
// counts as it goes, which gives the DOM walk's record because it gives up on
// any status value outside the vocabulary before counting it.

namespace pos {

namespace {

constexpr std::size_t BUFFER_SIZE = 1 << 20;
// Room that a tag, a comment or a character must fit in; far more than real
// PO files use, and the buffer is topped up before each construct.
constexpr std::size_t LOOKAHEAD = 64 * 1024;
// Zero bytes after the data: every scanning loop stops on them.
constexpr std::size_t SENTINEL = 8;
// Far from the streaming reader's name limit of 4096 and from the nesting limit.
constexpr std::size_t MAX_NAME = 256;
constexpr std::size_t MAX_DEPTH = 256;
constexpr int MAX_ATTRIBUTES = 32;

using uchar = unsigned char;

// Byte classes for the scanning loops.
enum : uchar { PLAIN, STOP, AMP, BRACKET, HIGH, BAD };

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
            // A tab or a line break in a value: the readers differ on them.
            value[c] = text[c];
            nameStart[c] = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
            name[c] = nameStart[c] || (c >= '0' && c <= '9') || c == '-' || c == '.';
            blank[c] = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        }
        for (uchar c : {'\t', '\n', '\r'})
            text[c] = PLAIN;
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
// no C1 controls, surrogates, noncharacters or code points past U+10FFFF.
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
            cp >= 0xFFFE)
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
    auto is = [p](const char* name) { return std::memcmp(p, name, std::strlen(name)) == 0; };
    if (is("&lt;"))
        return c = '<', 4;
    if (is("&gt;"))
        return c = '>', 4;
    if (is("&amp;"))
        return c = '&', 5;
    if (is("&quot;"))
        return c = '"', 6;
    if (is("&apos;"))
        return c = '\'', 6;
    return 0;
}

bool same(const char* a, std::size_t size, const char* b) {
    return size == std::strlen(b) && std::memcmp(a, b, size) == 0;
}

// The status of a value as the vocabulary reads it, or -1 outside it.
int statusOf(std::string const& v) {
    const char* s = v.data();
    const std::size_t n = v.size();
    if (same(s, n, "Proved"))
        return PROVED;
    if (same(s, n, "Unproved"))
        return UNPROVED;
    if (same(s, n, "Unknown"))
        return UNKNOWN;
    if (same(s, n, "Disproved"))
        return DISPROVED;
    if (same(s, n, "UnreliablyProved"))
        return UNRELIABLY_PROVED;
    if (same(s, n, "Proved(0)") || same(s, n, "Proved(1)") || same(s, n, "Proved(2)") ||
        same(s, n, "Proved(3)") || same(s, n, "Proved(Util)"))
        return PROVED;
    return -1;
}

bool provedByProver(std::string const& v) {
    const char* s = v.data();
    const std::size_t n = v.size();
    return same(s, n, "Proved(0)") || same(s, n, "Proved(1)") || same(s, n, "Proved(2)") ||
           same(s, n, "Proved(3)") || same(s, n, "Proved(Util)");
}

// What an element is to the count, from its name and its parent's role.
enum class Role : uchar { Root, Obligation, Goal, ProofState, Mechanism, Driver, Other };

class Scanner {
public:
    Scanner(QFile& file, metrics_t& metrics)
        : file_(file), m_(metrics), buffer_(BUFFER_SIZE + SENTINEL) {}

    bool run();

private:
    bool refill();
    bool declaration();
    bool markup();
    bool comment();
    bool startTag();
    bool endTag();
    bool text();
    bool name(const uchar*& begin, std::size_t& size);
    bool attributeValue(std::string* out);
    bool open(Role role, const uchar* name, std::size_t size);
    bool count(Role role);

    QFile& file_;
    metrics_t& m_;
    std::vector<uchar> buffer_;
    const uchar* p_ = nullptr;
    const uchar* end_ = nullptr;
    bool eof_ = false;
    bool rootSeen_ = false;

    // The open elements: their names one after the other, and roles.
    std::string names_;
    std::vector<std::size_t> nameStarts_;
    std::vector<Role> roles_;

    // The goal being read.
    bool goalHasExt_ = false;
    bool goalHasProofState_ = false;
    mechanism_metrics_t* mechanism_ = nullptr;

    // The attributes that the count reads, of the tag being scanned.
    std::string status_, name_, proofState_;
    bool hasStatus_ = false, hasName_ = false, hasProofState_ = false;
};

bool Scanner::refill() {
    const std::size_t kept = static_cast<std::size_t>(end_ - p_);
    uchar* base = buffer_.data();
    std::memmove(base, p_, kept);
    std::size_t size = kept;
    while (size < BUFFER_SIZE && !eof_) {
        const qint64 got = file_.read(reinterpret_cast<char*>(base + size),
                                      static_cast<qint64>(BUFFER_SIZE - size));
        if (got < 0)
            return false;
        if (got == 0)
            eof_ = true;
        size += static_cast<std::size_t>(got);
    }
    std::memset(base + size, 0, SENTINEL);
    p_ = base;
    end_ = base + size;
    return true;
}

bool Scanner::run() {
    p_ = end_ = buffer_.data();
    if (!refill())
        return false;
    if (end_ - p_ >= 5 && std::memcmp(p_, "<?xml", 5) == 0 && !declaration())
        return false;
    for (;;) {
        if (static_cast<std::size_t>(end_ - p_) < LOOKAHEAD && !eof_ && !refill())
            return false;
        if (p_ == end_)
            return rootSeen_ && roles_.empty();
        if (*p_ == '<') {
            if (!markup())
                return false;
        } else if (roles_.empty()) {
            // Outside the document element only blanks.
            if (!tables.blank[*p_])
                return false;
            while (tables.blank[*p_])
                ++p_;
        } else if (!text()) {
            return false;
        }
    }
}

bool Scanner::declaration() {
    for (const char* form :
         {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>",
          "<?xml version=\"1.0\" encoding=\"utf-8\"?>", "<?xml version=\"1.0\"?>"}) {
        const std::size_t size = std::strlen(form);
        if (static_cast<std::size_t>(end_ - p_) >= size && std::memcmp(p_, form, size) == 0) {
            p_ += size;
            return true;
        }
    }
    return false;
}

bool Scanner::markup() {
    switch (p_[1]) {
    case '/':
        return endTag();
    case '!':
        return comment();
    case '?':
        return false; // a processing instruction or a misplaced declaration
    default:
        return startTag();
    }
}

bool Scanner::comment() {
    if (std::memcmp(p_, "<!--", 4) != 0)
        return false; // DOCTYPE, CDATA
    p_ += 4;
    for (;;) {
        const uchar c = *p_;
        if (c == '-') {
            if (p_[1] == '-')
                break;
            ++p_;
            continue;
        }
        const uchar kind = tables.text[c];
        if (kind == PLAIN || kind == STOP || kind == AMP || kind == BRACKET) {
            ++p_;
        } else if (kind == HIGH) {
            const int n = utf8Length(p_);
            if (n == 0)
                return false;
            p_ += n;
        } else {
            return false; // a control character, or the end of the data
        }
    }
    if (p_[2] != '>')
        return false;
    p_ += 3;
    return true;
}

bool Scanner::name(const uchar*& begin, std::size_t& size) {
    begin = p_;
    if (!tables.nameStart[*p_])
        return false;
    ++p_;
    while (tables.name[*p_])
        ++p_;
    size = static_cast<std::size_t>(p_ - begin);
    // Names starting with "xml" are reserved and treated apart by the readers.
    if (size > MAX_NAME || (size >= 3 && (begin[0] | 0x20) == 'x' && (begin[1] | 0x20) == 'm' &&
                            (begin[2] | 0x20) == 'l'))
        return false;
    return true;
}

bool Scanner::attributeValue(std::string* out) {
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
                return true;
            if (out)
                out->push_back(static_cast<char>(c));
            break;
        case AMP: {
            char decoded;
            const int n = entity(p_, decoded);
            if (n == 0)
                return false;
            if (out)
                out->push_back(decoded);
            p_ += n;
            break;
        }
        case HIGH: {
            const int n = utf8Length(p_);
            if (n == 0)
                return false;
            if (out)
                out->append(reinterpret_cast<const char*>(p_), static_cast<std::size_t>(n));
            p_ += n;
            break;
        }
        default:
            return false; // '<', a control character, the end of the data
        }
    }
}

bool Scanner::startTag() {
    ++p_;
    const uchar* tag;
    std::size_t size;
    if (!name(tag, size))
        return false;
    if (roles_.empty() && rootSeen_)
        return false; // a second document element
    const Role parent = roles_.empty() ? Role::Other : roles_.back();
    Role role = Role::Other;
    const char* t = reinterpret_cast<const char*>(tag);
    if (roles_.empty())
        role = Role::Root;
    else if (parent == Role::Root && same(t, size, "Proof_Obligation"))
        role = Role::Obligation;
    else if (parent == Role::Obligation && same(t, size, "Simple_Goal"))
        role = Role::Goal;
    else if (parent == Role::Goal && same(t, size, "Mechanism"))
        role = Role::Mechanism;
    else if (parent == Role::Goal && !goalHasProofState_ && same(t, size, "Proof_State"))
        role = Role::ProofState;
    else if (parent == Role::Mechanism && same(t, size, "Driver"))
        role = Role::Driver;

    hasStatus_ = hasName_ = hasProofState_ = false;
    std::array<std::pair<const uchar*, std::size_t>, MAX_ATTRIBUTES> seen;
    int nbSeen = 0;
    for (;;) {
        const uchar* before = p_;
        while (tables.blank[*p_])
            ++p_;
        if (*p_ == '>') {
            ++p_;
            return open(role, tag, size);
        }
        if (*p_ == '/') {
            if (p_[1] != '>')
                return false;
            p_ += 2;
            rootSeen_ = true;
            return count(role);
        }
        if (p_ == before)
            return false; // no blank before the attribute
        const uchar* attribute;
        std::size_t length;
        if (!name(attribute, length) || nbSeen == MAX_ATTRIBUTES)
            return false;
        for (int i = 0; i < nbSeen; ++i)
            if (seen[i].second == length && std::memcmp(seen[i].first, attribute, length) == 0)
                return false; // the readers keep different ones of the two
        seen[nbSeen++] = {attribute, length};
        while (tables.blank[*p_])
            ++p_;
        if (*p_++ != '=')
            return false;
        while (tables.blank[*p_])
            ++p_;
        if (*p_ != '"' && *p_ != '\'')
            return false;
        const char* a = reinterpret_cast<const char*>(attribute);
        std::string* out = nullptr;
        if (role == Role::Goal || role == Role::Mechanism || role == Role::Driver) {
            if (same(a, length, "status")) {
                out = &status_;
                hasStatus_ = true;
            } else if (role != Role::Goal && same(a, length, "name")) {
                out = &name_;
                hasName_ = true;
            }
        } else if (role == Role::ProofState && same(a, length, "proofState")) {
            out = &proofState_;
            hasProofState_ = true;
        }
        if (!attributeValue(out))
            return false;
    }
}

bool Scanner::open(Role role, const uchar* name, std::size_t size) {
    if (roles_.size() == MAX_DEPTH)
        return false;
    nameStarts_.push_back(names_.size());
    names_.append(reinterpret_cast<const char*>(name), size);
    roles_.push_back(role);
    rootSeen_ = true;
    return count(role);
}

bool Scanner::count(Role role) {
    int status = UNPROVED;
    if (hasStatus_ && (role == Role::Goal || role == Role::Mechanism || role == Role::Driver)) {
        status = statusOf(status_);
        if (status < 0)
            return false; // the streaming reader raises at the right point
    }
    if (!hasName_)
        name_.clear();
    switch (role) {
    case Role::Goal:
        goalHasExt_ = false;
        goalHasProofState_ = false;
        addGoal(m_, static_cast<status_t>(status));
        break;
    case Role::ProofState:
        goalHasProofState_ = true;
        if (hasProofState_ && provedByProver(proofState_))
            ++m_.nb_int;
        break;
    case Role::Mechanism: {
        if (status == PROVED && !goalHasExt_) {
            goalHasExt_ = true;
            ++m_.nb_ext;
        }
        mechanism_ = &entry(m_.mechanisms, name_);
        addResult(*mechanism_, static_cast<status_t>(status));
        break;
    }
    case Role::Driver:
        addResult(entry(mechanism_->drivers, name_), static_cast<status_t>(status));
        break;
    default:
        break;
    }
    return true;
}

bool Scanner::endTag() {
    p_ += 2;
    const uchar* tag;
    std::size_t size;
    if (roles_.empty() || !name(tag, size))
        return false;
    const std::size_t start = nameStarts_.back();
    if (names_.size() - start != size || std::memcmp(names_.data() + start, tag, size) != 0)
        return false;
    while (tables.blank[*p_])
        ++p_;
    if (*p_++ != '>')
        return false;
    names_.resize(start);
    nameStarts_.pop_back();
    roles_.pop_back();
    return true;
}

bool Scanner::text() {
    for (;;) {
        while (tables.text[*p_] == PLAIN)
            ++p_;
        const uchar c = *p_;
        if (c == '<')
            return true;
        if (p_ == end_)
            return true; // more is read before the next construct
        // A construct cut by the end of the buffer is read again after it
        // is topped up.
        if (static_cast<std::size_t>(end_ - p_) < SENTINEL && !eof_)
            return true;
        switch (tables.text[c]) {
        case AMP: {
            char decoded;
            const int n = entity(p_, decoded);
            if (n == 0)
                return false;
            p_ += n;
            break;
        }
        case BRACKET:
            if (p_[1] == ']' && p_[2] == '>')
                return false; // read differently by the two readers
            ++p_;
            break;
        case HIGH: {
            const int n = utf8Length(p_);
            if (n == 0)
                return false;
            p_ += n;
            break;
        }
        default:
            return false;
        }
    }
}

} // namespace

bool fastCount(QFile& file, metrics_t& metrics) {
    metrics = metrics_t{};
    Scanner scanner(file, metrics);
    return scanner.run();
}

po_read_t fastCountPoFile(std::string const& path, metrics_t& metrics) {
    QFile file;
    if (!openRegularFile(QString::fromStdString(path), file))
        return po_read_t::unopened;
    return fastCount(file, metrics) ? po_read_t::read : po_read_t::malformed;
}

} // namespace pos
