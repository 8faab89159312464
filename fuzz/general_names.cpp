// Fuzz target: arbitrary octets decoded as GeneralNames and as
// CRLDistPointsSyntax, each of which must encode back to what it decoded
// from, and handed as an extension value to the subjectAltName and
// cRLDistributionPoints handlers, which give a text exactly on success (the
// distribution point's text may come with a decoder's complaint).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/der_check.h"
#include "qelcert.h"
#include "toolkit/extensions.h"

namespace {
void run_handler(qel::tc_extension_handler handler, const uint8_t* oid, const uint8_t* data,
                 size_t size) {
  qel::Extension* extension = qel::new_Extension();
  qel::put_str_val(&extension->extnID, oid, 3);
  qel::put_str_val(&extension->extnValue, data, static_cast<uint32_t>(size));
  char* text = nullptr;
  const int32_t result = handler(&text, extension);
  if (handler == qel::tc_extract_SAN &&
      ((result == 0) != (text != nullptr) ||
       (text != nullptr && std::strlen(text) >= qel::kSanTextLimit)))
    std::abort();
  if (handler == qel::tc_extract_CDP && result > 0 && text != nullptr) std::abort();
  std::free(text);
  qel::drop_Extension(extension);
}
constexpr uint8_t kCdp[3] = {0x55, 0x1D, 0x1F};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qel::fuzz::check_round_trip(&qel::GeneralNames_desc, data, size);
  qel::fuzz::check_round_trip(&qel::CRLDistPointsSyntax_desc, data, size);
  run_handler(qel::tc_extract_SAN, qel::idce_17, data, size);
  run_handler(qel::tc_extract_CDP, kCdp, data, size);
  return 0;
}
