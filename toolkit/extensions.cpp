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

// Whether the content of `block` may be read: false for a missing block and
// for one with a length but no bytes (a failed allocation).
bool readable(const vbl_blk* block) {
  return block != nullptr && (block->length <= 0 || block->bytes != nullptr);
}

// Decodes the extension's extnValue with `unpack` under `tag`, from its bytes
// up to its length; `err` gets the decoder's result word. The record, or null,
// belongs to the caller.
template <typename Record>
Record* unpack_value(const Extension& extension,
                     Record* (*unpack)(const uint8_t**, const uint8_t*, int32_t, int32_t*),
                     int32_t tag, int32_t& err) {
  const vbl_blk& value = extension.extnValue;
  const uint8_t* position = value.bytes;
  const uint8_t* limit =
      value.bytes == nullptr ? nullptr : value.bytes + (value.length > 0 ? value.length : 0);
  err = 0;
  return unpack(&position, limit, tag, &err);
}

// Appends one general name in its text form and a slash. TC_SUCCESS, or the
// code that ends the whole text.
int32_t append_name(TextBuilder& text, const GeneralName* name) {
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
  if (!readable(content)) return TC_MEMORY;
  if (name->tag != kTagIp) {
    text.append(label);
    text.append(content->bytes, text_length(content->bytes, content->length));
    text.append('/');
    return TC_SUCCESS;
  }
  // A dotted quad of the first four bytes; a shorter address has no text.
  if (content->length < 4) return TC_INVALID_EXTENSION;
  const uint8_t* b = content->bytes;
  text.appendf("IP=%u.%u.%u.%u/", b[0], b[1], b[2], b[3]);
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
  int32_t err = 0;
  // A list the decoder stopped early is used as far as it goes.
  GeneralNames* names = unpack_value(*extension, _unpack_GeneralNames, 0x30, err);
  if (names == nullptr) return TC_MEMORY;

  TextBuilder text(kSanTextLimit);
  int32_t result = TC_SUCCESS;
  const int32_t count = held(*names);
  text.append(count == 0 ? "//" : "/");
  for (int32_t i = 0; i < count && result == TC_SUCCESS; ++i)
    result = append_name(text, names->items[i]);
  drop_GeneralNames(names);
  if (result != TC_SUCCESS) return result;
  if (text.out_of_memory()) return TC_MEMORY;
  // A text that would not fit is dropped whole rather than cut short.
  if (text.overflowed()) return TC_INVALID_EXTENSION;
  *out = text.take();
  return *out != nullptr ? TC_SUCCESS : TC_MEMORY;
}

int32_t tc_extract_CDP(char** out, const Extension* extension) {
  if (out != nullptr) *out = nullptr;
  if (out == nullptr || extension == nullptr) return TC_INVALID_ARGUMENTS;
  int32_t err = 0;
  CRLDistPointsSyntax* points = unpack_value(*extension, _unpack_CRLDistPointsSyntax, 0x30, err);
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
    TextBuilder text;
    text.append('/');
    if (append_name(text, name) != TC_SUCCESS || (*out = text.take()) == nullptr)
      result = TC_MEMORY;
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
  int32_t err = 0;
  vbl_blk* number = unpack_value(*extension, _unpack_INTEGER, 0x02, err);
  if (number == nullptr || err != 0) {
    drop_vbl_blk(number);
    return TC_UNKNOWN;
  }
  TextBuilder text;
  text.appendf("%u", static_cast<unsigned>(get_int_val(number)));
  drop_vbl_blk(number);
  *out = text.take();
  return *out != nullptr ? TC_SUCCESS : TC_MEMORY;
}

namespace {

// Releases the texts in the calling thread's slots and empties them.
void clear_slots() {
  for (tc_extension_row* row = tc_extension_table; row->handler != nullptr; ++row) {
    std::free(row->result);
    row->result = nullptr;
  }
}

// Releases the texts left in the calling thread's slots when it ends.
struct SlotsAtExit {
  ~SlotsAtExit() { clear_slots(); }
  void arm() {}
};
thread_local SlotsAtExit slots_at_exit;

}  // namespace

int32_t tc_retrieve_Extensions(const void* record, int32_t kind) {
  if (record == nullptr || kind > 2) return TC_INVALID_ARGUMENTS;
  slots_at_exit.arm();
  clear_slots();
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
