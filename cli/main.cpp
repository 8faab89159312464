// qelcert: prints certificates, requests and revocation lists as JSON lines.
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "cli/inputs.h"
#include "cli/runner.h"
#include <qelcert/version.h>

namespace {

using namespace qel::cli;

constexpr const char* kUsage =
    "usage: qelcert json [-j N] [-r] [--type auto|certificate|request|crl] [--digest LIST] [--] FILE|DIR|- ...\n"
    "       qelcert --help | --version\n"
    "\n"
    "Prints each certificate, certification request and revocation list of the\n"
    "files (DER or PEM, '-' for standard input) as one JSON object per line.\n"
    "  -j N           decode on N threads (default: the CPUs available)\n"
    "  -r             read directories: the regular files below them, by name\n"
    "  --type TYPE    decode every object as TYPE (default: auto)\n"
    "  --digest LIST  fingerprints, a comma list of md5, sha1, sha256 (default: sha256)\n"
    "Exit status: 0 when every object decoded, 1 when some did not, 2 for a usage error.\n";

int usage_error(const std::string& message) {
  std::fprintf(stderr, "qelcert: %s\n%s", message.c_str(), kUsage);
  return 2;
}

bool parse_type(std::string_view text, ObjectType& type) {
  if (text == "auto") type = ObjectType::automatic;
  else if (text == "certificate") type = ObjectType::certificate;
  else if (text == "request") type = ObjectType::request;
  else if (text == "crl") type = ObjectType::crl;
  else return false;
  return true;
}

bool parse_digests(std::string_view text, std::vector<Digest>& digests) {
  digests.clear();
  for (;;) {
    const size_t comma = text.find(',');
    const std::string_view item = text.substr(0, comma);
    Digest digest;
    if (item == "md5") digest = Digest::md5;
    else if (item == "sha1") digest = Digest::sha1;
    else if (item == "sha256") digest = Digest::sha256;
    else return false;
    bool seen = false;
    for (Digest d : digests) seen = seen || d == digest;
    if (!seen) digests.push_back(digest);
    if (comma == std::string_view::npos) return true;
    text.remove_prefix(comma + 1);
  }
}

bool parse_threads(std::string_view text, unsigned& threads) {
  if (text.empty() || text.size() > 4) return false;
  unsigned value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  if (value == 0 || value > 1024) return false;
  threads = value;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string_view> args(argv + 1, argv + argc);
  if (args.empty()) return usage_error("no command");
  if (args[0] == "-h" || args[0] == "--help") {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (args[0] == "--version") {
    std::printf("qelcert %s\n", QEL_VERSION_STRING);
    return 0;
  }
  if (args[0] != "json") return usage_error("unknown command '" + std::string(args[0]) + "'");

  RunOptions options;
  options.threads = available_cpus();
  bool recursive = false;
  std::vector<std::string> files;
  bool options_end = false;
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    if (options_end || arg == "-" || arg.empty() || arg[0] != '-') {
      files.emplace_back(arg);
      continue;
    }
    // The value of an option: "--name=value", "-jN", or the next argument.
    const auto value = [&](std::string_view name, std::string_view& out) {
      if (arg.size() > name.size() && arg.starts_with(name)) {
        const std::string_view rest = arg.substr(name.size());
        if (name.starts_with("--") ? rest[0] != '=' : false) return false;
        out = name.starts_with("--") ? rest.substr(1) : rest;
        return true;
      }
      if (arg != name || i + 1 >= args.size()) return false;
      out = args[++i];
      return true;
    };
    std::string_view text;
    if (arg == "--") {
      options_end = true;
    } else if (arg == "-h" || arg == "--help") {
      std::fputs(kUsage, stdout);
      return 0;
    } else if (arg == "-r" || arg == "--recursive") {
      recursive = true;
    } else if (arg.starts_with("-j") && !arg.starts_with("--")) {
      if (!value("-j", text) || !parse_threads(text, options.threads))
        return usage_error("-j takes a number of threads from 1 to 1024");
    } else if (arg.starts_with("--type")) {
      if (!value("--type", text) || !parse_type(text, options.render.type))
        return usage_error("--type takes auto, certificate, request or crl");
    } else if (arg.starts_with("--digest")) {
      if (!value("--digest", text) || !parse_digests(text, options.render.digests))
        return usage_error("--digest takes a comma list of md5, sha1, sha256");
    } else {
      return usage_error("unknown option '" + std::string(arg) + "'");
    }
  }
  if (files.empty()) return usage_error("no input named");

  options.progress = isatty(STDERR_FILENO) == 1;
  // Texts of objects and pieces of files come and go by the thousand: keep
  // them on the heap, and keep the heap, instead of handing memory back and
  // asking for it again (fresh pages cost a fault each).
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TOP_PAD, 16 << 20);
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
  const RunResult result = run(expand_inputs(files, recursive), options);
  if (result.write_failed) {
    std::fputs("qelcert: cannot write the output\n", stderr);
    return 1;
  }
  return result.errors == 0 ? 0 : 1;
}
