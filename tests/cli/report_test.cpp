// The certificate report: whole runs against golden outputs made by
// make_golden.py, and the report's handling of fields no encoder writes.
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qelcert.h"
#include "run_tool.h"
#include "tool/report.h"

using namespace qel;

namespace {

namespace fs = std::filesystem;

std::string slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(Report, GoldenOutputs) {
  const fs::path golden = fs::path(QEL_TEST_DATA) / ".." / "cli" / "golden";
  int seen = 0;
  for (const auto& entry : fs::directory_iterator(golden)) {
    const std::string name = entry.path().stem().string();
    SCOPED_TRACE(name);
    const fs::path der = name == "sample" ? fs::path(QEL_TEST_DATA) / "sample.der"
                                          : fs::path(QEL_TEST_DATA) / "certs" / (name + ".der");
    ASSERT_TRUE(fs::exists(der));
    EXPECT_EQ(qel_test::run_tool(QEL_TOOL_PATH, {"-f", der.string()}, 0, false),
              (qel_test::Outcome{slurp(entry.path()), "", 0}));
    ++seen;
  }
  EXPECT_GE(seen, 8);
}

std::string print_buf(const std::vector<uint8_t>& bytes) {
  testing::internal::CaptureStdout();
  PrintBuf(bytes.empty() ? nullptr : bytes.data(), static_cast<uint32_t>(bytes.size()));
  return testing::internal::GetCapturedStdout();
}

TEST(Report, PrintBufLines) {
  std::vector<uint8_t> sixteen(16);
  for (size_t i = 0; i < sixteen.size(); ++i) sixteen[i] = static_cast<uint8_t>(i * 17);
  const std::string line1 = "  00  11  22  33  44  55  66  77\n";
  const std::string line2 = "  88  99  aa  bb  cc  dd  ee  ff\n";
  EXPECT_EQ(print_buf({}), "\n");
  EXPECT_EQ(print_buf({0x0a}), "  0a\n\n");
  EXPECT_EQ(print_buf({sixteen.begin(), sixteen.begin() + 8}), line1 + "\n");
  EXPECT_EQ(print_buf({sixteen.begin(), sixteen.begin() + 9}), line1 + "  88\n\n");
  EXPECT_EQ(print_buf(sixteen), line1 + line2 + "\n");
  testing::internal::CaptureStdout();
  PrintBuf(nullptr, 5);  // no bytes to show: only the empty line
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n");
}

TEST(Report, AlgorithmRows) {
  const std::vector<uint8_t> rsa(RSAoid, RSAoid + 9);
  auto with_last = [&](uint8_t last) {
    auto v = rsa;
    v.back() = last;
    return v;
  };
  auto longer = rsa;
  longer.push_back(0);
  const struct {
    const char* fault;
    std::vector<uint8_t> oid;
    int32_t code, row;
  } cases[] = {
      {"RSA", rsa, 0x2400, 1},
      {"MD2 with RSA", with_last(2), 0x8001, 2},
      {"MD5 with RSA", with_last(4), 0x8003, 3},
      {"SHA-1 with RSA", with_last(5), 0x8004, 4},
      {"SHA-256 with RSA has no row", with_last(11), 0, 0},
      {"leading piece of a row", {rsa.begin(), rsa.end() - 1}, 0, 0},
      {"row with a byte behind it", longer, 0, 0},
      {"empty identifier", {}, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    std::vector<uint8_t> bytes = c.oid;
    vbl_blk oid{static_cast<int32_t>(bytes.size()), bytes.empty() ? nullptr : bytes.data()};
    EXPECT_EQ(hash_alg(&oid), c.code);
    EXPECT_EQ(alg_index(&oid), c.row);
  }
  vbl_blk lost{9, nullptr};  // a length whose bytes could not be allocated
  EXPECT_EQ(alg_index(&lost), 0);
  EXPECT_STREQ(sig_alg_str[0], "Unknown");
  EXPECT_EQ(sig_alg_str[5], nullptr);
}

Certificate* load_sample() {
  const std::string der = slurp(fs::path(QEL_TEST_DATA) / "sample.der");
  const auto* start = reinterpret_cast<const uint8_t*>(der.data());
  int32_t err = 0;
  return _unpack_Certificate(&start, start + der.size(), 0x30, &err);
}

void set_bytes(vbl_blk* block, const std::string& bytes) {
  ASSERT_EQ(put_str_val(block, reinterpret_cast<const uint8_t*>(bytes.data()),
                        static_cast<uint32_t>(bytes.size())), 0);
}

char* no_time_text(const time_t*) { return nullptr; }

// Fields a decoder leaves after a failed allocation, or that no encoder
// writes, each changed in a decoded sample; the report must show the line
// given and nothing may be read that isn't there.
TEST(Report, FieldsWithoutTheirBytes) {
  const struct {
    const char* fault;
    void (*change)(Certificate*);
    const char* line;
  } cases[] = {
      {"serial of length 0",
       [](Certificate* c) { set_bytes(&c->tbsCertificate.serialNumber, ""); }, "SERIAL NUMBER: 0\n"},
      {"serial of 5 bytes with a leading zero",
       [](Certificate* c) { set_bytes(&c->tbsCertificate.serialNumber, std::string("\0\xab\xcd\xef\x01", 5)); },
       "SERIAL NUMBER: 00abcdef01\n"},
      {"serial of 9 bytes without bytes",
       [](Certificate* c) {
         dip_vbl_blk(&c->tbsCertificate.serialNumber);
         c->tbsCertificate.serialNumber.length = 9;
       },
       "SERIAL NUMBER: 0\n"},
      {"NULL parameters",
       [](Certificate* c) {
         c->signatureAlgorithm.parameters = new_vbl_blk();
         set_bytes(c->signatureAlgorithm.parameters, std::string("\x05\x00", 2));
       },
       "PARAM : len = 0\n\nPUBKEY"},
      {"parameters with a length and no bytes",
       [](Certificate* c) {
         c->signatureAlgorithm.parameters = new_vbl_blk();
         c->signatureAlgorithm.parameters->length = 2;
       },
       "PARAM : len = 0\n\nPUBKEY"},
      {"parameters other than NULL are shown whole",
       [](Certificate* c) {
         c->signatureAlgorithm.parameters = new_vbl_blk();
         set_bytes(c->signatureAlgorithm.parameters, std::string("\x04\x01\x05", 3));
       },
       "PARAM : len = 3\n  04  01  05\n\nPUBKEY"},
      {"public key without bytes",
       [](Certificate* c) {
         dip_BIT_STRING(&c->tbsCertificate.subjectPublicKeyInfo.subjectPublicKey);
         c->tbsCertificate.subjectPublicKeyInfo.subjectPublicKey.length = 65;
       },
       "PUBKEY: len = 0\n\nKEY ALG"},
      {"validity date without its value",
       [](Certificate* c) {
         drop_vbl_blk(static_cast<vbl_blk*>(c->tbsCertificate.validity.notBefore.value));
         c->tbsCertificate.validity.notBefore.value = nullptr;
       },
       "NOTBEFORE: Thu Jan  1 00:00:00 1970\n\n"},
      {"validity date its decoder refuses",
       [](Certificate* c) {
         set_bytes(static_cast<vbl_blk*>(c->tbsCertificate.validity.notBefore.value), "2401010000");
       },
       "NOTBEFORE: Thu Jan  1 00:00:00 1970\n\n"},
      {"validity date of neither time type",
       [](Certificate* c) {
         drop_vbl_blk(static_cast<vbl_blk*>(c->tbsCertificate.validity.notAfter.value));
         c->tbsCertificate.validity.notAfter = CertificateValidityDate{};
       },
       "NOTAFTER: Thu Jan  1 00:00:00 1970\n\n"},
      {"first second past the signed 32-bit range",
       [](Certificate* c) {
         set_bytes(static_cast<vbl_blk*>(c->tbsCertificate.validity.notBefore.value), "380119031408Z");
       },
       "NOTBEFORE: Tue Jan 19 03:14:08 2038\n\n"},
      {"last second of the unsigned 32-bit count",
       [](Certificate* c) {
         c->tbsCertificate.validity.notAfter.tag = 0x18;
         set_bytes(static_cast<vbl_blk*>(c->tbsCertificate.validity.notAfter.value), "21060207062815Z");
       },
       "NOTAFTER: Sun Feb  7 06:28:15 2106\n\n"},
      {"no time text", [](Certificate*) { report_ctime = no_time_text; },
       "NOTBEFORE: (null)\n\nNOTAFTER: (null)\n\nSIG ALG"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    Certificate* cert = load_sample();
    ASSERT_NE(cert, nullptr);
    c.change(cert);
    testing::internal::CaptureStdout();
    dump_cert(cert);
    const std::string out = testing::internal::GetCapturedStdout();
    report_ctime = std::ctime;
    EXPECT_NE(out.find(c.line), std::string::npos) << out;
    EXPECT_EQ(out.substr(0, 11), "VERSION: 2\n");
    EXPECT_EQ(out.substr(out.size() - 2), "\n\n");
    drop_Certificate(cert);
  }
}

// A name without its value can't be written: the report gives up with its
// message, and nothing of the report comes before it.
TEST(ReportDeathTest, NameWithoutValueEndsTheRun) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const struct {
    const char* fault;
    bool issuer;
    const char* message;
  } cases[] = {
      {"issuer", true, "^Error extracting issuer distinguished name from certificate\\.\n$"},
      {"subject", false, "^Error extracting subject distinguished name from certificate\\.\n$"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    Certificate* cert = load_sample();
    Name& name = c.issuer ? cert->tbsCertificate.issuer : cert->tbsCertificate.subject;
    drop_RDNSequence(static_cast<RDNSequence*>(name.value));
    name.value = nullptr;
    EXPECT_EXIT(
        {
          std::fflush(stdout);
          dup2(2, 1);
          dump_cert(cert);
        },
        testing::ExitedWithCode(0), c.message);
    drop_Certificate(cert);
  }
}

}  // namespace
