// Fuzz target: arbitrary octets decoded as a revocation list, which must
// encode back to what it decoded from, and whose extensions are handed to the
// extension handlers as a caller of the revocation-list walk would.
#include <cstddef>
#include <cstdint>

#include "fuzz/der_check.h"
#include "qelcert.h"
#include "toolkit/extensions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qel::fuzz::check_round_trip(&qel::CertificateList_desc, data, size);
  const uint8_t* pos = data;
  int32_t err = 0;
  qel::CertificateList* list = qel::_unpack_CertificateList(&pos, data + size, 0x30, &err);
  if (list == nullptr) return 0;
  qel::tc_retrieve_Extensions(list, qel::kExtensionsOfCRL);
  qel::free_Extension_Results(qel::Get_Extension_Results());
  qel::drop_CertificateList(list);
  return 0;
}
