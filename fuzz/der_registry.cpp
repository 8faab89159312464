// Fuzz target: arbitrary octets decoded as any type of the library. The
// first octet picks the type from the registry.
#include <cstddef>
#include <cstdint>

#include "fuzz/der_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const qel::TypeDesc* d = qel::type_registry[data[0] % qel::type_registry_size()];
  qel::fuzz::check_round_trip(d, data + 1, size - 1);
  return 0;
}
