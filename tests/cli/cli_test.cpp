// Runs the built qeldumpcert and compares its standard output, standard error
// and exit status byte for byte.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "run_tool.h"

namespace {

using qel_test::Outcome;
using qel_test::run_tool;

namespace fs = std::filesystem;

const std::string kUsage =
    "Usage: qeldumpcert [-f [Certificate_File]] [-p].\n"
    "\t -p: \tindicate PEM Encoded Fingerprint.\n"
    "\t -f: \tindicate the input certificate file\n";
const std::string kUnable = "Unable to parse certificate.\n";
const std::string kBegin = "-----BEGIN CERTIFICATE-----\n", kEnd = "-----END CERTIFICATE-----\n";

// The report of the sample, as its golden output has it between the BEGIN
// and FINGERPRINT lines.
std::string sample_report() {
  std::ifstream in(QEL_TEST_DATA "/../cli/golden/sample.txt", std::ios::binary);
  const std::string golden((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const size_t begin = golden.find(kBegin), end = golden.find("FINGERPRINT: ");
  return begin == 0 && end != std::string::npos ? golden.substr(kBegin.size(), end - kBegin.size()) : "<no golden>";
}
const std::string kSampleReport = sample_report();
std::string report(const std::string& fingerprint) {
  return kBegin + kSampleReport + "FINGERPRINT: " + fingerprint + "\n" + kEnd;
}
std::string invalid(char c) { return std::string("qeldumpcert: invalid option -- '") + c + "'\n"; }
std::string no_argument(char c) { return std::string("qeldumpcert: option requires an argument -- '") + c + "'\n"; }

TEST(Cli, CommandLines) {
  // Root reads any file, so the tool runs as user nobody: it and every file
  // it reads are copied to a directory open to all, whatever the checkout's
  // permissions.
  char tmpl[] = "/tmp/qelcliXXXXXX";
  const std::string dir = mkdtemp(tmpl);
  chmod(dir.c_str(), 0755);
  const std::string tool = dir + "/qeldumpcert", sample = dir + "/sample.der";
  const std::string empty = dir + "/empty.der", locked = dir + "/locked.der", trailing = dir + "/trailing.der";
  const std::string one_byte = dir + "/one.der", not_sequence = dir + "/notseq.der";
  fs::copy_file(QEL_TOOL_PATH, tool);
  fs::copy_file(QEL_TEST_DATA "/sample.der", sample);
  fs::copy_file(sample, locked);
  chmod(locked.c_str(), 0);
  fs::copy_file(sample, trailing);
  std::ofstream(trailing, std::ios::app) << "trailer";
  std::ofstream{empty};
  std::ofstream(one_byte) << '0';
  fs::copy_file(sample, not_sequence);
  std::fstream(not_sequence, std::ios::in | std::ios::out | std::ios::binary).put('\x31');
  std::map<std::string, std::string> fp;
  std::ifstream in(QEL_TEST_DATA "/sample_fingerprints.txt");
  for (std::string mode, text; in >> mode >> text;) fp[mode] = text;
  ASSERT_EQ(fp.size(), 4u);

  const struct {
    const char* name;
    std::vector<std::string> args;
    Outcome expected;
  } cases[] = {
      {"no arguments", {}, {kUsage, "", 0}},
      {"one argument", {"-p"}, {kUsage, "", 0}},
      {"a complete option alone is one argument", {"-f" + sample}, {kUsage, "", 0}},
      {"attached path and -p", {"-f" + sample, "-p"}, {report(fp["pem"]), "", 0}},
      {"file's bytes", {"-f", sample}, {report(fp["der"]), "", 0}},
      {"PEM text", {"-p", "-f", sample}, {report(fp["pem"]), "", 0}},
      {"no file: silent", {"-p", "-v"}, {"", "", 0}},
      {"-f without its argument", {"-p", "-f"}, {kUsage, no_argument('f'), 0}},
      {"-q is refused and takes its argument", {"-q", "x", "-f", sample}, {kUsage + report(fp["der"]), "", 0}},
      {"-q without its argument", {"-f", sample, "-q"}, {kUsage + report(fp["der"]), no_argument('q'), 0}},
      {"the last -f holds", {"-v", "-f", dir + "/missing", "-f", sample}, {report(fp["der"]), "", 0}},
      {"usage for every bad option", {"-x", "-f", sample, "-y"},
       {kUsage + kUsage + report(fp["der"]), invalid('x') + invalid('y'), 0}},
      {"bad option and no file", {"-x", "-p"}, {kUsage, invalid('x'), 0}},
      {"scanning ends at the first non-option", {"-v", "stray", "-f", sample}, {"", "", 0}},
      {"scanning ends at --", {"--", "-f", sample}, {"", "", 0}},
      {"path that does not exist", {"-f", dir + "/missing"}, {kUnable, "", 1}},
      {"empty path", {"-f", ""}, {kUnable, "", 1}},
      {"directory", {"-f", dir}, {kUnable, "", 1}},
      {"unreadable file", {"-f", locked}, {kUnable, "", 1}},
      {"empty file", {"-f", empty}, {kUnable, "", 1}},
      {"empty file, PEM text", {"-pf", empty}, {kUnable, "", 1}},
      {"one byte", {"-f", one_byte}, {kUnable, "", 1}},
      {"first byte not a SEQUENCE", {"-f", not_sequence}, {kUnable, "", 1}},
      {"bytes behind the certificate", {"-f", trailing}, {report(fp["trailing_der"]), "", 0}},
      {"bytes behind the certificate, PEM text", {"-p", "-f", trailing}, {report(fp["trailing_pem"]), "", 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(run_tool(tool, c.args, geteuid() == 0), c.expected);
  }
  fs::remove_all(dir);
}

}  // namespace
