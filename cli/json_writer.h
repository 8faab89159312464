// Appending JSON pieces to a std::string: strings (escaped, always valid
// UTF-8), integers and hex, with no locale and no streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qel::cli {

// `text` as a JSON string, quotes included. Control characters become
// \n, \t, \r, \b, \f or \u00xx; `"` and `\` are escaped; '/' and non-ASCII
// are kept; octets that are not well-formed UTF-8 become U+FFFD.
void append_json_string(std::string& out, std::string_view text);

// Decimal text of a number.
void append_uint(std::string& out, uint64_t value);
void append_int(std::string& out, int64_t value);

// Lowercase hex of the octets, without quotes.
void append_hex(std::string& out, std::span<const uint8_t> octets);
// The same between quotes.
inline void append_hex_string(std::string& out, std::span<const uint8_t> octets) {
  out.push_back('"');
  append_hex(out, octets);
  out.push_back('"');
}

// Length of the well-formed UTF-8 sequence at the start of `text`
// (shortest form, no surrogates, at most U+10FFFF); 0 when it is not one.
size_t utf8_sequence_length(std::string_view text);

}  // namespace qel::cli
