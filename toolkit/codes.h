// Result codes of the toolkit functions and their texts. These are small
// non-negative numbers, a different set from the negative codes of the
// runtime's result word.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
namespace qel {

enum : int32_t {
  TC_SUCCESS = 0,
  TC_UNKNOWN = 1,
  TC_INVALID_ARGUMENTS = 2,
  TC_PARSE_ITEM = 3,
  TC_MEMORY = 4,
  TC_ISSUER_NOT_FOUND = 5,
  TC_INVALID_SIGNATURE = 6,
  TC_INVALID_DATE = 7,
  TC_INVALID_EXTENSION = 8,
  TC_UNHANDLED_CRITICAL = 9,
  TC_PARSE_DNAME = 10,
  TC_CERT_NOT_FOUND = 11,
  TC_ALT_SUBJECT = 12,
  TC_ALT_ISSUER = 13,
  TC_DUPLICATE_ITEM = 14,
  TC_CERT_REVOKED = 15,
  TC_CRL_NOT_FOUND = 16,
  TC_LDAP_UNAVAILABLE = 17,
  TC_FILE_NOT_FOUND = 18,
  TC_INVALID_KEY_USAGE = 19,
};

// One row of the message table: the text, zero-padded, and a word that is 1
// for the rows of real codes other than 0. Nothing reads the word.
struct err_row {
  char text[80];
  int32_t word;
};

// Indexed by result code. Row 20 is empty and closes the table.
inline constexpr int32_t ERR2STR2_ROWS = 21;
extern const err_row err2str2[ERR2STR2_ROWS];

// Text of a result code, owned by the table. Null for TC_SUCCESS, and null
// for any code above 20, which has no row.
const char* CharErr(unsigned code);

}  // namespace qel
#pragma GCC visibility pop
