// What the views answer over bad DER: which code and where, worked out by
// hand from the octets of each row. Good DER is compared with Python
// cryptography's answers by tests/cli/compare_json.py.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/helpers.h"
#include "view/view.h"

namespace {

using qel::tst::read_file;

std::vector<uint8_t> hex(std::string_view text) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    while (text[i] == ' ') ++i;
    out.push_back(static_cast<uint8_t>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
  }
  return out;
}

// An extension list holding one extension of `oid` (hex content) and `value`.
std::vector<uint8_t> one_extension(const std::string& oid, const std::string& value) {
  const auto octet = [](size_t n) {
    const auto b = static_cast<uint8_t>(n);
    return qel::hex_text({&b, 1});
  };
  const size_t o = oid.size() / 2, v = value.size() / 2, n = o + v + 4;
  std::string text = "30";
  for (const std::string& piece : {octet(n + 2), std::string("30"), octet(n), std::string("06"), octet(o), oid,
                                   std::string("04"), octet(v), value})
    text += piece;
  return hex(text);
}

struct Row {
  const char* what;
  std::string oid, value;
  int status;  // 0 absent, 1 present, 2 malformed
  int32_t code;
  size_t offset;  // the value starts at 11 for a three-octet OID
};

TEST(Views, ExtensionValues) {
  const Row rows[] = {
      {"SAN with no such choice", "551d11", "3003890141", 2, qel::ASN_BAD_CHOICE, 13},
      {"SAN cut off", "551d11", "30058201", 2, qel::ASN_OVERRUN, 11},
      {"pathLen below zero", "551d13", "30060101ff0201ff", 2, qel::ASN_FIELD_FAILED, 11},
      {"CA with pathLen 3", "551d13", "30060101ff020103", 1, 0, 0},
      {"SKI with an octet after it", "551d0e", "0401aa00", 2, qel::ASN_LEFTOVER, 14},
      {"key usage of 9 bits", "551d0f", "030307a080", 1, 0, 0},
      {"key usage, unused bits 8", "551d0f", "030208a0", 2, qel::ASN_FIELD_FAILED, 11},
      {"DP naming the issuer's RDN only", "551d1f", "300b3009a007a1053003060155", 1, 0, 0},
      {"DP with a bad choice", "551d1f", "30073005a003a20100", 2, qel::ASN_BAD_CHOICE, 17},
      {"policies with a stray octet", "551d20", "3008300506032a030405", 2, qel::ASN_FIELD_FAILED, 20},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const auto der = one_extension(row.oid, row.value);
    const qel::ExtensionsView ext(der);
    const auto all = ext.all();
    ASSERT_TRUE(all.present());
    const auto check = [&](const auto& f) {
      EXPECT_EQ(static_cast<int>(f.status), row.status);
      if (f.malformed()) {
        EXPECT_EQ(f.error.code, row.code);
        EXPECT_EQ(f.error.offset, row.offset);
      }
      EXPECT_EQ(qel::ExtensionsView::decodes(all.value[0]), row.status == 1);
    };
    if (row.oid == "551d11") check(ext.subject_alt_names());
    if (row.oid == "551d13") check(ext.basic_constraints());
    if (row.oid == "551d0e") check(ext.subject_key_id());
    if (row.oid == "551d0f") check(ext.key_usage());
    if (row.oid == "551d1f") check(ext.crl_distribution_points());
    if (row.oid == "551d20") check(ext.policies());
  }
  EXPECT_EQ(qel::ExtensionsView(one_extension("551d0f", "030307a080")).key_usage().value,
            qel::KU_DIGITAL_SIGNATURE | qel::KU_KEY_ENCIPHERMENT | qel::KU_DECIPHER_ONLY);
  // A BOOLEAN of two octets spoils the list, and every answer says so.
  const auto bad = hex("300d300b0603551d1301020000 0400");
  EXPECT_EQ(qel::ExtensionsView(bad).all().error.code, qel::ASN_BAD_BOOLEAN);
  EXPECT_EQ(qel::ExtensionsView(bad).basic_constraints().error.offset, 9u);
}

TEST(Views, Times) {
  const struct {
    uint8_t tag;
    const char* text;
    const char* expected;  // empty: not a time
  } rows[] = {
      {0x17, "491231235959Z", "2049-12-31T23:59:59Z"}, {0x17, "500101000000Z", "1950-01-01T00:00:00Z"},
      {0x18, "20240229120000Z", "2024-02-29T12:00:00Z"}, {0x18, "21000229120000Z", ""},
      {0x18, "00010101000000Z", "0001-01-01T00:00:00Z"}, {0x17, "4912312359Z", ""},
      {0x17, "491231235960Z", ""}, {0x18, "20240229120000+0100", ""}, {0x17, "49123123595 Z", ""},
  };
  for (const auto& row : rows) {
    const std::string_view text(row.text);
    const auto t = qel::decode_time(row.tag, qel::bytes_view(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
    EXPECT_EQ(t ? qel::time_text(*t) : "", row.expected) << row.text;
  }
}

// UTF-8 with its faults replaced, as Python's bytes.decode("utf-8",
// "replace") writes it.
TEST(Views, Utf8Replacement) {
  const std::pair<const char*, const char*> rows[] = {
      {"41e282", "41efbfbd"},
      {"e08080", "efbfbdefbfbdefbfbd"},
      {"eda080", "efbfbdefbfbdefbfbd"},
      {"f4908080", "efbfbdefbfbdefbfbdefbfbd"},
      {"c0af41", "efbfbdefbfbd41"},
      {"f09f9880", "f09f9880"},
      {"ff41", "efbfbd41"},
      {"e2828241", "e2828241"},
  };
  for (const auto& [in, expected] : rows) {
    const auto octets = hex(in);
    qel::NameAttribute a;
    a.tag = 0x0C;
    a.value = octets;
    const std::string text = a.text();
    EXPECT_EQ(qel::hex_text(qel::bytes_view(reinterpret_cast<const uint8_t*>(text.data()), text.size())),
              expected)
        << in;
  }
}

TEST(Views, CutCertificateAndList) {
  const auto cert = read_file(std::string(QEL_TEST_DATA) + "/sample.der");
  for (size_t cut : {size_t{0}, size_t{1}, cert.size() / 2, cert.size() - 1}) {
    const qel::CertificateView view(qel::bytes_view(cert.data(), cut));
    EXPECT_EQ(view.error().code, cut == 0 ? qel::ASN_FIELD_FAILED : qel::ASN_OVERRUN) << cut;
    EXPECT_EQ(view.error().offset, 0u);
  }
  auto crl = read_file(std::string(QEL_TEST_DATA) + "/families/crl/v2_100_entries.der");
  // The 40th entry's serial INTEGER becomes an OCTET STRING: 39 entries come,
  // then the range stops and says where.
  const qel::CrlView view(crl);
  size_t count = 0, offset = 0;
  for (const auto& entry : view.revoked()) offset = ++count == 40 ? entry.offset : offset;
  ASSERT_EQ(count, 100u);
  crl[offset + 2] = 0x04;
  const qel::CrlView spoiled(crl);
  const auto range = spoiled.revoked();
  count = 0;
  for (const auto& entry : range) count += entry.serial.empty() ? 0 : 1;
  EXPECT_EQ(count, 39u);
  EXPECT_EQ(range.error().code, qel::ASN_FIELD_FAILED);
  EXPECT_EQ(range.error().offset, offset + 2);
}

}  // namespace
