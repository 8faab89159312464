#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "cxx.h"
#include "tests/helpers.h"
#include "toolkit/sha_blocks.h"

namespace qel::tst {
namespace {

// Hex digest of `message` fed to Update in pieces of `chunk` bytes (0: all at
// once), through the block function `blocks`.
template <class Context>
std::string digest(void (*init)(Context*), sha::Blocks blocks, const std::string& message,
                   size_t chunk) {
  Context context;
  init(&context);
  const auto* p = reinterpret_cast<const uint8_t*>(message.data());
  for (size_t at = 0, step = chunk ? chunk : message.size() + 1; at < message.size(); at += step)
    sha::update(&context, p + at, std::min(step, message.size() - at), blocks);
  sha::final(&context, blocks);
  return hex(context.digest, sizeof context.digest);
}

// The examples published with the SHA standard, digests from Python hashlib,
// through every block function this processor can run, whole and in pieces
// around the block size.
TEST(SHA, PublishedExamplesOnEveryPathAndSplit) {
  const struct {
    std::string message;
    const char* sha1;
    const char* sha256;
  } kExamples[] = {
      {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709",
       "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d",
       "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "84983e441c3bd26ebaae4aa1f95129e5e54670f1",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlm"
       "nopqrsmnopqrstnopqrstu",
       "a49b2446a02c645bf419f995b67091253a04a259",
       "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
      {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f",
       "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
  std::vector<std::pair<sha::Blocks, sha::Blocks>> paths = {{sha::sha1_portable, sha::sha256_portable}};
#ifdef QEL_SHA_X86
  if (sha_hardware()) paths.push_back({sha::sha1_x86, sha::sha256_x86});
#endif
  for (const auto& [one, two] : paths)
    for (const auto& example : kExamples)
      for (size_t chunk : {0, 1, 63, 64, 65}) {
        SCOPED_TRACE(testing::Message() << example.message.substr(0, 8) << " in pieces of " << chunk
                                        << (one == sha::sha1_portable ? " portable" : " hardware"));
        EXPECT_EQ(digest(SHA1Init, one, example.message, chunk), hex(B(example.sha1)));
        EXPECT_EQ(digest(SHA256Init, two, example.message, chunk), hex(B(example.sha256)));
      }
  const auto public_path = sha256(B("616263"));
  EXPECT_EQ(hex(public_path.data(), public_path.size()), hex(B(kExamples[1].sha256)));
}

// Blocks read from a text, each as "LABEL@line:der-hex" or "LABEL@line!error".
std::string blocks(const std::string& text) {
  std::string out;
  for (const auto& b : read_pem(text)) {
    if (!out.empty()) out += ' ';
    out.append(b.label).append("@").append(std::to_string(b.line));
    out.append(b.ok() ? ":" : "!").append(b.ok() ? hex(b.der) : b.error);
  }
  return out;
}

TEST(PEM, TextsToBlocks) {
  const struct {
    const char* name;
    std::string text;
    const char* blocks;
    bool looks;
  } kCases[] = {
      {"empty", "", "", false},
      {"one block", "-----BEGIN X-----\nMAMCAQE=\n-----END X-----\n", "X@1:30 03 02 01 01", true},
      {"CRLF after a text dump",
       "Certificate:\r\n  Data:\r\n-----BEGIN CERTIFICATE-----\r\nMAMC\r\nAQE=\r\n"
       "-----END CERTIFICATE-----\r\n",
       "CERTIFICATE@3:30 03 02 01 01", true},
      {"bundle with a broken block in the middle",
       "# one\n-----BEGIN A-----\nMAA=\n-----END A-----\n# two\n-----BEGIN B-----\nMA*A\n"
       "-----END B-----\n-----BEGIN C-----\nMAA=\n-----END C-----\n",
       "A@2:30 00 B@6!bad base64 C@9:30 00", true},
      {"END label differs, no newline at the end",
       "-----BEGIN A-----\nMAA=\n-----END B-----\n-----BEGIN A-----\nMAA=\n-----END A-----",
       "A@1!END label differs A@4:30 00", true},
      {"BEGIN with no END at the end", "x\n-----BEGIN A-----\nMAA=\n", "A@2!no END line", true},
      {"BEGIN before END", "-----BEGIN A-----\nMAA=\n-----BEGIN B-----\n-----END B-----\n",
       "A@1!no END line B@3:", true},
      {"ends inside a group", "-----BEGIN A-----\nMAA\n-----END A-----\n",
       "A@1!base64 ends inside a group", true},
      {"data after padding", "-----BEGIN A-----\nMA==MAA=\n-----END A-----\n", "A@1!bad base64", true},
      {"three pads", "-----BEGIN A-----\nM===\n-----END A-----\n", "A@1!bad base64", true},
      {"unused bits set", "-----BEGIN A-----\nMB==\n-----END A-----\n", "A@1!bad base64", true},
      {"blanks and empty lines in the body", "-----BEGIN A-----  \nM A\n\nA=\t\n-----END A-----\n",
       "A@1:30 00", true},
      {"not BEGIN lines", " -----BEGIN A-----\n-----BEGIN A----\n-----END A-----\n", "", true},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(blocks(c.text), c.blocks) << c.name;
    EXPECT_EQ(looks_like_pem(c.text), c.looks) << c.name;
  }
}

// The system's CA bundle: one good block per certificate.
TEST(PEM, SystemBundle) {
  const char* path = "/etc/ssl/certs/ca-certificates.crt";
  std::ifstream in(path);
  if (!in) return skip_unless_ci(std::string("no CA bundle at ") + path);
  std::stringstream text;
  text << in.rdbuf();
  const auto found = read_pem(text.str());
  size_t begins = 0;
  for (size_t at = 0; (at = text.str().find("BEGIN CERTIFICATE", at)) != std::string::npos; ++at) ++begins;
  EXPECT_EQ(found.size(), begins);
  for (const auto& b : found) EXPECT_TRUE(b.ok() && b.label == "CERTIFICATE") << b.line << b.error;
}

}  // namespace
}  // namespace qel::tst
