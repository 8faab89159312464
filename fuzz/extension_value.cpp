// Hands the input to one of the extension handlers as an extension's value:
// the first byte picks subjectAltName, issuerAltName, cRLDistributionPoints
// or cRLNumber, the rest is the value. A handler must give a text exactly
// when it succeeds, except the distribution point, whose text may come with
// a decoder's complaint; and every text must be a string of its own.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "toolkit/extensions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const qel::tc_extension_row& row = qel::tc_extension_table[data[0] % qel::kExtensionRows];
  qel::Extension* extension = qel::new_Extension();
  qel::put_str_val(&extension->extnID, row.oid, 3);
  qel::put_str_val(&extension->extnValue, data + 1, static_cast<uint32_t>(size - 1));
  char* text = nullptr;
  const int32_t result = row.handler(&text, extension);
  if (row.handler != qel::tc_extract_CDP && (result == 0) != (text != nullptr)) std::abort();
  if (row.handler == qel::tc_extract_SAN && text != nullptr && std::strlen(text) >= qel::kSanTextLimit)
    std::abort();
  std::free(text);
  qel::drop_Extension(extension);
  return 0;
}
