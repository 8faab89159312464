// Comparison of distinguished names at two strengths, and the self-signed test.
#include "toolkit/compare.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

namespace qel {

namespace {

constexpr int32_t kCannotTell = 2;


// Same length and bytes. A block that claims bytes but holds none matches
// nothing.
bool same_block(const vbl_blk& a, const vbl_blk& b) {
  if (a.length != b.length) return false;
  if (a.length <= 0) return true;
  return a.bytes != nullptr && b.bytes != nullptr &&
         std::memcmp(a.bytes, b.bytes, static_cast<size_t>(a.length)) == 0;
}

bool same_assertion(const AttributeValueAssertion* a, const AttributeValueAssertion* b) {
  if (a == nullptr || b == nullptr) return a == b;
  return same_block(a->attributeType, b->attributeType) &&
         same_block(a->attributeValue, b->attributeValue);
}

bool same_entry(const dNameEntry& a, const dNameEntry& b) {
  if (a.oid == nullptr || b.oid == nullptr) {
    if (a.oid != b.oid) return false;
  } else {
    const int32_t length = tc_attr_oid_length(a.oid);
    if (length != tc_attr_oid_length(b.oid) ||
        std::memcmp(a.oid, b.oid, static_cast<size_t>(length)) != 0)
      return false;
  }
  return strcasecmp(a.value ? a.value : "", b.value ? b.value : "") == 0;
}

// Slash text of a name parsed back; null when there is none.
dName* reparsed(const Name* name) {
  if (name == nullptr) return nullptr;
  char* text = nullptr;
  if (tc_decode_dname(&text, static_cast<const RDNSequence*>(name->value)) != 0) return nullptr;
  dName* parsed = tc_create_dName(text);
  std::free(text);
  return parsed;
}

}  // namespace

int32_t tc_compare_Name(const Name* a, const Name* b) {
  if (a == nullptr || b == nullptr || a->value == nullptr || b->value == nullptr) return 2;
  const auto* x = static_cast<const RDNSequence*>(a->value);
  const auto* y = static_cast<const RDNSequence*>(b->value);
  if (x->count != y->count) return 1;
  for (int32_t i = 0; i < held(*x); ++i) {
    const RelativeDistinguishedName* p = x->items[i];
    const RelativeDistinguishedName* q = y->items[i];
    if ((p == nullptr || q == nullptr) ? p != q : tc_compare_RDN(p, q) == 0) return 1;
  }
  return 0;
}

int32_t tc_compare_RDN(const RelativeDistinguishedName* a, const RelativeDistinguishedName* b) {
  if (a == nullptr || b == nullptr) return a == b ? 1 : 0;
  if (a->count != b->count) return 0;
  const int32_t n = held(*a);
  for (int32_t i = 0; i < n; ++i) {
    bool found = false;
    for (int32_t j = 0; j < n && !found; ++j) found = same_assertion(a->items[i], b->items[j]);
    if (!found) return 0;
  }
  return 1;
}

int32_t tc_compare_dName(const dName* a, const dName* b) {
  if (a == nullptr || b == nullptr) return a == b ? 0 : 1;
  dNameEntry* const* x = a->entries;
  dNameEntry* const* y = b->entries;
  for (; x != nullptr && y != nullptr && *x != nullptr && *y != nullptr; ++x, ++y)
    if (!same_entry(**x, **y)) return 1;
  const bool x_ended = x == nullptr || *x == nullptr;
  const bool y_ended = y == nullptr || *y == nullptr;
  return x_ended && y_ended ? 0 : 1;
}

int32_t tc_compare_dname(const Name* a, const Name* b) {
  dName* x = reparsed(a);
  dName* y = reparsed(b);
  int32_t answer = kCannotTell;
  if (x != nullptr && y != nullptr) answer = tc_compare_dName(x, y) == 0 ? 1 : 0;
  tc_free_dName(x);
  tc_free_dName(y);
  return answer;
}

int32_t tc_isSelfSigned(const Certificate* certificate) {
  if (certificate == nullptr) return 0;
  const TBSCertificate& tbs = certificate->tbsCertificate;
  return tc_compare_Name(&tbs.issuer, &tbs.subject) == 0 ? 1 : 0;
}

}  // namespace qel
