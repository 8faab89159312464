// Certification requests: the fixtures decode and encode back byte for byte,
// or are refused.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qelcert.h"

using namespace qel;

namespace {

TEST(CertificationRequest, FixturesDecodeEncodeOrAreRefused) {
  const struct {
    const char* file;
    int32_t err;         // last code stored by the request's decoder
    int32_t attributes;  // count, -1 when the request is refused
    int32_t info_err;    // decoding the request info alone
    int32_t info_attributes;
  } cases[] = {
      {"req_empty_attrs.der", 0, 0, 0, 0},  // A0 00 decodes and encodes again
      {"req_attrs.der", 0, 2, 0, 2},
      {"req_no_attrs_element.der", ASN_FIELD_FAILED, -1, ASN_FIELD_FAILED, -1},
      // The second value of an attribute ends the list with one attribute;
      // the request then meets it where its signature algorithm should be.
      {"req_two_values.der", ASN_LEFTOVER, -1, ASN_LEFTOVER, 1},
      // 32 attributes are kept, the 33rd is left unread.
      {"req_33_attrs.der", ASN_LEFTOVER, -1, ASN_LEFTOVER, 32},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    std::ifstream in(std::string(QEL_TEST_DATA) + "/names/" + c.file, std::ios::binary);
    const std::vector<uint8_t> der{std::istreambuf_iterator<char>(in), {}};
    const uint8_t* end = der.data() + der.size();
    const uint8_t* pos = der.data();
    int32_t err = 0;
    CertificationRequest* req = _unpack_CertificationRequest(&pos, end, 0x30, &err);
    EXPECT_EQ(err, c.err);
    ASSERT_EQ(req != nullptr, c.attributes >= 0);
    if (req != nullptr) {
      EXPECT_EQ(req->certificationRequestInfo.attributes.count, c.attributes);
      std::vector<uint8_t> out(static_cast<size_t>(sizeof_CertificationRequest(req, 1)));
      uint8_t* at = out.data();
      err = 0;
      _pack_CertificationRequest(&at, req, 0x30, &err);
      EXPECT_EQ(err, 0);
      EXPECT_EQ(out, der);
      drop_CertificationRequest(req);
    }
    pos = der.data() + 1;
    get_lth(&pos, end);  // step inside the outer sequence
    err = 0;
    CertificationRequestInfo* info = _unpack_CertificationRequestInfo(&pos, end, 0x30, &err);
    EXPECT_EQ(err, c.info_err);
    ASSERT_EQ(info != nullptr, c.info_attributes >= 0);
    if (info == nullptr) continue;
    EXPECT_EQ(get_int_val(&info->version), 0);
    ASSERT_EQ(info->attributes.count, c.info_attributes);
    for (int32_t i = 0; i < c.info_attributes; ++i)
      EXPECT_EQ(info->attributes.items[i]->values.count, 1);
    drop_CertificationRequestInfo(info);
  }
}

}  // namespace
