// Fuzz target: arbitrary octets decoded as a type of the test schema, which
// uses every form and shape of the engine. The first octet picks the type.
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "fuzz/der_check.h"
#include "tests/asn/test_schema.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const auto& types = qel::tst::schema_types;
  qel::fuzz::check_round_trip(types[data[0] % std::size(types)], data + 1, size - 1);
  return 0;
}
