// Certification requests: decoding the fixtures and encoding them back.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qelcert.h"

using namespace qel;

namespace {

std::vector<uint8_t> read_fixture(const std::string& file) {
  std::ifstream in(std::string(QEL_TEST_DATA) + "/names/" + file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(CertificationRequest, FixturesDecodeAndEncodeBack) {
  const struct {
    const char* file;
    bool decodes;
    int32_t attributes;  // count when decoded
    int32_t err;         // last code stored
  } cases[] = {
      {"req_empty_attrs.der", true, 0, 0},
      {"req_attrs.der", true, 2, 0},
      {"req_no_attrs_element.der", false, 0, ASN_FIELD_FAILED},
      // The second value stays unread inside the attribute, the request info
      // closes short of its end, and the signature algorithm is not found.
      {"req_two_values.der", false, 0, ASN_LEFTOVER},
      // The 33rd attribute is left unread and met as the signature algorithm.
      {"req_33_attrs.der", false, 0, ASN_LEFTOVER},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const std::vector<uint8_t> der = read_fixture(c.file);
    ASSERT_FALSE(der.empty());
    const uint8_t* pos = der.data();
    int32_t err = 0;
    CertificationRequest* req = _unpack_CertificationRequest(&pos, der.data() + der.size(), 0x30, &err);
    EXPECT_EQ(err, c.err);
    ASSERT_EQ(req != nullptr, c.decodes);
    if (req == nullptr) continue;
    EXPECT_EQ(req->certificationRequestInfo.attributes.count, c.attributes);
    EXPECT_EQ(pos, der.data() + der.size());
    std::vector<uint8_t> out(static_cast<size_t>(sizeof_CertificationRequest(req, 1)));
    uint8_t* at = out.data();
    err = 0;
    _pack_CertificationRequest(&at, req, 0x30, &err);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(out, der);
    drop_CertificationRequest(req);
  }
}

// The request info alone of the fixtures that stop reading attributes early:
// what was read is kept, and the leftovers are reported.
TEST(CertificationRequest, AttributesStopEarly) {
  const struct {
    const char* file;
    int32_t attributes;
  } cases[] = {
      {"req_two_values.der", 1},  // the second value ends the attribute list
      {"req_33_attrs.der", 32},   // the list holds 32
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const std::vector<uint8_t> der = read_fixture(c.file);
    ASSERT_FALSE(der.empty());
    const uint8_t* pos = der.data() + 1;
    get_lth(&pos, der.data() + der.size());  // step inside the outer sequence
    int32_t err = 0;
    CertificationRequestInfo* info =
        _unpack_CertificationRequestInfo(&pos, der.data() + der.size(), 0x30, &err);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(err, ASN_LEFTOVER);
    ASSERT_EQ(info->attributes.count, c.attributes);
    EXPECT_EQ(info->attributes.items[0]->values.count, 1);
    EXPECT_EQ(get_int_val(&info->version), 0);
    drop_CertificationRequestInfo(info);
  }
}

}  // namespace
