// Editing a PO file by the byte spans that the scanner reports: what the
// operation changes is changed in place, everything else is copied as it
// stands, one goal at a time. The edit reads no XML itself: where a value
// stands, and what a goal holds, is the scanner's answer.
#ifndef POMAINT_SPAN_EDIT_H
#define POMAINT_SPAN_EDIT_H

#include "pos/pos.h"

#include <QCryptographicHash>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

enum class edit_op_t { unprove, remove_mechanism };

struct edit_request_t {
    edit_op_t op = edit_op_t::unprove;
    std::string mechanism; // remove_mechanism's name, UTF-8
};

// Thrown while reading when the file cannot be edited by spans: the scanner
// gave up on it (the goals come again from the DOM reader's parser), or text
// stands beside a mechanism to remove. The file then goes through the DOM.
struct not_by_spans_t {};

// The goal records of a file, hashed in order, lines aside (an edit moves
// them): two files that hash alike hold the same goals for every rule.
class record_digest_t : public pos::goal_consumer_t {
public:
    // The scanner gave up: throws not_by_spans_t.
    void restart() override;
    void goal(pos::goal_record_t const& goal) override;
    void endObligation(pos::obligation_record_t const& obligation) override;
    QByteArray result() const { return hash_.result(); }

private:
    // A check against mistakes, not against forgery: MD5 is enough.
    QCryptographicHash hash_{QCryptographicHash::Md5};
    std::string fields_;
};

// Takes the goals of `original` (the file being read, at its start) and
// writes the edited file to `out`. Hashes, as its digest, the records that
// the edited file must hold: the operation applied to each goal.
class span_editor_t : public record_digest_t {
public:
    span_editor_t(std::FILE* original, std::FILE* out, edit_request_t const& request);
    void goal(pos::goal_record_t const& goal) override;
    // Copies what follows the last goal; false when a read or write failed.
    bool finish();
    bool changed() const { return changed_; }
    QByteArray expected() const { return result(); }

private:
    void setStatus(pos::tag_span_t const& tag, pos::attr_t& value, std::string const& word);
    void replace(std::uint64_t begin, std::uint64_t end, std::string_view text);
    void copyTo(std::uint64_t offset, bool skip);

    std::FILE* in_;
    std::FILE* out_;
    edit_request_t request_;
    std::uint64_t at_ = 0; // bytes of the original consumed
    bool changed_ = false, failed_ = false;
    const std::string statusName_ = pos::ATTR_STATUS.toStdString();
};

#endif
