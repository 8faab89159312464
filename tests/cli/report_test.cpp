// The certificate report: whole runs against golden outputs made by
// make_golden.py, and the report's handling of fields no encoder writes.
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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
    EXPECT_EQ(qel_test::run_tool(QEL_TOOL_PATH, {"-f", der.string()}, false),
              (qel_test::Outcome{slurp(entry.path()), "", 0}));
    ++seen;
  }
  EXPECT_GE(seen, 8);
}

TEST(Report, AlgorithmRows) {
  const std::string rsa(reinterpret_cast<const char*>(RSAoid), 9), base = rsa.substr(0, 8);
  const struct {
    const char* fault;
    std::string oid;
    int32_t code, row;
  } cases[] = {
      {"RSA", rsa, 0x2400, 1},           {"MD2 with RSA", base + '\x02', 0x8001, 2},
      {"MD5 with RSA", base + '\x04', 0x8003, 3}, {"SHA-1 with RSA", base + '\x05', 0x8004, 4},
      {"no row", base + '\x0b', 0, 0},  {"leading piece of a row", base, 0, 0},
      {"row and a byte more", rsa + '\x00', 0, 0}, {"empty", "", 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    std::string bytes = c.oid;
    vbl_blk oid{static_cast<int32_t>(bytes.size()), reinterpret_cast<uint8_t*>(bytes.data())};
    EXPECT_EQ(hash_alg(&oid), c.code);
    EXPECT_EQ(alg_index(&oid), c.row);
  }
  vbl_blk lost{9, nullptr};  // a length whose bytes could not be allocated
  EXPECT_EQ(alg_index(&lost), 0);
}

Certificate* load_sample() {
  const std::string der = slurp(fs::path(QEL_TEST_DATA) / "sample.der");
  const auto* start = reinterpret_cast<const uint8_t*>(der.data());
  int32_t err = 0;
  return _unpack_Certificate(&start, start + der.size(), 0x30, &err);
}

void set(vbl_blk* block, const std::string& bytes) {
  ASSERT_EQ(put_str_val(block, reinterpret_cast<const uint8_t*>(bytes.data()), uint32_t(bytes.size())), 0);
}
vbl_blk* date(CertificateValidityDate& d) { return static_cast<vbl_blk*>(d.value); }
vbl_blk* fresh_parameters(Certificate* c) { return c->signatureAlgorithm.parameters = new_vbl_blk(); }
char* no_time_text(const time_t*) { return nullptr; }

// Fields as a failed allocation leaves them, or as no encoder writes them,
// each put into a decoded sample: the report shows the line given and reads
// nothing that isn't there. (What encoders do write, the golden outputs show.)
TEST(Report, FieldsWithoutTheirBytes) {
  const struct {
    const char* fault;
    void (*change)(Certificate*, TBSCertificate&);
    const char* line;
  } cases[] = {
      {"serial of length 0", [](Certificate*, TBSCertificate& t) { set(&t.serialNumber, ""); }, "SERIAL NUMBER: 0\n"},
      {"serial of 9 bytes without bytes",
       [](Certificate*, TBSCertificate& t) { dip_vbl_blk(&t.serialNumber), t.serialNumber.length = 9; }, "SERIAL NUMBER: 0\n"},
      {"parameters without bytes", [](Certificate* c, TBSCertificate&) { fresh_parameters(c)->length = 2; },
       "PARAM : len = 0\n\nPUBKEY"},
      {"public key without bytes",
       [](Certificate*, TBSCertificate& t) {
         dip_BIT_STRING(&t.subjectPublicKeyInfo.subjectPublicKey), t.subjectPublicKeyInfo.subjectPublicKey.length = 65;
       },
       "PUBKEY: len = 0\n\nKEY ALG"},
      {"date without its value",
       [](Certificate*, TBSCertificate& t) { drop_vbl_blk(date(t.validity.notBefore)), t.validity.notBefore.value = nullptr; },
       "NOTBEFORE: Thu Jan  1 00:00:00 1970\n\n"},
      {"date its decoder refuses", [](Certificate*, TBSCertificate& t) { set(date(t.validity.notBefore), "2401010000"); },
       "NOTBEFORE: Thu Jan  1 00:00:00 1970\n\n"},
      {"date of neither time type",
       [](Certificate*, TBSCertificate& t) { drop_vbl_blk(date(t.validity.notAfter)), t.validity.notAfter = {}; },
       "NOTAFTER: Thu Jan  1 00:00:00 1970\n\n"},
      {"last second of the unsigned count",
       [](Certificate*, TBSCertificate& t) { t.validity.notAfter.tag = 0x18, set(date(t.validity.notAfter), "21060207062815Z"); },
       "NOTAFTER: Sun Feb  7 06:28:15 2106\n\n"},
      {"no time text", [](Certificate*, TBSCertificate&) { report_ctime = no_time_text; },
       "NOTBEFORE: (null)\n\nNOTAFTER: (null)\n\nSIG ALG"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    Certificate* cert = load_sample();
    ASSERT_NE(cert, nullptr);
    c.change(cert, cert->tbsCertificate);
    testing::internal::CaptureStdout();
    dump_cert(cert);
    const std::string out = testing::internal::GetCapturedStdout();
    report_ctime = std::ctime;
    EXPECT_NE(out.find(c.line), std::string::npos) << out;
    EXPECT_TRUE(out.starts_with("VERSION: 2\n") && out.ends_with("\n\n")) << out;
    drop_Certificate(cert);
  }
}

// A name without its value can't be written: the report gives up with its
// message, and nothing of the report comes before it.
TEST(ReportDeathTest, NameWithoutValueEndsTheRun) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const bool issuer : {true, false}) {
    Certificate* cert = load_sample();
    Name& name = issuer ? cert->tbsCertificate.issuer : cert->tbsCertificate.subject;
    drop_RDNSequence(static_cast<RDNSequence*>(name.value));
    name.value = nullptr;
    const std::string message = std::string("^Error extracting ") + (issuer ? "issuer" : "subject") +
                                " distinguished name from certificate\\.\n$";
    EXPECT_EXIT((std::fflush(stdout), dup2(2, 1), dump_cert(cert)), testing::ExitedWithCode(0), message);
    drop_Certificate(cert);
  }
}

}  // namespace
