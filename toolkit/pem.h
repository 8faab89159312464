// PEM: blocks of base64 between "-----BEGIN <label>-----" and
// "-----END <label>-----" lines, one or many in a text (a bundle such as a
// system's CA file). Text between blocks is skipped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)
namespace qel {

struct PemBlock {
  std::string label;         // "CERTIFICATE", "X509 CRL", ...
  std::vector<uint8_t> der;  // the decoded octets; empty when broken
  size_t line = 0;           // 1-based line of the BEGIN line
  // Empty for a good block; otherwise what is wrong ("no END line",
  // "END label differs", "bad base64", "base64 ends inside a group"), and
  // `der` is empty.
  std::string error;
  bool ok() const { return error.empty(); }
};

// Reads the blocks of a text one at a time. A broken block is handed out
// with its error and the blocks after it still come.
class PemReader {
 public:
  explicit PemReader(std::string_view text) : text_(text) {}
  // The next block into `block`; false when no BEGIN line is left.
  bool next(PemBlock& block);

 private:
  std::string_view text_;
  size_t pos_ = 0;
  size_t line_ = 1;  // line number at pos_
};

// Every block of `text`.
std::vector<PemBlock> read_pem(std::string_view text);

// True when `text` holds a BEGIN line ("-----BEGIN " at the start of a line).
bool looks_like_pem(std::string_view text);

}  // namespace qel
#pragma GCC visibility pop
