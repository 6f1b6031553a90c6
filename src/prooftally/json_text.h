// JSON text written by hand, one piece at a time, byte for byte as Qt's JSON
// writer gives it in compact form: reports are written as they are collected
// and need no document in memory.
#ifndef JSON_TEXT_H
#define JSON_TEXT_H

#include <string>
#include <string_view>

// `bytes` (UTF-8) as a JSON string: quotes, backslashes and control
// characters escaped; what Qt would not take as UTF-8 (invalid sequences, a
// leading byte order mark) as Qt reads it.
void append_json_string(std::string& out, std::string_view bytes);

void append_json_number(std::string& out, long long value);

// `"key":`, the key being plain ASCII.
inline void append_json_key(std::string& out, char const* key) {
    out += '"';
    out += key;
    out += "\":";
}

#endif
