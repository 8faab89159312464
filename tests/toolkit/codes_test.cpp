#include "toolkit/codes.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

TEST(CharErr, TextOfEveryCode) {
  struct Case {
    unsigned code;
    const char* text;
  };
  const Case cases[] = {
      {qel::TC_UNKNOWN, "unknown"},
      {qel::TC_INVALID_ARGUMENTS, "invalid arguments"},
      {qel::TC_PARSE_ITEM, "error parsing item, ignoring:"},
      {qel::TC_MEMORY, "internal memory error"},
      {qel::TC_ISSUER_NOT_FOUND, "issuing certificate not found in verification chain, ignoring:"},
      {qel::TC_INVALID_SIGNATURE, "invalid signature, ignoring:"},
      {qel::TC_INVALID_DATE, "invalid date, ignoring:"},
      {qel::TC_INVALID_EXTENSION, "invalid extension, ignoring:"},
      {qel::TC_UNHANDLED_CRITICAL, "unhandled critical extension detected, ignoring:"},
      {qel::TC_PARSE_DNAME, "error parsing distinguished name string, ignoring:"},
      {qel::TC_CERT_NOT_FOUND, "certificate not found"},
      {qel::TC_ALT_SUBJECT, "alt-subject not critical, and no subject name, ignoring:"},
      {qel::TC_ALT_ISSUER, "alt-issuer not critical, and no issuer name, ignoring:"},
      {qel::TC_DUPLICATE_ITEM, "duplicate environment item detected, ignoring:"},
      {qel::TC_CERT_REVOKED, "certificate is revoked, ignoring:"},
      {qel::TC_CRL_NOT_FOUND,
       "certificate revocation list not found in verification chain, ignoring:"},
      {qel::TC_LDAP_UNAVAILABLE, "ldap service not currently available"},
      {qel::TC_FILE_NOT_FOUND, "file not found:"},
      {qel::TC_INVALID_KEY_USAGE, "invalid key usage, ignoring:"},
      {20, ""},  // the closing row
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    const char* text = qel::CharErr(c.code);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, c.text);
    // The address of the row is the address of its text.
    EXPECT_EQ(static_cast<const void*>(text), static_cast<const void*>(&qel::err2str2[c.code]));
    EXPECT_EQ(qel::err2str2[c.code].word, c.code == 20 ? 0 : 1);
  }
}

TEST(CharErr, NullForSuccessAndCodesWithoutRow) {
  for (unsigned code : {0u, 21u, 22u, 1000u, static_cast<unsigned>(INT_MAX) + 1u, UINT_MAX}) {
    SCOPED_TRACE(code);
    EXPECT_EQ(qel::CharErr(code), nullptr);
  }
  // Row 0 still holds its text and a word of 0, though CharErr never hands it out.
  EXPECT_STREQ(qel::err2str2[0].text, "success");
  EXPECT_EQ(qel::err2str2[0].word, 0);
}

}  // namespace
