// Decodes the input as a Certificate and writes its report to /dev/null:
// every field the report reads must be read within what the tree holds.
#include <cstdint>
#include <cstdio>

#include "tool/report.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static FILE* sink = std::freopen("/dev/null", "w", stdout);
  (void)sink;
  const uint8_t* position = data;
  int32_t err = 0;
  qel::Certificate* tree = qel::_unpack_Certificate(&position, data + size, 0x30, &err);
  if (tree == nullptr) return 0;
  qel::dump_cert(tree);
  qel::drop_Certificate(tree);
  return 0;
}
