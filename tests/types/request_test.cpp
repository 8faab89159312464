// Certification requests: the fixtures decode and encode back byte for byte,
// or are refused.
#include <gtest/gtest.h>

#include "qelcert.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

TEST(CertificationRequest, FixturesDecodeEncodeOrAreRefused) {
  const struct {
    const char* file;
    int32_t err;              // last code stored by the request's decoder
    int32_t info_err;         // decoding the request info alone
    int32_t info_attributes;  // -1 when the info is refused
  } cases[] = {
      {"req_empty_attrs", 0, 0, 0},  // A0 00 decodes and encodes again
      {"req_attrs", 0, 0, 2},
      {"req_no_attrs_element", ASN_FIELD_FAILED, ASN_FIELD_FAILED, -1},
      // The second value of an attribute ends the list with one attribute;
      // the request then meets it where its signature algorithm should be.
      {"req_two_values", ASN_LEFTOVER, ASN_LEFTOVER, 1},
      // 32 attributes are kept, the 33rd is left unread.
      {"req_33_attrs", ASN_LEFTOVER, ASN_LEFTOVER, 32},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const Bytes der = read_file(std::string("names/") + c.file + ".der");
    if (c.err == 0) {
      EXPECT_EQ(round_trip(&CertificationRequest_desc, der), "");
    }
    Decoded req = decode(&CertificationRequest_desc, der, 0x30);
    EXPECT_EQ(req.err, c.err);
    EXPECT_EQ(req.result, c.err == 0);
    engine::drop(&CertificationRequest_desc, req.record);
    // The request info alone, from inside the outer sequence.
    const uint8_t* pos = der.data() + 1;
    const uint8_t* end = der.data() + der.size();
    get_lth(&pos, end);
    int32_t err = 0;
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
}  // namespace qel::tst
