#include "pomaint/byte_edit.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

// Thrown at the first byte the editor cannot vouch for; editBytes answers it.
struct refused_t {};

[[noreturn]] void refuse() {
    throw refused_t{};
}

enum class encoding_t { utf8, latin1 };

// Real PO files nest six levels deep.
constexpr int MAX_DEPTH = 64;
constexpr std::size_t CHUNK = 1 << 18;

bool blank(int c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool nameStart(int c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool nameChar(int c) {
    return nameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

void appendUtf8(std::string& s, std::uint32_t c) {
    if (c < 0x80) {
        s += static_cast<char>(c);
    } else if (c < 0x800) {
        s += static_cast<char>(0xC0 | (c >> 6));
        s += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        s += static_cast<char>(0xE0 | (c >> 12));
        s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        s += static_cast<char>(0xF0 | (c >> 18));
        s += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (c & 0x3F));
    }
}

bool xmlChar(std::uint32_t c) {
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// The status words, as the vocabulary and the expected-status rule read them.
enum word_t {
    W_UNPROVED,
    W_PROVED,
    W_UNRELIABLY_PROVED,
    W_DISPROVED,
    W_UNKNOWN,
    W_PROVED_N,
    W_OTHER
};

word_t wordOf(std::string const& v) {
    static const char* const words[] = {"Unproved", "Proved", "UnreliablyProved", "Disproved",
                                        "Unknown"};
    for (int i = 0; i < 5; ++i)
        if (v == words[i])
            return static_cast<word_t>(i);
    if (v == "Proved(0)" || v == "Proved(1)" || v == "Proved(2)" || v == "Proved(3)" ||
        v == "Proved(Util)")
        return W_PROVED_N;
    return W_OTHER;
}

struct attr_t {
    std::string name;
    std::string value;       // decoded, UTF-8
    std::uint64_t begin = 0; // the raw value, between the quotes
    std::uint64_t end = 0;
    bool plain = true; // no raw blank but the space, no reference to a control
};

struct tag_t {
    std::string name;
    std::vector<attr_t> attrs;
    std::uint64_t start = 0;  // '<'
    std::uint64_t insert = 0; // just after the last attribute, or the name
    char quote = '"';         // the first attribute's, for one added
    bool empty = false;       // "/>"
    std::uint64_t end = 0;    // after '>'

    attr_t const* find(char const* n) const {
        for (attr_t const& a : attrs)
            if (a.name == n)
                return &a;
        return nullptr;
    }
};

struct mechanism_t {
    bool named = false;
    std::string name;
    attr_t const* statusAttr() const { return hasStatus ? &status : nullptr; }
    bool hasStatus = false;
    attr_t status;
    std::uint64_t insert = 0;
    char quote = '"';
    std::uint64_t cut = 0; // start of the blanks before it
    std::uint64_t end = 0;
    bool besideText = false;
};

struct goal_t {
    tag_t tag;
    bool hasProofState = false;
    std::string proofState; // of the first Proof_State; empty when absent
    bool proofStateGiven = false;
    bool hasIapa = false;
    bool verdictGiven = false;
    std::string verdict;
    std::vector<mechanism_t> mechanisms;
};

struct edit_t {
    std::uint64_t begin, end;
    std::string text;
    bool operator<(edit_t const& o) const { return begin < o.begin; }
};

class editor_t {
public:
    editor_t(std::FILE* in_, std::FILE* out_, edit_request_t const& request_)
        : in(in_), out(out_), request(request_) {}

    byte_edit_t run() {
        prolog();
        misc();
        if (peek() != '<')
            refuse();
        element(nullptr, role_t::document, 1);
        misc();
        if (peek() != -1)
            refuse();
        emit(abs());
        if (std::fflush(out) != 0 || std::ferror(out) || std::ferror(in))
            refuse();
        return changed ? byte_edit_t::changed : byte_edit_t::unchanged;
    }

private:
    enum class role_t { document, root, obligation, goal, mechanism, iapa, other };

    std::FILE* in;
    std::FILE* out;
    edit_request_t const& request;
    encoding_t encoding = encoding_t::utf8;
    std::vector<char> buf;
    std::uint64_t base = 0;   // file offset of buf[0]
    std::size_t pos = 0;      // next byte, in buf
    std::uint64_t copied = 0; // file offset up to which `out` has the bytes
    bool holding = false;     // a goal is being read: keep its bytes
    std::uint64_t held = 0;
    bool atEnd = false;
    bool changed = false;
    char docQuote = 0; // the first quote the file uses, for an added attribute

    std::uint64_t abs() const { return base + pos; }

    bool fill() {
        if (atEnd)
            return false;
        // Bytes before the held goal, or before `pos`, are no longer needed.
        const std::uint64_t keep = holding ? held : abs();
        emit(keep);
        const std::size_t drop = static_cast<std::size_t>(keep - base);
        buf.erase(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(drop));
        base += drop;
        pos -= drop;
        const std::size_t had = buf.size();
        buf.resize(had + CHUNK);
        const std::size_t got = std::fread(buf.data() + had, 1, CHUNK, in);
        buf.resize(had + got);
        if (got == 0)
            atEnd = true;
        return got > 0;
    }

    int peek() {
        if (pos == buf.size() && !fill())
            return -1;
        return static_cast<unsigned char>(buf[pos]);
    }
    int next() {
        const int c = peek();
        if (c < 0)
            refuse();
        ++pos;
        return c;
    }
    void expect(char c) {
        if (next() != c)
            refuse();
    }
    void expect(char const* s) {
        while (*s)
            expect(*s++);
    }
    // Whether the input continues with `s`; consumes it when it does.
    bool take(char const* s) {
        const std::size_t n = std::strlen(s);
        while (buf.size() - pos < n)
            if (!fill())
                return false;
        if (std::memcmp(buf.data() + pos, s, n) != 0)
            return false;
        pos += n;
        return true;
    }
    bool skipBlanks() {
        bool any = false;
        while (blank(peek())) {
            ++pos;
            any = true;
        }
        return any;
    }

    // Writes the input's bytes up to `upTo` as they stand.
    void emit(std::uint64_t upTo) {
        if (upTo <= copied)
            return;
        const std::size_t from = static_cast<std::size_t>(copied - base);
        const std::size_t n = static_cast<std::size_t>(upTo - copied);
        if (std::fwrite(buf.data() + from, 1, n, out) != n)
            refuse();
        copied = upTo;
    }

    void emitEdited(std::uint64_t upTo, std::vector<edit_t> edits) {
        std::sort(edits.begin(), edits.end());
        for (edit_t const& e : edits) {
            emit(e.begin);
            if (std::fwrite(e.text.data(), 1, e.text.size(), out) != e.text.size())
                refuse();
            copied = e.end;
            changed = true;
        }
        emit(upTo);
    }

    // One character of text or of an attribute value, appended to `decoded`
    // when given. Answers the character, or -1 for a reference.
    long character(std::string* decoded) {
        const int c = next();
        if (c < 0x80) {
            if (c < 0x20 && !blank(c))
                refuse();
            if (decoded)
                *decoded += static_cast<char>(c);
            return c;
        }
        std::uint32_t cp = 0;
        if (encoding == encoding_t::latin1) {
            if (c < 0xA0) // C1 controls: left to the DOM rewrite
                refuse();
            cp = static_cast<std::uint32_t>(c);
        } else {
            int more = 0;
            std::uint32_t min = 0;
            if ((c & 0xE0) == 0xC0) {
                more = 1, cp = c & 0x1F, min = 0x80;
            } else if ((c & 0xF0) == 0xE0) {
                more = 2, cp = c & 0x0F, min = 0x800;
            } else if ((c & 0xF8) == 0xF0) {
                more = 3, cp = c & 0x07, min = 0x10000;
            } else {
                refuse();
            }
            for (int i = 0; i < more; ++i) {
                const int d = next();
                if ((d & 0xC0) != 0x80)
                    refuse();
                cp = (cp << 6) | (d & 0x3F);
            }
            if (cp < min || !xmlChar(cp) || cp == 0xFEFF)
                refuse();
        }
        if (decoded)
            appendUtf8(*decoded, cp);
        return static_cast<long>(cp);
    }

    // After '&': a predefined entity or a character reference.
    std::uint32_t reference() {
        if (take("lt;"))
            return '<';
        if (take("gt;"))
            return '>';
        if (take("amp;"))
            return '&';
        if (take("quot;"))
            return '"';
        if (take("apos;"))
            return '\'';
        expect('#');
        const bool hex = take("x");
        std::uint32_t cp = 0;
        int digits = 0;
        for (int c = next(); c != ';'; c = next()) {
            int d;
            if (c >= '0' && c <= '9')
                d = c - '0';
            else if (hex && c >= 'a' && c <= 'f')
                d = c - 'a' + 10;
            else if (hex && c >= 'A' && c <= 'F')
                d = c - 'A' + 10;
            else
                refuse();
            if (++digits > 7)
                refuse();
            cp = cp * (hex ? 16 : 10) + static_cast<std::uint32_t>(d);
        }
        if (digits == 0 || !xmlChar(cp))
            refuse();
        return cp;
    }

    std::string name() {
        std::string n;
        if (!nameStart(peek()))
            refuse();
        while (nameChar(peek()))
            n += static_cast<char>(next());
        return n;
    }

    void comment() { // after "<!--"
        for (;;) {
            if (take("--")) {
                expect('>');
                return;
            }
            character(nullptr);
        }
    }

    void prolog() {
        if (peek() != '<') // a byte order mark, UTF-16, or no markup at all
            refuse();
        if (!take("<?xml"))
            return;
        if (!skipBlanks())
            refuse();
        expect("version");
        quotedAfterEq("1.0");
        bool sep = skipBlanks();
        if (sep && take("encoding")) {
            std::string e = quotedAfterEq(nullptr);
            std::transform(e.begin(), e.end(), e.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
            if (e == "iso-8859-1")
                encoding = encoding_t::latin1;
            else if (e != "utf-8")
                refuse();
            sep = skipBlanks();
        }
        if (sep && take("standalone")) {
            const std::string s = quotedAfterEq(nullptr);
            if (s != "yes" && s != "no")
                refuse();
            skipBlanks();
        }
        expect("?>");
    }

    // `= "value"` in the declaration: plain ASCII letters, digits and ._-.
    std::string quotedAfterEq(char const* required) {
        skipBlanks();
        expect('=');
        skipBlanks();
        const int q = next();
        if (q != '"' && q != '\'')
            refuse();
        if (!docQuote)
            docQuote = static_cast<char>(q);
        std::string v;
        for (int c = next(); c != q; c = next()) {
            if (!nameChar(c))
                refuse();
            v += static_cast<char>(c);
        }
        if (required && v != required)
            refuse();
        return v;
    }

    void misc() {
        for (;;) {
            skipBlanks();
            if (take("<!--"))
                comment();
            else if (peek() == '<' && buf.size() - pos >= 2 &&
                     (buf[pos + 1] == '?' || buf[pos + 1] == '!'))
                refuse();
            else
                return;
        }
    }

    // At '<': the start tag. Interpreted attributes must be plain.
    tag_t startTag() {
        tag_t tag;
        tag.start = abs();
        expect('<');
        tag.name = name();
        tag.insert = abs();
        for (;;) {
            const bool sep = skipBlanks();
            const int c = peek();
            if (c == '>') {
                ++pos;
                break;
            }
            if (c == '/') {
                ++pos;
                expect('>');
                tag.empty = true;
                break;
            }
            if (!sep)
                refuse();
            attr_t a;
            a.name = name();
            for (attr_t const& other : tag.attrs)
                if (other.name == a.name)
                    refuse();
            skipBlanks();
            expect('=');
            skipBlanks();
            const int q = next();
            if (q != '"' && q != '\'')
                refuse();
            if (!docQuote)
                docQuote = static_cast<char>(q);
            if (tag.attrs.empty())
                tag.quote = static_cast<char>(q);
            a.begin = abs();
            for (;;) {
                const int v = peek();
                if (v == q)
                    break;
                if (v == '<')
                    refuse();
                if (v == '&') {
                    ++pos;
                    const std::uint32_t cp = reference();
                    if (cp < 0x20)
                        a.plain = false;
                    appendUtf8(a.value, cp);
                } else {
                    if (blank(v) && v != ' ')
                        a.plain = false;
                    character(&a.value);
                }
            }
            a.end = abs();
            ++pos;
            tag.insert = abs();
            tag.attrs.push_back(std::move(a));
        }
        tag.end = abs();
        return tag;
    }

    // The value of an attribute that an operation reads; `given` tells
    // whether it is there.
    static std::string valueOf(tag_t const& tag, char const* attr, bool* given = nullptr) {
        attr_t const* a = tag.find(attr);
        if (given)
            *given = a != nullptr;
        if (!a)
            return std::string();
        if (!a->plain)
            refuse();
        return a->value;
    }

    // A goal's, mechanism's or driver's status must be in the vocabulary, as
    // the commands demand of every file they edit.
    static void knownStatus(tag_t const& tag) {
        bool given = false;
        const std::string v = valueOf(tag, "status", &given);
        if (given && wordOf(v) == W_OTHER)
            refuse();
    }

    // At '<' of an element whose parent plays `parent`; reads it whole.
    void element(goal_t* goal, role_t parent, int depth) {
        if (depth > MAX_DEPTH)
            refuse();
        tag_t tag = startTag();
        if (tag.attrs.empty() && docQuote)
            tag.quote = docQuote;
        role_t role = role_t::other;
        switch (parent) {
        case role_t::document:
            role = role_t::root;
            break;
        case role_t::root:
            if (tag.name == "Proof_Obligation")
                role = role_t::obligation;
            break;
        case role_t::obligation:
            if (tag.name == "Simple_Goal")
                role = role_t::goal;
            break;
        case role_t::goal:
            if (tag.name == "Mechanism") {
                role = role_t::mechanism;
                knownStatus(tag);
                mechanism_t m;
                m.name = valueOf(tag, "name", &m.named);
                valueOf(tag, "status", &m.hasStatus);
                if (m.hasStatus)
                    m.status = *tag.find("status");
                m.insert = tag.insert;
                m.quote = tag.quote;
                goal->mechanisms.push_back(std::move(m));
            } else if (tag.name == "iapa" && !goal->hasIapa) {
                role = role_t::iapa;
                goal->hasIapa = true;
            } else if (tag.name == "Proof_State" && !goal->hasProofState) {
                goal->hasProofState = true;
                goal->proofState = valueOf(tag, "proofState", &goal->proofStateGiven);
            }
            break;
        case role_t::mechanism:
            if (tag.name == "Driver")
                knownStatus(tag);
            break;
        case role_t::iapa:
            if (tag.name == "status" && !goal->verdictGiven) {
                goal->verdictGiven = true;
                goal->verdict = valueOf(tag, "value");
            }
            break;
        case role_t::other:
            break;
        }
        if (role == role_t::goal) {
            goalElement(std::move(tag), depth);
            return;
        }
        if (!tag.empty)
            content(tag.name, goal, role, depth);
        if (role == role_t::mechanism)
            goal->mechanisms.back().end = abs();
    }

    // The children and text of an element up to its end tag. In a goal's own
    // content, notes the text runs around each mechanism: the blanks before
    // one go with it, and text beside one is refused when it is removed.
    void content(std::string const& name, goal_t* goal, role_t role, int depth) {
        const bool inGoal = role == role_t::goal;
        std::uint64_t runStart = abs();
        bool runBlank = true;
        bool afterMechanism = false;
        auto closeRun = [&]() {
            if (afterMechanism && !runBlank)
                goal->mechanisms.back().besideText = true;
            afterMechanism = false;
        };
        for (;;) {
            const int c = peek();
            if (c < 0)
                refuse();
            if (c == '<') {
                const std::uint64_t here = abs();
                closeRun();
                if (take("</")) {
                    if (this->name() != name)
                        refuse();
                    skipBlanks();
                    expect('>');
                    return;
                }
                if (take("<!--")) {
                    comment();
                } else {
                    if (buf.size() - pos < 2)
                        fill();
                    if (buf.size() - pos >= 2 && (buf[pos + 1] == '!' || buf[pos + 1] == '?'))
                        refuse(); // CDATA, processing instruction, declaration
                    // A goal's bytes are held until it is decided.
                    const bool mayBeGoal = role == role_t::obligation;
                    if (mayBeGoal) {
                        holding = true;
                        held = here;
                    }
                    const std::size_t before = inGoal ? goal->mechanisms.size() : 0;
                    element(goal, role, depth + 1);
                    if (mayBeGoal)
                        holding = false;
                    if (inGoal && goal->mechanisms.size() > before) {
                        goal->mechanisms.back().cut = runBlank ? runStart : here;
                        goal->mechanisms.back().besideText = !runBlank;
                        afterMechanism = true;
                    }
                }
                runStart = abs();
                runBlank = true;
                continue;
            }
            if (c == '&') {
                ++pos;
                reference();
                runBlank = false;
            } else if (c == ']' && take("]]>")) {
                refuse();
            } else {
                if (!blank(c))
                    runBlank = false;
                character(nullptr);
            }
        }
    }

    void goalElement(tag_t tag, int depth) {
        goal_t goal;
        goal.tag = std::move(tag);
        knownStatus(goal.tag);
        if (!goal.tag.empty)
            content(goal.tag.name, &goal, role_t::goal, depth);
        decide(goal);
    }

    void decide(goal_t& goal) {
        std::vector<edit_t> edits;
        const bool unprove = request.op == edit_op_t::unprove;
        if (unprove) {
            for (mechanism_t const& m : goal.mechanisms)
                setStatus(edits, m.statusAttr(), m.insert, m.quote, "Unproved");
            const std::string state = goal.proofStateGiven ? goal.proofState : "Unproved";
            setStatus(edits, goal.tag.find("status"), goal.tag.insert, goal.tag.quote,
                      wordOf(state) == W_PROVED_N ? "Proved" : "Unproved");
        } else {
            auto it =
                std::find_if(goal.mechanisms.begin(), goal.mechanisms.end(),
                             [this](mechanism_t const& m) { return m.name == request.mechanism; });
            if (it != goal.mechanisms.end()) {
                if (it->besideText)
                    refuse();
                edits.push_back({it->cut, it->end, std::string()});
                goal.mechanisms.erase(it);
                const char* expected = expectedStatus(goal);
                bool given = false;
                const std::string recorded = valueOf(goal.tag, "status", &given);
                if (!sameStatus(given ? recorded : "Unproved", expected))
                    setStatus(edits, goal.tag.find("status"), goal.tag.insert, goal.tag.quote,
                              expected);
            }
        }
        emitEdited(abs(), std::move(edits));
    }

    // The status the goal's children call for, as the maintenance operations
    // derive it; refused where they would raise.
    static const char* expectedStatus(goal_t const& goal) {
        bool proved = wordOf(goal.proofState) == W_PROVED_N;
        bool unreliable = false, disproved = false;
        if (goal.hasIapa) {
            const std::string& v = goal.verdict;
            if (v == "Valid")
                unreliable = true;
            else if (v == "Invalid")
                disproved = true;
            else if (v != "Unproved" && v != "Unknown")
                refuse();
        }
        for (mechanism_t const& m : goal.mechanisms) {
            const word_t w = m.hasStatus ? wordOf(m.status.value) : W_OTHER;
            if (w == W_PROVED)
                proved = true;
            else if (w == W_UNRELIABLY_PROVED)
                unreliable = true;
            else if (w == W_DISPROVED)
                disproved = true;
            else if (w != W_UNPROVED && w != W_UNKNOWN)
                refuse();
        }
        return disproved    ? "Disproved"
               : proved     ? "Proved"
               : unreliable ? "UnreliablyProved"
                            : "Unproved";
    }

    static bool sameStatus(std::string const& recorded, const char* expected) {
        const word_t r = wordOf(recorded), e = wordOf(expected);
        return r == e || (r == W_PROVED_N && e == W_PROVED);
    }

    // Sets a status attribute to `value`: in place when it is there and
    // differs, added at the end of the start tag when it is not.
    static void setStatus(std::vector<edit_t>& edits, attr_t const* attr, std::uint64_t insert,
                          char quote, const char* value) {
        if (!attr) {
            edits.push_back({insert, insert, std::string(" status=") + quote + value + quote});
        } else if (attr->value != value) {
            if (!attr->plain)
                refuse();
            edits.push_back({attr->begin, attr->end, value});
        }
    }
};

} // namespace

byte_edit_t editBytes(std::FILE* in, std::FILE* out, edit_request_t const& request) {
    editor_t editor(in, out, request);
    try {
        return editor.run();
    } catch (refused_t const&) {
        return byte_edit_t::refused;
    }
}
