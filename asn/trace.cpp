// Hexadecimal and text dump of primitive values to standard error.
#include <cstdio>

#include "asn/asn.h"

namespace qel {

thread_local constinit int32_t trace_level = 0;
thread_local constinit int32_t globalDebugLevel = 0;

namespace {

void text_form(const uint8_t* bytes, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t c = bytes[i];
    std::fprintf(stderr, "%c", (c >= 0x20 && c <= 0x7E) ? c : '.');
  }
}

}  // namespace

int32_t trace_prim(const uint8_t* bytes, int32_t count, int32_t indent) {
  for (int32_t i = 0; i < count; ++i) {
    if (i % 8 == 0) {
      std::fputs("\n", stderr);
      for (int32_t k = 0; k < indent; ++k) std::fputs("   ", stderr);
    }
    std::fprintf(stderr, "%02x ", bytes[i]);
    if (i % 8 == 7) {
      std::fputs("    ", stderr);
      text_form(bytes + i - 7, 8);
    }
  }
  const int32_t rest = count > 0 ? count % 8 : 0;
  if (rest == 0) return 0;
  std::fputs("    ", stderr);
  for (int32_t k = 0; k < 8 - rest; ++k) std::fputs("   ", stderr);
  text_form(bytes + count - rest, rest);
  return 0;
}

}  // namespace qel
