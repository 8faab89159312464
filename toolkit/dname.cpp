// Distinguished names as text, and the attribute table behind the labels.
#include "asn/pool.h"
#include "toolkit/codes.h"
#include "toolkit/dname.h"
#include "toolkit/text.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "asn/alloc.h"

namespace qel {

namespace {

// Room of an RDNSequence, which tc_encode_Name fills.
constexpr auto kListCapacity =
    static_cast<int32_t>(std::extent_v<decltype(RDNSequence::items)>);
constexpr uint8_t kPrintableString = 0x13;

// Whether the row's OID bytes start `oid`. Compares byte by byte and stops at
// the first difference, so that no more of `oid` is read than needed.
bool row_starts(const tc_attr_row& row, const uint8_t* oid) {
  for (int32_t i = 0; i < row.oidLength; ++i)
    if (oid[i] != row.oid[i]) return false;
  return true;
}

const tc_attr_row* row_of_oid(const uint8_t* oid, int32_t available) {
  for (const tc_attr_row* row = tc_attr_table; row->oid[0] != 0; ++row)
    if (row->oidLength <= available && row_starts(*row, oid)) return row;
  return nullptr;
}

const Name* pick_name(const void* record, int32_t selector) {
  if (selector == kDnameRequestSubject)
    return &static_cast<const CertificationRequest*>(record)->certificationRequestInfo.subject;
  const TBSCertificate& tbs = static_cast<const Certificate*>(record)->tbsCertificate;
  return selector == kDnameIssuer ? &tbs.issuer : &tbs.subject;
}

int32_t extract(char** out, const void* record, int32_t selector, char separator,
                int32_t bracketed, int32_t reversed) {
  if (out == nullptr || record == nullptr) return TC_INVALID_ARGUMENTS;
  const auto* sequence = static_cast<const RDNSequence*>(pick_name(record, selector)->value);
  return tc_format_dname(sequence, out, separator, bracketed, reversed);
}

void free_entries(dNameEntry** entries) {
  if (entries == nullptr) return;
  for (dNameEntry** e = entries; *e != nullptr; ++e) {
    std::free((*e)->value);
    std::free(*e);
  }
  std::free(entries);
}

}  // namespace

const tc_attr_row tc_attr_table[kAttrRows + 1] = {
    {"CN", {0x55, 0x04, 0x03}, 3},
    {"S", {0x55, 0x04, 0x04}, 3},
    {"SN", {0x55, 0x04, 0x05}, 3},
    {"C", {0x55, 0x04, 0x06}, 3},
    {"L", {0x55, 0x04, 0x07}, 3},
    {"ST", {0x55, 0x04, 0x08}, 3},
    {"SA", {0x55, 0x04, 0x09}, 3},
    {"O", {0x55, 0x04, 0x0A}, 3},
    {"OU", {0x55, 0x04, 0x0B}, 3},
    {"T", {0x55, 0x04, 0x0C}, 3},
    {"PA", {0x55, 0x04, 0x10}, 3},
    {"PC", {0x55, 0x04, 0x11}, 3},
    {"PO", {0x55, 0x04, 0x12}, 3},
    {"TN", {0x55, 0x04, 0x14}, 3},
    {"FAX", {0x55, 0x04, 0x17}, 3},
    {"emailAddress", {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x01}, 9},
    {nullptr, {0}, 3},
};

// ---------------------------------------------------------------------------
// Attribute table and attribute values.

int32_t tc_find_attr_by_label(dNameEntry* entry, const char* text) {
  if (entry == nullptr || text == nullptr) return TC_SUCCESS;
  for (const tc_attr_row* row = tc_attr_table; row->oid[0] != 0; ++row) {
    if (strcasecmp(row->label, text) == 0) {
      entry->oid = row->oid;
      entry->label = row->label;
      break;
    }
  }
  return TC_SUCCESS;
}

int32_t tc_attr_oid_length(const uint8_t* oid) {
  if (oid == nullptr) return tc_attr_table[kAttrRows].oidLength;
  for (const tc_attr_row* row = tc_attr_table; row->oid[0] != 0; ++row)
    if (row_starts(*row, oid)) return row->oidLength;
  return tc_attr_table[kAttrRows].oidLength;
}

const char* tc_attr_label(const AttributeValueAssertion* ava) {
  if (ava == nullptr || ava->attributeType.bytes == nullptr) return nullptr;
  const tc_attr_row* row = row_of_oid(ava->attributeType.bytes, ava->attributeType.length);
  return row ? row->label : nullptr;
}

int32_t tc_set_ava(AttributeValueAssertion* ava, const uint8_t* oid, int32_t oidLength,
                   int32_t tag, const uint8_t* value, int32_t valueLength) {
  if (ava == nullptr || oidLength < 0 || valueLength < 0 || (oid == nullptr && oidLength > 0) ||
      (value == nullptr && valueLength > 0))
    return TC_INVALID_ARGUMENTS;
  vbl_blk& type = ava->attributeType;
  vbl_blk& element = ava->attributeValue;
  dip_vbl_blk(&element);
  element.length = 0;
  const uint32_t size = static_cast<uint32_t>(valueLength);
  const uint32_t total = size + 1u + static_cast<uint32_t>(length_size(size));
  uint8_t* bytes = nullptr;
  if (put_str_val(&type, oid, static_cast<uint32_t>(oidLength)) != 0 || total > 0x7FFFFFFFu ||
      (bytes = detail::take_octets(total)) == nullptr) {
    dip_vbl_blk(&type);
    type.length = 0;
    return TC_MEMORY;
  }
  element.bytes = bytes;
  element.length = static_cast<int32_t>(total);
  put_byte(&bytes, tag & 0xFF);
  put_lth(&bytes, size);
  if (size > 0) std::memcpy(bytes, value, size);
  return TC_SUCCESS;
}

int32_t tc_get_ava(int32_t* tag, const uint8_t** content, int32_t* length, const vbl_blk* block) {
  if (tag == nullptr || content == nullptr || length == nullptr || block == nullptr ||
      block->bytes == nullptr || block->length <= 0)
    return TC_INVALID_ARGUMENTS;
  const uint8_t* pos = block->bytes;
  const uint8_t* end = pos + block->length;
  *tag = get_byte(&pos, end);
  const uint32_t declared = get_lth(&pos, end);  // LENGTH_PAST_LIMIT leaves pos at end
  const auto held = static_cast<uint32_t>(end - pos);
  *content = pos;
  *length = static_cast<int32_t>(declared < held ? declared : held);
  return TC_SUCCESS;
}

// ---------------------------------------------------------------------------
// Writing names.

int32_t tc_format_dname(const RDNSequence* sequence, char** out, char separator,
                        int32_t bracketed, int32_t reversed) {
  if (sequence == nullptr || out == nullptr) return TC_UNKNOWN;
  *out = nullptr;
  TextBuilder text;
  const int32_t rdns = held(*sequence);
  // A bracketed text without RDNs is the separator twice.
  if (bracketed) text.append(separator);
  if (bracketed && rdns == 0) text.append(separator);
  for (int32_t step = 0; step < rdns; ++step) {
    const RelativeDistinguishedName* rdn = sequence->items[reversed ? rdns - 1 - step : step];
    if (rdn == nullptr) continue;
    // In the last RDN walked of an unbracketed text the separator goes
    // between values only; everywhere else it follows each value.
    const bool between = !bracketed && step == rdns - 1;
    bool first_written = true;
    for (int32_t v = 0; v < held(*rdn); ++v) {
      const AttributeValueAssertion* ava = rdn->items[v];
      const char* label = tc_attr_label(ava);
      if (label == nullptr) continue;
      int32_t tag = 0;
      int32_t length = 0;
      const uint8_t* content = nullptr;
      if (tc_get_ava(&tag, &content, &length, &ava->attributeValue) != TC_SUCCESS) length = 0;
      if (between && !first_written) text.append(separator);
      text.append(label);
      text.append('=');
      text.append(content, text_length(content, length));
      if (!between) text.append(separator);
      first_written = false;
    }
  }
  *out = text.take();
  return *out != nullptr ? TC_SUCCESS : TC_MEMORY;
}

int32_t tc_extract_dname(char** out, const void* record, int32_t selector) {
  return extract(out, record, selector, '/', 1, 0);
}

int32_t tc_extract_dname_ldap(char** out, const void* record, int32_t selector) {
  return extract(out, record, selector, ',', 0, 1);
}

int32_t tc_decode_dname(char** out, const RDNSequence* sequence) {
  if (out == nullptr || sequence == nullptr) return TC_INVALID_ARGUMENTS;
  return tc_format_dname(sequence, out, '/', 1, 0);
}

int32_t tc_strcpyX(const Certificate* certificate, int32_t useIssuer, int32_t attributeIndex,
                   char** out) {
  if (certificate == nullptr || out == nullptr) return -1;
  const TBSCertificate& tbs = certificate->tbsCertificate;
  const Name& name = useIssuer ? tbs.issuer : tbs.subject;
  if (name.tag != 0x30) return -1;
  *out = nullptr;
  if (attributeIndex < 0 || attributeIndex >= kAttrRows || name.value == nullptr) return -1;
  const tc_attr_row& row = tc_attr_table[attributeIndex];
  const auto* sequence = static_cast<const RDNSequence*>(name.value);
  for (int32_t i = 0; i < held(*sequence); ++i) {
    const RelativeDistinguishedName* rdn = sequence->items[i];
    if (rdn == nullptr || rdn->count <= 0 || rdn->items[0] == nullptr) continue;
    const AttributeValueAssertion& ava = *rdn->items[0];
    if (ava.attributeType.bytes == nullptr || ava.attributeType.length < row.oidLength ||
        !row_starts(row, ava.attributeType.bytes))
      continue;
    int32_t tag = 0;
    int32_t length = 0;
    const uint8_t* content = nullptr;
    if (tc_get_ava(&tag, &content, &length, &ava.attributeValue) != TC_SUCCESS) length = 0;
    TextBuilder text;
    text.append(content, text_length(content, length));
    *out = text.take();
    return *out != nullptr ? 0 : -1;
  }
  return -1;
}

void tc_free_dname(char* texts[32]) {
  if (texts == nullptr) return;
  for (int i = 0; i < 32; ++i) {
    std::free(texts[i]);
    texts[i] = nullptr;
  }
}

// ---------------------------------------------------------------------------
// Parsing names.

// Splitting uses strtok_r, which splits exactly as strtok does (runs of
// separators count as one, no empty tokens) without process-wide state.
dName* tc_create_dName(const char* text) {
  if (text == nullptr) return nullptr;
  const char separator[2] = {text[0] == '/' ? '/' : ',', '\0'};
  if (std::strchr(text, separator[0]) == nullptr) return nullptr;
  auto* name = static_cast<dName*>(detail::allocate_zeroed(1, sizeof(dName)));
  char* copy = detail::duplicate(text);
  size_t count = 0;
  if (name != nullptr)
    name->entries = static_cast<dNameEntry**>(detail::allocate_zeroed(1, sizeof(dNameEntry*)));
  bool good = name != nullptr && name->entries != nullptr && copy != nullptr;
  char* state = nullptr;
  for (char* token = good ? strtok_r(copy, separator, &state) : nullptr; token != nullptr;
       token = strtok_r(nullptr, separator, &state)) {
    char* equals = std::strchr(token, '=');
    if (equals == nullptr) {
      good = false;
      break;
    }
    *equals = '\0';
    auto** grown = static_cast<dNameEntry**>(
        detail::reallocate(name->entries, (count + 2) * sizeof(dNameEntry*)));
    if (grown == nullptr) {
      good = false;
      break;
    }
    name->entries = grown;
    grown[count + 1] = nullptr;
    auto* entry = static_cast<dNameEntry*>(detail::allocate_zeroed(1, sizeof(dNameEntry)));
    grown[count] = entry;
    if (entry == nullptr || (entry->value = detail::duplicate(equals + 1)) == nullptr) {
      good = false;
      break;
    }
    ++count;
    tc_find_attr_by_label(entry, token);
  }
  std::free(copy);
  if (!good) {
    if (name != nullptr) tc_free_dName(name);
    return nullptr;
  }
  if (separator[0] == ',') {
    for (size_t i = 0, j = count; i + 1 < j; ++i, --j) {
      dNameEntry* swap = name->entries[i];
      name->entries[i] = name->entries[j - 1];
      name->entries[j - 1] = swap;
    }
  }
  return name;
}

int32_t tc_free_dName(dName* name) {
  if (name == nullptr) return TC_SUCCESS;
  free_entries(name->entries);
  std::free(name);
  return TC_SUCCESS;
}

int32_t tc_encode_Name(Name* name, const dName* dn) {
  if (name == nullptr || dn == nullptr) return TC_INVALID_ARGUMENTS;
  name->tag = 0;
  name->value = nullptr;
  int32_t count = 0;
  for (dNameEntry* const* e = dn->entries; e != nullptr && *e != nullptr; ++e, ++count) {
    if ((*e)->oid == nullptr || (*e)->value == nullptr || count == kListCapacity)
      return TC_INVALID_ARGUMENTS;
  }
  RDNSequence* sequence = new_RDNSequence();
  if (sequence == nullptr) return TC_MEMORY;
  for (int32_t i = 0; i < count; ++i) {
    const dNameEntry& entry = *dn->entries[i];
    RelativeDistinguishedName* rdn = new_RelativeDistinguishedName();
    if (rdn != nullptr) {
      sequence->items[i] = rdn;
      sequence->count = i + 1;
      rdn->items[0] = new_AttributeValueAssertion();
    }
    if (rdn == nullptr || rdn->items[0] == nullptr) {
      drop_RDNSequence(sequence);
      return TC_MEMORY;
    }
    rdn->count = 1;
    const size_t length = std::strlen(entry.value);
    if (length > 0x7FFF0000u ||
        tc_set_ava(rdn->items[0], entry.oid, tc_attr_oid_length(entry.oid), kPrintableString,
                   reinterpret_cast<const uint8_t*>(entry.value),
                   static_cast<int32_t>(length)) != TC_SUCCESS) {
      drop_RDNSequence(sequence);
      return TC_MEMORY;
    }
  }
  name->tag = 0x30;
  name->value = sequence;
  return TC_SUCCESS;
}

}  // namespace qel
