#include "pomaint/span_edit.h"

#include <algorithm>
#include <vector>

namespace {

void add(std::string& out, std::uint32_t n) {
    out.append(reinterpret_cast<const char*>(&n), sizeof n);
}

// Length first, so that no two sequences of texts read alike by accident of
// where one ends; an absent attribute differs from an empty one.
void add(std::string& out, std::string_view text) {
    add(out, static_cast<std::uint32_t>(text.size()));
    out.append(text);
}

void add(std::string& out, pos::attr_t value) {
    add(out, value ? 1u : 0u);
    if (value)
        add(out, *value);
}

} // namespace

void record_digest_t::restart() {
    throw not_by_spans_t{};
}

// Each goal's fields are gathered and hashed at once: far cheaper than
// hashing them one by one.
void record_digest_t::goal(pos::goal_record_t const& goal) {
    std::string& out = fields_;
    out.clear();
    add(out, goal.obligation->number);
    add(out, goal.number);
    add(out, goal.status);
    add(out, goal.proofState);
    add(out, static_cast<std::uint32_t>(goal.verdict.kind));
    add(out, goal.verdict.text);
    add(out, static_cast<std::uint32_t>(goal.mechanisms.size()));
    for (pos::mechanism_record_t const& m : goal.mechanisms) {
        add(out, m.name);
        add(out, m.status);
        add(out, static_cast<std::uint32_t>(m.drivers.size()));
        for (pos::driver_record_t const& d : m.drivers) {
            add(out, d.name);
            add(out, d.status);
        }
    }
    hash_.addData(out.data(), static_cast<int>(out.size()));
}

void record_digest_t::endObligation(pos::obligation_record_t const& obligation) {
    fields_.clear();
    add(fields_, obligation.number);
    add(fields_, obligation.tag);
    hash_.addData(fields_.data(), static_cast<int>(fields_.size()));
}

span_editor_t::span_editor_t(std::FILE* original, std::FILE* out, edit_request_t const& request)
    : in_(original), out_(out), request_(request) {}

// Reads the original up to `offset`, copying what it reads unless `skip`.
// Read, not sought: a seek would drop the stream's buffer at every edit.
void span_editor_t::copyTo(std::uint64_t offset, bool skip) {
    char chunk[1 << 16];
    while (at_ < offset && !failed_) {
        const std::size_t want =
            static_cast<std::size_t>(std::min<std::uint64_t>(sizeof chunk, offset - at_));
        const std::size_t got = std::fread(chunk, 1, want, in_);
        if (got == 0) {
            // Only the copy of the file's last bytes may meet its end.
            failed_ = offset != UINT64_MAX || std::ferror(in_);
            return;
        }
        if (!skip && std::fwrite(chunk, 1, got, out_) != got)
            failed_ = true;
        at_ += got;
    }
}

void span_editor_t::replace(std::uint64_t begin, std::uint64_t end, std::string_view text) {
    // Spans come in file order; one that does not is no span to trust.
    if (begin < at_ || end < begin)
        throw not_by_spans_t{};
    copyTo(begin, false);
    copyTo(end, true);
    // A removal writes nothing (and its empty view may hold no pointer).
    if (!text.empty() && std::fwrite(text.data(), 1, text.size(), out_) != text.size())
        failed_ = true;
    changed_ = true;
}

// The DOM sets an attribute to the same value without a trace. `value`
// then reads `word`, which outlives the goal's handling.
void span_editor_t::setStatus(pos::tag_span_t const& tag, pos::attr_t& value,
                              std::string const& word) {
    if (!tag.status.quote)
        replace(tag.insert, tag.insert,
                " " + statusName_ + "=" + tag.addQuote + word + tag.addQuote);
    else if (*value != word)
        replace(tag.status.value.begin, tag.status.value.end, word);
    value = word;
}

void span_editor_t::goal(pos::goal_record_t const& goal) {
    if (!goal.hasSpans)
        throw not_by_spans_t{};
    std::vector<pos::mechanism_record_t> mechanisms(goal.mechanisms.begin(), goal.mechanisms.end());
    pos::goal_record_t after = goal;
    static const std::string words[] = {pos::strOfProofStatus(pos::UNPROVED).toStdString(),
                                        {},
                                        pos::strOfProofStatus(pos::UNRELIABLY_PROVED).toStdString(),
                                        pos::strOfProofStatus(pos::PROVED).toStdString(),
                                        pos::strOfProofStatus(pos::DISPROVED).toStdString()};
    if (request_.op == edit_op_t::unprove) {
        setStatus(goal.tag, after.status, words[pos::unprovedStatus(goal)]);
        static const std::string unproved = pos::ATTR_VALUE_UNPROVED.toStdString();
        for (pos::mechanism_record_t& m : mechanisms)
            setStatus(m.tag, m.status, unproved);
    } else {
        const std::size_t index = pos::mechanismToRemove(goal, request_.mechanism);
        if (index != pos::NO_MECHANISM) {
            pos::mechanism_record_t const& m = mechanisms[index];
            // Text beside it would be joined to its neighbour's in the file,
            // and the DOM keeps the two apart.
            if (m.textBefore || m.textAfter)
                throw not_by_spans_t{};
            if (const auto s = pos::statusAfterRemoval(goal, index))
                setStatus(goal.tag, after.status, words[*s]);
            replace(m.blanks, m.element.end, {});
            mechanisms.erase(mechanisms.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }
    after.mechanisms = {mechanisms.data(), mechanisms.size()};
    record_digest_t::goal(after);
}

bool span_editor_t::finish() {
    copyTo(UINT64_MAX, false);
    return !failed_ && std::fflush(out_) == 0 && !std::ferror(out_);
}
