// X.509 extensions as display texts. tc_retrieve_Extensions walks the
// extensions of a certificate or revocation list and hands each one it knows,
// through tc_extension_table, to a handler that decodes the extension's value
// and leaves a text in the row's result slot. Get_Extension_Results moves the
// slots' texts into an Extension_Results record.
//
// Every thread has a table of its own, so threads retrieve side by side; on
// one thread a retrieval and its results run to their end before the next
// starts. Texts a thread leaves in its slots are released when it ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../asn/asn.h"
#include "../types/certificate.h"

#pragma GCC visibility push(default)
namespace qel {

// OID content bytes of keyUsage, subjectAltName and issuerAltName.
inline constexpr uint8_t idce_15[3] = {0x55, 0x1D, 0x0F};
inline constexpr uint8_t idce_17[3] = {0x55, 0x1D, 0x11};
inline constexpr uint8_t idce_18[3] = {0x55, 0x1D, 0x12};

// A handler sets *out to null first, then to a heap text or leaves it null,
// and returns 0 for success. The caller owns the text whatever the result.
using tc_extension_handler = int32_t (*)(char** out, const Extension* extension);

// One known extension: the three OID content bytes and a zero, its handler,
// and the text of the last retrieval (owned by the row, null when none).
struct tc_extension_row {
  uint8_t oid[4];
  tc_extension_handler handler;
  char* result;
};

// subjectAltName, issuerAltName, cRLDistributionPoints, cRLNumber, then a
// row with a null handler that ends every walk.
inline constexpr int32_t kExtensionRows = 4;
extern thread_local constinit tc_extension_row tc_extension_table[kExtensionRows + 1];

// The texts of one retrieval; each null when absent. The record owns them.
// keyUsage has no row and so stays null.
struct Extension_Results {
  char* subjectAltName;
  char* issuerAltName;
  char* crlDistPoint;
  char* crlNumber;
  char* keyUsage;
};

// Which list tc_retrieve_Extensions walks.
inline constexpr int32_t kExtensionsOfCertificate = 0;  // record is a Certificate
inline constexpr int32_t kExtensionsOfCRL = 1;          // record is a CertificateList

// Empties every slot, then fills the slots from the extensions of `record`.
// Kind 2 and negative kinds name no list: the slots are emptied and nothing
// else happens. Returns 2 (slots untouched) for a null record or a kind above
// 2, otherwise 0, also when a handler failed: a failed handler leaves its
// slot as it was. Of several extensions of one kind the last one that yields
// a text wins.
int32_t tc_retrieve_Extensions(const void* record, int32_t kind);

// Hands the slots' texts over in a new record and empties the slots. Null
// when the record can't be allocated; the slots are then left as they are.
Extension_Results* Get_Extension_Results();

// Releases the texts and the record. Accepts null.
void free_Extension_Results(Extension_Results* results);

// Text of the first cRLDistributionPoints extension of `certificate` that
// yields one: 1 with a new heap text in *out, owned by the caller, or 0 with
// *out untouched (also when a handler fails: the rest is not read). Empties
// the slot of that row.
int32_t Get_CRLDistPt(const Certificate* certificate, char** out);

// GeneralNames as "/EA=a@b/DN=host/URI=x:y/IP=10.0.0.1/" ("//" for none).
// 2: bad argument or an extension other than subjectAltName/issuerAltName;
// 4: the value doesn't decode, or memory ran out; 8: a name without a text
// form (also an iPAddress shorter than 4 bytes), or a text longer than
// kSanTextLimit - 1 characters. Only on 0 is there a text.
inline constexpr size_t kSanTextLimit = 300;
int32_t tc_extract_SAN(char** out, const Extension* extension);

// The first name of the first distribution point: "/URI=x/" for a URI, the
// slash form for a directory name. Any other first name, or no name at all,
// gives no text and the decoder's result word (0 for a clean decode).
// 2: bad argument; 4: memory ran out; negative: the decoder's result word
// (a text built from a value the decoder complained about is the caller's to
// drop).
int32_t tc_extract_CDP(char** out, const Extension* extension);

// The CRL number in decimal ("%u"). 2: bad argument or another extension;
// 1: the value isn't an INTEGER; 4: memory ran out.
int32_t tc_extract_CLN(char** out, const Extension* extension);

}  // namespace qel
#pragma GCC visibility pop
