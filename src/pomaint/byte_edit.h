// Editing a PO file byte by byte: everything the edit does not change is
// copied as it stands, one goal held in memory at a time.
#ifndef POMAINT_BYTE_EDIT_H
#define POMAINT_BYTE_EDIT_H

#include <cstdio>
#include <string>

enum class edit_op_t { unprove, remove_mechanism };

struct edit_request_t {
    edit_op_t op = edit_op_t::unprove;
    std::string mechanism; // remove_mechanism's name, UTF-8
};

enum class byte_edit_t {
    unchanged, // `out` holds the input's bytes
    changed,   // `out` holds the edited bytes
    refused,   // the input holds something this editor cannot vouch for; `out`
               // holds a part of the output, to be thrown away
};

// Copies the PO document read from `in` to `out`, changing what the request's
// operation changes: an attribute value in place (same quotes), a "status"
// attribute added at the end of a start tag, a removed mechanism taken out
// with the blanks before it. The result, loaded by the DOM reader, is the
// operation applied to the DOM reader's load of the input.
// Refused: anything outside plain, well-formed UTF-8 or declared ISO-8859-1
// XML without DOCTYPE, CDATA section or processing instruction; a status
// value outside the vocabulary; a goal whose new status the expected-status
// rule cannot decide; text beside a mechanism to remove.
byte_edit_t editBytes(std::FILE* in, std::FILE* out, edit_request_t const& request);

#endif
