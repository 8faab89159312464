// Any text through PemReader: it must not crash, hand out blocks in line
// order, and the octets of every good block must encode back to the base64
// characters between its BEGIN and END lines.
#include <cstdlib>
#include <string>
#include <string_view>

#include "toolkit/base64.h"
#include "toolkit/pem.h"

namespace {

// The characters other than blanks on the lines after line `begin` of
// `text`, up to the first line that starts "-----END ".
std::string body_after(std::string_view text, size_t begin) {
  std::string chars;
  size_t line = 1;
  for (size_t at = 0; at < text.size();) {
    size_t end = text.find('\n', at);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view content = text.substr(at, end - at);
    if (line > begin) {
      if (content.starts_with("-----END ")) break;
      for (const char c : content)
        if (c != ' ' && c != '\t' && c != '\r') chars += c;
    }
    at = end + 1;
    ++line;
  }
  return chars;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  qel::PemReader reader(text);
  size_t previous = 0;
  for (qel::PemBlock block; reader.next(block);) {
    if (block.line <= previous) std::abort();
    previous = block.line;
    if (!block.ok()) {
      if (!block.der.empty()) std::abort();
      continue;
    }
    char* encoded = nullptr;
    uint32_t length = 0;
    if (qel::tc_encode_base64(&encoded, &length, block.der.data(),
                              static_cast<uint32_t>(block.der.size())) != 0)
      std::abort();
    if (body_after(text, block.line) != std::string_view(encoded, length)) std::abort();
    std::free(encoded);
  }
  if (previous != 0 && !qel::looks_like_pem(text)) std::abort();
  return 0;
}
