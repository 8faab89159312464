// The qeldumpcert program: command lines and whole reports run in a child
// process and compared byte for byte, the report's handling of fields no
// encoder writes, and the fingerprints.
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"
#include "tool/fingerprint.h"
#include "tool/report.h"
#include "tool/run.h"

namespace qel::tst {
namespace {

namespace fs = std::filesystem;

// Standard output, standard error, exit status.
using Outcome = std::tuple<std::string, std::string, int>;

std::string drain(int fd) {
  std::string s;
  char buf[4096];
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) s.append(buf, static_cast<size_t>(n));
  close(fd);
  return s;
}

// Runs the tool as "qeldumpcert" with `args` and TZ=UTC.
Outcome run_tool(const std::vector<std::string>& args) {
  std::vector<char*> argv{const_cast<char*>("qeldumpcert")};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) return {"", "pipe failed", -1};
  if (fork() == 0) {
    dup2(out[1], 1);
    dup2(err[1], 2);
    for (int fd : {out[0], out[1], err[0], err[1]}) close(fd);
    setenv("TZ", "UTC", 1);
    execv(QEL_TOOL_PATH, argv.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  std::string out_text = drain(out[0]), err_text = drain(err[0]);
  int status = 0;
  wait(&status);
  return {out_text, err_text, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

std::string slurp(const fs::path& path) {
  const Bytes b = read_file(path.string());
  return {b.begin(), b.end()};
}

const std::string kGolden = QEL_TEST_DATA "/../cli/golden";

TEST(Report, GoldenOutputs) {
  int seen = 0;
  for (const auto& entry : fs::directory_iterator(kGolden)) {
    const std::string name = entry.path().stem().string();
    SCOPED_TRACE(name);
    const fs::path der = fs::path(QEL_TEST_DATA) / (name == "sample" ? "sample.der" : "certs/" + name + ".der");
    ASSERT_TRUE(fs::exists(der));
    EXPECT_EQ(run_tool({"-f", der.string()}), (Outcome{slurp(entry.path()), "", 0}));
    ++seen;
  }
  EXPECT_GE(seen, 8);
}

TEST(Cli, CommandLines) {
  const std::string kUsage =
      "Usage: qeldumpcert [-f [Certificate_File]] [-p].\n"
      "\t -p: \tindicate PEM Encoded Fingerprint.\n"
      "\t -f: \tindicate the input certificate file\n";
  const std::string kUnable = "Unable to parse certificate.\n";
  const std::string kBegin = "-----BEGIN CERTIFICATE-----\n", kEnd = "-----END CERTIFICATE-----\n";
  // The sample's report, as its golden output has it between the BEGIN and
  // FINGERPRINT lines.
  const std::string golden = slurp(kGolden + "/sample.txt");
  const size_t fp_at = golden.find("FINGERPRINT: ");
  ASSERT_TRUE(golden.starts_with(kBegin) && fp_at != std::string::npos);
  const std::string sample_report = golden.substr(0, fp_at);
  std::map<std::string, std::string> fp;
  std::ifstream in(QEL_TEST_DATA "/sample_fingerprints.txt");
  for (std::string mode, text; in >> mode >> text;) fp[mode] = sample_report + "FINGERPRINT: " + text + "\n" + kEnd;
  ASSERT_EQ(fp.size(), 4u);
  const auto invalid = [](char c) { return std::string("qeldumpcert: invalid option -- '") + c + "'\n"; };
  const auto no_argument = [](char c) {
    return std::string("qeldumpcert: option requires an argument -- '") + c + "'\n";
  };
  char tmpl[] = "/tmp/qelcliXXXXXX";
  const std::string dir = mkdtemp(tmpl), sample = dir + "/sample.der", empty = dir + "/empty.der";
  const std::string trailing = dir + "/trailing.der", one_byte = dir + "/one.der";
  const std::string not_sequence = dir + "/notseq.der";
  const std::string der = slurp(QEL_TEST_DATA "/sample.der");
  for (const auto& [path, bytes] : {std::pair{sample, der}, {trailing, der + "trailer"}, {empty, ""},
                                    {one_byte, "0"}, {not_sequence, "1" + der.substr(1)}})
    std::ofstream(path, std::ios::binary) << bytes;
  const struct {
    const char* name;
    std::vector<std::string> args;
    Outcome expected;
  } cases[] = {
      {"no arguments", {}, {kUsage, "", 0}},
      {"one argument", {"-p"}, {kUsage, "", 0}},
      {"a complete option alone is one argument", {"-f" + sample}, {kUsage, "", 0}},
      {"attached path and -p", {"-f" + sample, "-p"}, {fp["pem"], "", 0}},
      {"file's bytes", {"-f", sample}, {fp["der"], "", 0}},
      {"PEM text", {"-p", "-f", sample}, {fp["pem"], "", 0}},
      {"no file: silent", {"-p", "-v"}, {"", "", 0}},
      {"-f without its argument", {"-p", "-f"}, {kUsage, no_argument('f'), 0}},
      {"-q is refused and takes its argument", {"-q", "x", "-f", sample}, {kUsage + fp["der"], "", 0}},
      {"-q without its argument", {"-f", sample, "-q"}, {kUsage + fp["der"], no_argument('q'), 0}},
      {"the last -f holds", {"-v", "-f", dir + "/missing", "-f", sample}, {fp["der"], "", 0}},
      {"usage for every bad option", {"-x", "-f", sample, "-y"},
       {kUsage + kUsage + fp["der"], invalid('x') + invalid('y'), 0}},
      {"bad option and no file", {"-x", "-p"}, {kUsage, invalid('x'), 0}},
      {"scanning ends at the first non-option", {"-v", "stray", "-f", sample}, {"", "", 0}},
      {"scanning ends at --", {"--", "-f", sample}, {"", "", 0}},
      {"path that does not exist", {"-f", dir + "/missing"}, {kUnable, "", 1}},
      {"directory", {"-f", dir}, {kUnable, "", 1}},
      {"empty file", {"-f", empty}, {kUnable, "", 1}},
      {"one byte", {"-f", one_byte}, {kUnable, "", 1}},
      {"first byte not a SEQUENCE", {"-f", not_sequence}, {kUnable, "", 1}},
      {"bytes behind the certificate", {"-f", trailing}, {fp["trailing_der"], "", 0}},
      {"bytes behind the certificate, PEM text", {"-p", "-f", trailing}, {fp["trailing_pem"], "", 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(run_tool(c.args), c.expected);
  }
  fs::remove_all(dir);
}

TEST(Report, AlgorithmRows) {
  const std::string rsa(reinterpret_cast<const char*>(RSAoid), 9), base = rsa.substr(0, 8);
  const struct {
    std::string oid;
    int32_t code, row;
  } cases[] = {
      {rsa, 0x2400, 1},         {base + '\x02', 0x8001, 2}, {base + '\x04', 0x8003, 3},
      {base + '\x05', 0x8004, 4}, {base + '\x0b', 0, 0},    {base, 0, 0},
      {rsa + '\x00', 0, 0},     {"", 0, 0},
  };
  for (const auto& c : cases) {
    std::string bytes = c.oid;
    vbl_blk oid{static_cast<int32_t>(bytes.size()), reinterpret_cast<uint8_t*>(bytes.data())};
    EXPECT_EQ(hash_alg(&oid), c.code) << c.row;
    EXPECT_EQ(alg_index(&oid), c.row);
  }
  vbl_blk lost{9, nullptr};  // a length whose bytes could not be allocated
  EXPECT_EQ(alg_index(&lost), 0);
}

// The decoded sample; null when it does not decode, for the report of a
// broken tree ends the program.
Certificate* load_sample() {
  const Decoded d = decode(&Certificate_desc, read_file("sample.der"), 0x30);
  if (d.result != 1) engine::drop(&Certificate_desc, d.record);
  return d.result == 1 ? static_cast<Certificate*>(d.record) : nullptr;
}
void set(vbl_blk* block, const std::string& bytes) {
  ASSERT_EQ(put_str_val(block, reinterpret_cast<const uint8_t*>(bytes.data()), uint32_t(bytes.size())), 0);
}
vbl_blk* date(CertificateValidityDate& d) { return static_cast<vbl_blk*>(d.value); }
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
      {"parameters without bytes",
       [](Certificate* c, TBSCertificate&) { (c->signatureAlgorithm.parameters = new_vbl_blk())->length = 2; },
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
    ASSERT_NE(cert, nullptr);
    Name& name = issuer ? cert->tbsCertificate.issuer : cert->tbsCertificate.subject;
    drop_RDNSequence(static_cast<RDNSequence*>(name.value));
    name.value = nullptr;
    const std::string message = std::string("^Error extracting ") + (issuer ? "issuer" : "subject") +
                                " distinguished name from certificate\\.\n$";
    EXPECT_EXIT((std::fflush(stdout), dup2(2, 1), dump_cert(cert)), testing::ExitedWithCode(0), message);
    drop_Certificate(cert);
  }
}

// The PEM text is the base64 text in lines of 64, each ended by one line
// feed, and one line feed alone for no data. "xxx" encodes as eHh4.
TEST(Fingerprint, PemTextAndDigests) {
  const std::pair<uint32_t, std::string> cases[] = {
      {0, "\n"}, {1, "eA==\n"}, {3, "eHh4\n"}, {47, std::string(60, 'x') + "eHg=\n"},
      {48, std::string(64, 'x') + "\n"}, {49, std::string(64, 'x') + "\neA==\n"},
      {97, std::string(64, 'x') + "\n" + std::string(64, 'x') + "\n" + "eA==\n"}};
  for (auto [size, expected] : cases) {
    for (size_t at; (at = expected.find(std::string(4, 'x'))) != std::string::npos;) expected.replace(at, 4, "eHh4");
    const std::vector<uint8_t> data(size, 'x');
    uint32_t pem_size = 0;
    char* pem = pem_text(data.data(), size, &pem_size);
    EXPECT_EQ(std::string(pem, pem_size), expected) << size;
    std::free(pem);
  }
  EXPECT_EQ(take(fingerPrintCert(nullptr, 0, 0)), "d41d8cd98f00b204e9800998ecf8427e");
}

// Out of memory the file is not loaded, and the PEM fingerprint reports its
// failure on standard output.
TEST(Fingerprint, NoMemory) {
  uint8_t* buffer = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(each_allocation_failing([&] {
              const int r = read_cert(QEL_TEST_DATA "/sample.der", &buffer, &size);
              EXPECT_EQ(r == 0, buffer != nullptr);
              if (r != 0) return;
              EXPECT_GT(size, 100u);
              std::free(buffer);
              buffer = nullptr;
            }), 1);
  const std::vector<uint8_t> data(100, 'x');
  EXPECT_EQ(each_allocation_failing([&] {
              testing::internal::CaptureStdout();
              char* text = pemFingerprint(data.data(), 100, 1);
              const std::string out = testing::internal::GetCapturedStdout();
              EXPECT_EQ(text ? std::strlen(text) : 47u, 47u);
              EXPECT_EQ(out, text || out.empty() ? "" : "ERROR: Error PEM encoding root CA\n");
              std::free(text);
            }), 3);
}

}  // namespace
}  // namespace qel::tst
