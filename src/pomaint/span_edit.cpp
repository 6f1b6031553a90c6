#include "pomaint/span_edit.h"

#include <algorithm>
#include <vector>

namespace {

void add(QCryptographicHash& hash, std::uint64_t n) {
    hash.addData(reinterpret_cast<const char*>(&n), sizeof n);
}

// Length first, so that no two sequences of texts hash alike by accident of
// where one ends; an absent attribute differs from an empty one.
void add(QCryptographicHash& hash, std::string_view text) {
    add(hash, text.size());
    hash.addData(text.data(), static_cast<int>(text.size()));
}

void add(QCryptographicHash& hash, pos::attr_t value) {
    add(hash, value ? 1 : 0);
    if (value)
        add(hash, *value);
}

} // namespace

void record_digest_t::restart() {
    throw not_by_spans_t{};
}

void record_digest_t::goal(pos::goal_record_t const& goal) {
    add(hash_, goal.obligation->number);
    add(hash_, goal.number);
    add(hash_, goal.status);
    add(hash_, goal.proofState);
    add(hash_, goal.verdict.kind);
    add(hash_, goal.verdict.text);
    add(hash_, goal.mechanisms.size());
    for (pos::mechanism_record_t const& m : goal.mechanisms) {
        add(hash_, m.name);
        add(hash_, m.status);
        add(hash_, m.drivers.size());
        for (pos::driver_record_t const& d : m.drivers) {
            add(hash_, d.name);
            add(hash_, d.status);
        }
    }
}

void record_digest_t::endObligation(pos::obligation_record_t const& obligation) {
    add(hash_, obligation.number);
    add(hash_, obligation.tag);
}

span_editor_t::span_editor_t(std::FILE* original, std::FILE* out, edit_request_t const& request)
    : in_(original), out_(out), request_(request) {}

void span_editor_t::restart() {
    throw not_by_spans_t{};
}

void span_editor_t::endObligation(pos::obligation_record_t const& obligation) {
    expected_.endObligation(obligation);
}

void span_editor_t::copyTo(std::uint64_t offset) {
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
        if (std::fwrite(chunk, 1, got, out_) != got)
            failed_ = true;
        at_ += got;
    }
}

void span_editor_t::replace(std::uint64_t begin, std::uint64_t end, std::string_view text) {
    // Spans come in file order; one that does not is no span to trust.
    if (begin < at_ || end < begin)
        throw not_by_spans_t{};
    copyTo(begin);
    if (::fseeko(in_, static_cast<off_t>(end), SEEK_SET) != 0)
        failed_ = true;
    at_ = end;
    if (std::fwrite(text.data(), 1, text.size(), out_) != text.size())
        failed_ = true;
    changed_ = true;
}

// The DOM sets an attribute to the same value without a trace.
void span_editor_t::setStatus(pos::tag_span_t const& tag, pos::attr_t value,
                              std::string const& word) {
    if (!tag.status.quote)
        replace(tag.insert, tag.insert,
                " " + pos::ATTR_STATUS.toStdString() + "=" + tag.addQuote + word + tag.addQuote);
    else if (*value != word)
        replace(tag.status.value.begin, tag.status.value.end, word);
}

void span_editor_t::goal(pos::goal_record_t const& goal) {
    if (!goal.hasSpans)
        throw not_by_spans_t{};
    std::vector<pos::mechanism_record_t> mechanisms(goal.mechanisms.begin(), goal.mechanisms.end());
    pos::goal_record_t after = goal;
    std::string status;
    const auto word = [](pos::status_t s) { return pos::strOfProofStatus(s).toStdString(); };
    if (request_.op == edit_op_t::unprove) {
        status = word(pos::unprovedStatus(goal));
        setStatus(goal.tag, goal.status, status);
        after.status = status;
        static const std::string unproved = pos::ATTR_VALUE_UNPROVED.toStdString();
        for (std::size_t i = 0; i < mechanisms.size(); ++i) {
            setStatus(mechanisms[i].tag, mechanisms[i].status, unproved);
            mechanisms[i].status = unproved;
        }
    } else {
        const std::size_t index = pos::mechanismToRemove(goal, request_.mechanism);
        if (index != pos::NO_MECHANISM) {
            pos::mechanism_record_t const& m = mechanisms[index];
            // Text beside it would be joined to its neighbour's in the file,
            // and the DOM keeps the two apart.
            if (m.textBefore || m.textAfter)
                throw not_by_spans_t{};
            if (const auto s = pos::statusAfterRemoval(goal, index)) {
                status = word(*s);
                setStatus(goal.tag, goal.status, status);
                after.status = status;
            }
            replace(m.blanks, m.element.end, {});
            mechanisms.erase(mechanisms.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }
    after.mechanisms = {mechanisms.data(), mechanisms.size()};
    expected_.goal(after);
}

bool span_editor_t::finish() {
    copyTo(UINT64_MAX);
    return !failed_ && std::fflush(out_) == 0 && !std::ferror(out_);
}
