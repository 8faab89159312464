#include "toolkit/codes.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

// CharErr gives a row's text, none for a row without a word or past the table.
TEST(CharErr, TextsAndRows) {
  const struct { unsigned code; const char* text; } cases[] = {  // null text: none
      {qel::TC_SUCCESS, nullptr},
      {qel::TC_FILE_NOT_FOUND, "file not found:"},
      {qel::TC_INVALID_KEY_USAGE, "invalid key usage, ignoring:"},
      {20, ""},  // the closing row
      {21, nullptr},
      {UINT_MAX, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    const char* text = qel::CharErr(c.code);
    EXPECT_STREQ(text, c.text);
    if (c.text != nullptr) {
      EXPECT_EQ(text, qel::err2str2[c.code].text);
    }
  }
  EXPECT_EQ(qel::err2str2[qel::TC_FILE_NOT_FOUND].word, 1);
  EXPECT_EQ(qel::err2str2[20].word, 0);
}

}  // namespace
