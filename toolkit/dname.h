// Distinguished names as text: the attribute table, the two halves of an
// attribute value assertion, the slash and LDAP text forms, and the parsed
// form `dName`.
//
// Slash form: /C=US/O=Acme/CN=Root/   (RDNs in sequence order, bracketed)
// LDAP form:  CN=Root,O=Acme,C=US     (last RDN first, no outer separators)
// Neither form quotes or escapes anything; a value is its raw content bytes
// up to the first zero byte, whatever its string type.
//
// Result codes: 0 success, 1 nothing to write (no sequence or no out), 2 bad
// arguments, 4 out of memory. A text handed out through `out` is a
// zero-terminated heap block owned by the caller and released with free().
#pragma once

#include <cstdint>

#include "../asn/asn.h"
#include "../types/certificate.h"
#include "../types/names.h"
#include "../types/request.h"

#pragma GCC visibility push(default)
namespace qel {

// One known name attribute: text label and the content bytes of its OID.
struct tc_attr_row {
  const char* label;
  uint8_t oid[12];
  int32_t oidLength;
};

// The sixteen known attributes in fixed row order (tc_strcpyX takes a row
// number), closed by a row whose first OID byte is zero and whose oidLength,
// 3, is what tc_attr_oid_length answers for an unknown OID.
inline constexpr int32_t kAttrRows = 16;
extern const tc_attr_row tc_attr_table[kAttrRows + 1];

// One component of a name parsed from text. `oid` and `label` point into
// tc_attr_table (null for a label without a row); `value` is owned.
struct dNameEntry {
  const uint8_t* oid;
  const char* label;
  char* value;
};

// A name parsed from text: `entries` is closed by a null pointer.
struct dName {
  dNameEntry** entries;
};

// Sets entry->oid and entry->label from the first row whose label equals
// `text` ignoring case; leaves the entry alone without such a row. Returns 0.
int32_t tc_find_attr_by_label(dNameEntry* entry, const char* text);
// oidLength of the first row whose OID bytes start `oid`, else 3. `oid` must
// point to at least as many readable bytes as the row compared against
// (tc_attr_table rows and dNameEntry::oid always do).
int32_t tc_attr_oid_length(const uint8_t* oid);
// Label of the first row whose OID starts the assertion's attributeType, or
// null. The text belongs to the table.
const char* tc_attr_label(const AttributeValueAssertion* ava);

// Fills both halves of `ava`: a copy of the OID, and the element
// tag + DER length + `valueLength` value bytes. Earlier contents are
// released. Returns 0; 2 for bad arguments; 4 when a copy cannot be
// allocated, in which case both halves are left empty (length 0, no bytes).
int32_t tc_set_ava(AttributeValueAssertion* ava, const uint8_t* oid, int32_t oidLength,
                   int32_t tag, const uint8_t* value, int32_t valueLength);
// Reads the tag byte and DER length at the front of `block` and points
// `*content` at the content inside it; nothing is copied. The reads stay
// inside the block: a length that runs past its end is cut to the bytes the
// block holds. Returns 0; 2 for a null argument or a block without bytes.
int32_t tc_get_ava(int32_t* tag, const uint8_t** content, int32_t* length, const vbl_blk* block);

// Selectors of the extract operations.
inline constexpr int32_t kDnameSubject = 0;         // Certificate subject
inline constexpr int32_t kDnameIssuer = 1;          // Certificate issuer
inline constexpr int32_t kDnameRequestSubject = 2;  // CertificationRequest subject

// Writes the slash (LDAP) form of the name `selector` picks from `record`, a
// Certificate or, with selector 2, a CertificationRequest. Returns 2 for a
// null `out` or `record`, otherwise the result of tc_format_dname.
int32_t tc_extract_dname(char** out, const void* record, int32_t selector);
int32_t tc_extract_dname_ldap(char** out, const void* record, int32_t selector);
// Writes the slash form of an RDNSequence. 2 for a null argument.
int32_t tc_decode_dname(char** out, const RDNSequence* sequence);
// Writes `sequence` as text: slash form is ('/', 1, 0), LDAP form (',', 0, 1).
// Values without a row in tc_attr_table are skipped. Returns 0; 1 for a null
// `sequence` or `out`; 4 when memory runs out, with *out null and nothing
// left allocated.
int32_t tc_format_dname(const RDNSequence* sequence, char** out, char separator,
                        int32_t bracketed, int32_t reversed);
// Copies the value of attribute row `attributeIndex` (0 to 15) from the
// issuer (useIssuer != 0) or subject: the first RDN whose first value has
// that type. Returns 0 with *out set, or -1 (not found, bad arguments, out of
// memory) with *out null.
int32_t tc_strcpyX(const Certificate* certificate, int32_t useIssuer, int32_t attributeIndex,
                   char** out);
// Frees each non-null text of the 32 and sets it to null.
void tc_free_dname(char* texts[32]);

// Parses a slash-form or comma-form text; null for a null text, a text
// without its separator, a token without "=", or no memory. Comma-form
// entries are reversed, so both forms of a name give the same dName.
dName* tc_create_dName(const char* text);
// Releases the record and all it owns. Accepts null. Returns 0.
int32_t tc_free_dName(dName* name);
// Fills the caller's empty `name` from `dn`: one RDN of one PrintableString
// value per entry, in entry order. Returns 0; 2 for a null argument, an entry
// without `oid` or `value`, or more than 32 entries; 4 out of memory. On
// every failure nothing is built: `name` is left with tag 0 and no value.
int32_t tc_encode_Name(Name* name, const dName* dn);

}  // namespace qel
#pragma GCC visibility pop
