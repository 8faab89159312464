// Comparison of distinguished names, and the self-signed test.
//
// Each operation has its own answers:
//   tc_compare_Name   0 equal, 1 differ, 2 null argument or a Name without value
//   tc_compare_RDN    1 equal, 0 differ
//   tc_compare_dName  0 equal, 1 differ
//   tc_compare_dname  1 equal, 0 differ, 2 cannot tell (see below)
//   tc_isSelfSigned   1 issuer equals subject, 0 otherwise
#pragma once

#include <cstdint>

#include "../types/certificate.h"
#include "../types/names.h"
#include "dname.h"

#pragma GCC visibility push(default)
namespace qel {

// Byte-exact comparison: RDNs in order, the values of one RDN as a set.
int32_t tc_compare_Name(const Name* a, const Name* b);
// Whether every value of `a` has an equal value (type and whole element) in
// `b`, with equal counts. One-directional: values are not paired off.
int32_t tc_compare_RDN(const RelativeDistinguishedName* a, const RelativeDistinguishedName* b);
// Entries in order: the same attribute and values equal ignoring case. An
// entry without `oid` (a label without a row) is an attribute of its own
// that matches only another entry without `oid`; the label text is not kept,
// so two such entries compare by their values alone.
int32_t tc_compare_dName(const dName* a, const dName* b);
// Compares through the slash text and its parsed form, so only attributes
// with a row count and letter case is ignored. Answers 2 when either name
// gives no comparable text: a null name or one without value, a text that
// does not parse back (a value holding a slash), or no memory. Test for 1,
// not for non-zero.
int32_t tc_compare_dname(const Name* a, const Name* b);
// 1 when tc_compare_Name finds issuer and subject equal; no signature check.
int32_t tc_isSelfSigned(const Certificate* certificate);

}  // namespace qel
#pragma GCC visibility pop
