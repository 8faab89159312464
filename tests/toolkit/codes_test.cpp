#include "toolkit/codes.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

TEST(CharErr, TextsAndRows) {
  const struct { unsigned code; const char* text; } cases[] = {  // null text: none
      {qel::TC_SUCCESS, nullptr},
      {qel::TC_PARSE_ITEM, "error parsing item, ignoring:"},
      {qel::TC_CRL_NOT_FOUND,
       "certificate revocation list not found in verification chain, ignoring:"},
      {qel::TC_FILE_NOT_FOUND, "file not found:"},
      {qel::TC_INVALID_KEY_USAGE, "invalid key usage, ignoring:"},
      {20, ""},  // the closing row
      {21, nullptr},
      {UINT_MAX, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    const char* text = qel::CharErr(c.code);
    if (c.text == nullptr) {
      EXPECT_EQ(text, nullptr);
      continue;
    }
    EXPECT_STREQ(text, c.text);
    EXPECT_EQ(static_cast<const void*>(text), static_cast<const void*>(&qel::err2str2[c.code]));
  }
  for (int code = 0; code < qel::ERR2STR2_ROWS; ++code)
    EXPECT_EQ(qel::err2str2[code].word, code == 0 || code == 20 ? 0 : 1) << code;
}

}  // namespace
