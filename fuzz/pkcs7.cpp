// Fuzz target: arbitrary octets decoded as a PKCS#7 ContentInfo; where its
// content is signed data (or where the first octet asks for it directly) that
// content is decoded as SignedData. Each decoded record must encode back to
// what it decoded from.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fuzz/der_check.h"
#include "qelcert.h"

namespace {
// 1.2.840.113549.1.7.2
constexpr uint8_t kSignedData[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qel::fuzz::check_round_trip(&qel::ContentInfo_desc, data, size);
  qel::fuzz::check_round_trip(&qel::SignedData_desc, data, size);
  const uint8_t* pos = data;
  int32_t err = 0;
  qel::ContentInfo* info = qel::_unpack_ContentInfo(&pos, data + size, 0x30, &err);
  if (info == nullptr) return 0;
  const qel::vbl_blk& type = info->contentType;
  const qel::vbl_blk* content = info->content;
  if (content != nullptr && content->length > 0 && type.length == sizeof kSignedData &&
      std::memcmp(type.bytes, kSignedData, sizeof kSignedData) == 0)
    qel::fuzz::check_round_trip(&qel::SignedData_desc, content->bytes,
                                static_cast<size_t>(content->length));
  qel::drop_ContentInfo(info);
  return 0;
}
