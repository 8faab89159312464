// Parses arbitrary text as a name in either form and releases the result.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "qelcert.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  char* text = static_cast<char*>(std::malloc(size + 1));
  if (text == nullptr) return 0;
  if (size > 0) std::memcpy(text, data, size);
  text[size] = '\0';
  qel::dName* name = qel::tc_create_dName(text);
  if (name != nullptr) {
    // A parsed name equals itself, entries without a row included.
    if (qel::tc_compare_dName(name, name) != 0) std::abort();
    // Encode it when every entry has a row, and write it back as text.
    qel::Name encoded{};
    if (qel::tc_encode_Name(&encoded, name) == 0) {
      char* back = nullptr;
      qel::tc_decode_dname(&back, static_cast<qel::RDNSequence*>(encoded.value));
      std::free(back);
      qel::dip_Name(&encoded);
    }
  }
  qel::tc_free_dName(name);
  std::free(text);
  return 0;
}
