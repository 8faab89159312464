// Extension texts: the table of known extensions, its handlers, and the
// retrieval that fills the table's result slots.
#include "toolkit/extensions.h"
#include "toolkit/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/codes.h"
#include "toolkit/dname.h"
#include "types/crl.h"
#include "types/general_names.h"
#include "asn/alloc.h"

namespace qel {

namespace {

constexpr int32_t kRowCRLDistPoints = 2;
constexpr int32_t kRowCRLNumber = 3;

constexpr uint8_t kTagRfc822 = 0x81, kTagDns = 0x82, kTagUri = 0x86, kTagIp = 0x87;
constexpr uint8_t kTagDirectoryName = 0xA4, kTagFullName = 0xA0;

// Whether the first three content bytes of `id` are `oid`. Shorter
// identifiers, and blocks left without bytes, match nothing.
bool starts_with(const OBJECT_ID& id, const uint8_t* oid) {
  return id.length >= 3 && id.bytes != nullptr && std::memcmp(id.bytes, oid, 3) == 0;
}


// Length of the content up to its first zero byte; -1 for a block that has a
// length but no bytes (a failed allocation), which must not be read.
int32_t value_text_length(const vbl_blk* block) {
  if (block == nullptr) return -1;
  if (block->length <= 0) return 0;
  if (block->bytes == nullptr) return -1;
  return static_cast<int32_t>(text_length(block->bytes, block->length));
}

char* copy_text(const char* text, size_t length) {
  auto* copy = static_cast<char*>(detail::allocate(length + 1));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

// A text in a buffer of fixed size, closing zero included. An append that
// would not fit leaves the text as it was and marks it overflowed.
template <size_t N>
struct FixedText {
  char data[N] = {};
  size_t size = 0;
  bool overflowed = false;

  void append(const void* bytes, size_t count) {
    if (overflowed || count > N - 1 - size) {
      overflowed = true;
      return;
    }
    if (count > 0) std::memcpy(data + size, bytes, count);
    size += count;
    data[size] = '\0';
  }
  void append(const char* text) { append(text, std::strlen(text)); }
};

// Appends one general name in its text form and a slash. TC_SUCCESS, or the
// code that ends the whole text.
int32_t append_name(FixedText<kSanTextLimit>& text, const GeneralName* name) {
  if (name == nullptr) return TC_MEMORY;
  const char* label = nullptr;
  switch (name->tag) {
    case kTagRfc822: label = "EA="; break;
    case kTagDns: label = "DN="; break;
    case kTagUri: label = "URI="; break;
    case kTagIp: break;
    default: return TC_INVALID_EXTENSION;  // no text form
  }
  const auto* content = static_cast<const vbl_blk*>(name->value);
  if (name->tag == kTagIp) {
    // A dotted quad of the first four bytes; a shorter address has no text.
    if (content == nullptr || (content->length > 0 && content->bytes == nullptr)) return TC_MEMORY;
    if (content->length < 4) return TC_INVALID_EXTENSION;
    char quad[20];
    const uint8_t* b = content->bytes;
    std::snprintf(quad, sizeof quad, "IP=%u.%u.%u.%u", b[0], b[1], b[2], b[3]);
    text.append(quad);
  } else {
    const int32_t length = value_text_length(content);
    if (length < 0) return TC_MEMORY;
    text.append(label);
    text.append(content->bytes, static_cast<size_t>(length));
  }
  text.append("/");
  return TC_SUCCESS;
}

}  // namespace

thread_local constinit tc_extension_row tc_extension_table[kExtensionRows + 1] = {
    {{0x55, 0x1D, 0x11, 0x00}, tc_extract_SAN, nullptr},  // subjectAltName
    {{0x55, 0x1D, 0x12, 0x00}, tc_extract_SAN, nullptr},  // issuerAltName
    {{0x55, 0x1D, 0x1F, 0x00}, tc_extract_CDP, nullptr},  // cRLDistributionPoints
    {{0x55, 0x1D, 0x14, 0x00}, tc_extract_CLN, nullptr},  // cRLNumber
    {{0x00, 0x00, 0x00, 0x00}, nullptr, nullptr},
};

int32_t tc_extract_SAN(char** out, const Extension* extension) {
  if (out != nullptr) *out = nullptr;
  if (out == nullptr || extension == nullptr) return TC_INVALID_ARGUMENTS;
  if (!starts_with(extension->extnID, idce_17) && !starts_with(extension->extnID, idce_18))
    return TC_INVALID_ARGUMENTS;
  const vbl_blk& value = extension->extnValue;
  if (value.length <= 0 || value.bytes == nullptr) return TC_MEMORY;
  const uint8_t* position = value.bytes;
  int32_t err = 0;
  // A list the decoder stopped early is used as far as it goes.
  GeneralNames* names = _unpack_GeneralNames(&position, value.bytes + value.length, 0x30, &err);
  if (names == nullptr) return TC_MEMORY;

  FixedText<kSanTextLimit> text;
  int32_t result = TC_SUCCESS;
  const int32_t count = held(*names);
  if (count == 0) text.append("//");
  else text.append("/");
  for (int32_t i = 0; i < count && result == TC_SUCCESS; ++i)
    result = append_name(text, names->items[i]);
  drop_GeneralNames(names);
  if (result != TC_SUCCESS) return result;
  // A text that would not fit is dropped whole rather than cut short.
  if (text.overflowed) return TC_INVALID_EXTENSION;
  *out = copy_text(text.data, text.size);
  return *out != nullptr ? TC_SUCCESS : TC_MEMORY;
}

int32_t tc_extract_CDP(char** out, const Extension* extension) {
  if (out != nullptr) *out = nullptr;
  if (out == nullptr || extension == nullptr) return TC_INVALID_ARGUMENTS;
  const vbl_blk& value = extension->extnValue;
  const uint8_t* position = value.bytes;
  const uint8_t* limit = value.bytes == nullptr ? nullptr : value.bytes + (value.length > 0 ? value.length : 0);
  int32_t err = 0;
  CRLDistPointsSyntax* points = _unpack_CRLDistPointsSyntax(&position, limit, 0x30, &err);
  if (points == nullptr) return err;

  // Only the first name of the first distribution point counts.
  const GeneralName* name = nullptr;
  const DistributionPoint* point = held(*points) > 0 ? points->items[0] : nullptr;
  const DistributionPointName* where = point != nullptr ? point->distributionPoint : nullptr;
  if (where != nullptr && where->tag == kTagFullName && where->value != nullptr) {
    const auto* full = static_cast<const GeneralNames*>(where->value);
    if (held(*full) > 0) name = full->items[0];
  }

  int32_t result = err;
  if (name != nullptr && name->tag == kTagUri) {
    const auto* content = static_cast<const vbl_blk*>(name->value);
    const int32_t length = value_text_length(content);
    char* text = length < 0 ? nullptr
                            : static_cast<char*>(detail::allocate(static_cast<size_t>(length) + 7));
    if (text == nullptr) {
      result = TC_MEMORY;
    } else {
      std::memcpy(text, "/URI=", 5);
      if (length > 0) std::memcpy(text + 5, content->bytes, static_cast<size_t>(length));
      std::memcpy(text + 5 + length, "/", 2);
      *out = text;
    }
  } else if (name != nullptr && name->tag == kTagDirectoryName) {
    const auto* directory = static_cast<const Name*>(name->value);
    const auto* sequence = directory != nullptr ? static_cast<const RDNSequence*>(directory->value) : nullptr;
    const int32_t decoded = tc_decode_dname(out, sequence);
    if (decoded != TC_SUCCESS) {
      std::fputs("Failed.\n", stdout);
      std::free(*out);
      *out = nullptr;
      if (decoded == TC_MEMORY) result = TC_MEMORY;
    }
  }
  drop_CRLDistPointsSyntax(points);
  return result;
}

int32_t tc_extract_CLN(char** out, const Extension* extension) {
  if (out != nullptr) *out = nullptr;
  if (out == nullptr || extension == nullptr) return TC_INVALID_ARGUMENTS;
  if (!starts_with(extension->extnID, tc_extension_table[kRowCRLNumber].oid))
    return TC_INVALID_ARGUMENTS;
  const vbl_blk& value = extension->extnValue;
  if (value.length <= 0 || value.bytes == nullptr) return TC_UNKNOWN;
  const uint8_t* position = value.bytes;
  int32_t err = 0;
  vbl_blk* number = _unpack_INTEGER(&position, value.bytes + value.length, 0x02, &err);
  if (number == nullptr || err != 0) {
    drop_vbl_blk(number);
    return TC_UNKNOWN;
  }
  char digits[16];
  const int length = std::snprintf(digits, sizeof digits, "%u", static_cast<unsigned>(get_int_val(number)));
  drop_vbl_blk(number);
  *out = copy_text(digits, static_cast<size_t>(length));
  return *out != nullptr ? TC_SUCCESS : TC_MEMORY;
}

namespace {

// Releases the texts left in the calling thread's slots when it ends.
struct SlotsAtExit {
  ~SlotsAtExit() {
    for (tc_extension_row* row = tc_extension_table; row->handler != nullptr; ++row) {
      std::free(row->result);
      row->result = nullptr;
    }
  }
  void arm() {}
};
thread_local SlotsAtExit slots_at_exit;

}  // namespace

int32_t tc_retrieve_Extensions(const void* record, int32_t kind) {
  if (record == nullptr || kind > 2) return TC_INVALID_ARGUMENTS;
  slots_at_exit.arm();
  for (tc_extension_row* row = tc_extension_table; row->handler != nullptr; ++row) {
    std::free(row->result);
    row->result = nullptr;
  }
  const Extensions* list = nullptr;
  if (kind == kExtensionsOfCertificate)
    list = static_cast<const Certificate*>(record)->tbsCertificate.extensions;
  else if (kind == kExtensionsOfCRL)
    list = static_cast<const CertificateList*>(record)->tbsCertList.crlExtensions;
  if (list == nullptr) return TC_SUCCESS;

  const int32_t count = held(*list);
  for (int32_t i = 0; i < count; ++i) {
    const Extension* extension = list->items[i];
    if (extension == nullptr) continue;
    for (tc_extension_row* row = tc_extension_table; row->handler != nullptr; ++row) {
      if (!starts_with(extension->extnID, row->oid)) continue;
      char* text = nullptr;
      if (row->handler(&text, extension) != TC_SUCCESS) {
        std::free(text);
        continue;
      }
      if (text != nullptr) {
        std::free(row->result);
        row->result = text;
      }
      break;
    }
  }
  return TC_SUCCESS;
}

Extension_Results* Get_Extension_Results() {
  auto* results = static_cast<Extension_Results*>(detail::allocate(sizeof(Extension_Results)));
  if (results == nullptr) return nullptr;
  *results = Extension_Results{};
  // The slots' texts move into the record as they are.
  char** fields[kExtensionRows] = {&results->subjectAltName, &results->issuerAltName,
                                   &results->crlDistPoint, &results->crlNumber};
  for (int32_t i = 0; i < kExtensionRows; ++i) {
    *fields[i] = tc_extension_table[i].result;
    tc_extension_table[i].result = nullptr;
  }
  return results;
}

void free_Extension_Results(Extension_Results* results) {
  if (results == nullptr) return;
  std::free(results->subjectAltName);
  std::free(results->issuerAltName);
  std::free(results->crlDistPoint);
  std::free(results->crlNumber);
  std::free(results->keyUsage);
  std::free(results);
}

int32_t Get_CRLDistPt(const Certificate* certificate, char** out) {
  if (certificate == nullptr || out == nullptr) return 0;
  const Extensions* list = certificate->tbsCertificate.extensions;
  if (list == nullptr) return 0;
  tc_extension_row& row = tc_extension_table[kRowCRLDistPoints];
  const int32_t count = held(*list);
  for (int32_t i = 0; i < count; ++i) {
    const Extension* extension = list->items[i];
    if (extension == nullptr || !starts_with(extension->extnID, row.oid)) continue;
    char* text = nullptr;
    if (row.handler(&text, extension) != TC_SUCCESS) {
      std::free(text);
      return 0;
    }
    if (text != nullptr) {
      std::free(row.result);
      row.result = nullptr;
      *out = text;
      return 1;
    }
  }
  return 0;
}

}  // namespace qel
