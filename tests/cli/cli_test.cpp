// Runs the built qeldumpcert and compares its standard output, standard error
// and exit status byte for byte.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define QEL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_ASAN 1
#endif
#endif

namespace {

namespace fs = std::filesystem;

struct Outcome {
  std::string out, err;
  int status;
};

struct Limits {
  bool as_nobody = false;   // drop to uid/gid 65534 first (when root)
  rlim_t address_space = 0; // RLIMIT_AS in bytes, 0 for none
  std::string tool = QEL_TOOL_PATH;
};

std::string drain(int fd) {
  std::string s;
  char buf[4096];
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) s.append(buf, static_cast<size_t>(n));
  close(fd);
  return s;
}

// Runs the tool as "qeldumpcert" with `args`, TZ=UTC.
Outcome run_tool(const std::vector<std::string>& args, Limits limits = {}) {
  std::vector<char*> argv{const_cast<char*>("qeldumpcert")};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) return {"", "pipe failed", -1};
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(out[1], 1);
    dup2(err[1], 2);
    close(out[0]);
    close(out[1]);
    close(err[0]);
    close(err[1]);
    setenv("TZ", "UTC", 1);
    if (limits.address_space != 0) {
      const rlimit r{limits.address_space, limits.address_space};
      setrlimit(RLIMIT_AS, &r);
    }
    if (limits.as_nobody && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(126);
    execv(limits.tool.c_str(), argv.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  Outcome o;
  o.out = drain(out[0]);
  o.err = drain(err[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  o.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return o;
}

const std::string kUsage =
    "Usage: qeldumpcert [-f [Certificate_File]] [-p].\n"
    "\t -p: \tindicate PEM Encoded Fingerprint.\n"
    "\t -f: \tindicate the input certificate file\n";
const std::string kUnable = "Unable to parse certificate.\n";

std::string report(const std::string& fingerprint) {
  return "-----BEGIN CERTIFICATE-----\nFINGERPRINT: " + fingerprint + "\n-----END CERTIFICATE-----\n";
}

std::string invalid(char c) { return std::string("qeldumpcert: invalid option -- '") + c + "'\n"; }
std::string needs_argument(char c) {
  return std::string("qeldumpcert: option requires an argument -- '") + c + "'\n";
}

class Cli : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    char tmpl[] = "/tmp/qelcliXXXXXX";
    dir_ = mkdtemp(tmpl);
    chmod(dir_.c_str(), 0755);
    std::ifstream in(QEL_TEST_DATA "/sample_fingerprints.txt");
    for (std::string mode, fp; in >> mode >> fp;) fingerprints_[mode] = fp;
    std::ofstream(path("empty.der"));
  }
  static void TearDownTestSuite() { fs::remove_all(dir_); }
  static std::string path(const std::string& name) { return dir_ + "/" + name; }

  static inline std::string dir_;
  static inline std::map<std::string, std::string> fingerprints_;
  const std::string sample_ = QEL_TEST_DATA "/sample.der";
};

TEST_F(Cli, CommandLines) {
  ASSERT_EQ(fingerprints_.size(), 2u);
  const std::string der = report(fingerprints_["der"]);
  const std::string pem = report(fingerprints_["pem"]);
  const std::string empty = path("empty.der");
  const struct {
    const char* name;
    std::vector<std::string> args;
    std::string out;
    int status;
    std::string err;
  } cases[] = {
      {"no arguments", {}, kUsage, 0, ""},
      {"one argument", {"-p"}, kUsage, 0, ""},
      {"a complete option alone is still one argument", {"-f" + sample_}, kUsage, 0, ""},
      {"attached path and -p", {"-f" + sample_, "-p"}, pem, 0, ""},
      {"file's bytes", {"-f", sample_}, der, 0, ""},
      {"PEM text", {"-p", "-f", sample_}, pem, 0, ""},
      {"no file: silent", {"-p", "-v"}, "", 0, ""},
      {"-f without its argument", {"-p", "-f"}, kUsage, 0, needs_argument('f')},
      {"-q is a bad option that takes its argument", {"-q", "x", "-f", sample_}, kUsage + der, 0, ""},
      {"-q without its argument", {"-f", sample_, "-q"}, kUsage + der, 0, needs_argument('q')},
      {"the last -f holds", {"-v", "-f", path("missing.der"), "-f", sample_}, der, 0, ""},
      {"usage for every bad option", {"-x", "-f", sample_, "-y"}, kUsage + kUsage + der, 0,
       invalid('x') + invalid('y')},
      {"bad option and no file", {"-x", "-p"}, kUsage, 0, invalid('x')},
      {"scanning ends at the first non-option", {"-v", "stray", "-f", sample_}, "", 0, ""},
      {"scanning ends at --", {"--", "-f", sample_}, "", 0, ""},
      {"path that does not exist", {"-f", path("missing.der")}, kUnable, 1, ""},
      {"empty path", {"-f", ""}, kUnable, 1, ""},
      {"directory", {"-f", dir_}, kUnable, 1, ""},
      {"path through a file", {"-f", sample_ + "/x"}, kUnable, 1, ""},
      {"empty file", {"-f", empty}, report("d4:1d:8c:d9:8f:00:b2:04:e9:80:09:98:ec:f8:42:7e"), 0, ""},
      // The PEM text of no bytes is one line feed.
      {"empty file, PEM text", {"-f", empty, "-p"}, report("68:b3:29:da:98:93:e3:40:99:c7:d8:ad:5c:b9:c9:40"),
       0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome o = run_tool(c.args);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.err, c.err);
  }
}

TEST_F(Cli, UnreadableFile) {
  const std::string locked = path("locked.der");
  fs::copy_file(sample_, locked, fs::copy_options::overwrite_existing);
  chmod(locked.c_str(), 0);
  Limits limits;
  if (geteuid() == 0) {
    // Root reads any file: run as nobody, from a copy of the tool that nobody
    // can reach whatever the build directory's permissions.
    limits.as_nobody = true;
    limits.tool = path("qeldumpcert");
    fs::copy_file(QEL_TOOL_PATH, limits.tool, fs::copy_options::overwrite_existing);
  }
  const Outcome o = run_tool({"-f", locked}, limits);
  if (o.status == 126) GTEST_SKIP() << "can't drop privileges";
  EXPECT_EQ(o.out, kUnable);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "");
}

// Bytes behind the certificate change both fingerprints and nothing else.
TEST_F(Cli, TrailingBytesChangeTheFingerprint) {
  const std::string longer = path("trailing.der");
  fs::copy_file(sample_, longer, fs::copy_options::overwrite_existing);
  std::ofstream(longer, std::ios::app) << "trailer";
  for (const std::string mode : {"der", "pem"}) {
    SCOPED_TRACE(mode);
    std::vector<std::string> args = {"-f", longer};
    if (mode == "pem") args.push_back("-p");
    const Outcome o = run_tool(args);
    ASSERT_EQ(o.status, 0);
    ASSERT_EQ(o.out.size(), report(fingerprints_[mode]).size());
    EXPECT_EQ(o.out.substr(0, 41), report(fingerprints_[mode]).substr(0, 41));
    EXPECT_NE(o.out, report(fingerprints_[mode]));
  }
}

// With the heap held small: a file that can't be allocated is not loaded, and
// a PEM text that can't be made gives the error line and "(null)".
TEST_F(Cli, HeapExhaustion) {
#ifdef QEL_ASAN
  GTEST_SKIP() << "AddressSanitizer reserves more address space than the limit";
#endif
  const std::string huge = path("huge.der");    // 1 GiB, sparse
  const std::string large = path("large.der");  // 64 MiB, sparse: its base64 text doesn't fit
  std::ofstream(huge).close();
  std::ofstream(large).close();
  fs::resize_file(huge, 1u << 30);
  fs::resize_file(large, 64u << 20);
  Limits limits;
  limits.address_space = 128u << 20;
  const struct {
    const char* name;
    std::vector<std::string> args;
    std::string out;
    int status;
  } cases[] = {
      {"buffer", {"-f", huge}, kUnable, 1},
      {"PEM text", {"-p", "-f", large},
       "-----BEGIN CERTIFICATE-----\nERROR: Error PEM encoding root CA\nFINGERPRINT: (null)\n"
       "-----END CERTIFICATE-----\n",
       0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome o = run_tool(c.args, limits);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.status, c.status);
  }
  fs::remove(huge);
  fs::remove(large);
}

}  // namespace
