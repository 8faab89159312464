// The report of one decoded certificate: names, serial number, validity,
// algorithms with their raw bytes, and the texts of the known extensions.
#pragma once

#include <cstdint>
#include <ctime>

#include "asn/asn.h"
#include "types/certificate.h"

namespace qel {

// OID content bytes of the RSA algorithms the report names, in the order
// hash_alg tries them.
extern const uint8_t RSAMD5oid[9];
extern const uint8_t RSASHA1oid[9];
extern const uint8_t RSAMD2oid[9];
extern const uint8_t RSAoid[9];

// Codes of hash_alg; 0 for any other identifier.
inline constexpr int32_t kAlgRSA = 0x2400;
inline constexpr int32_t kAlgMD2RSA = 0x8001;
inline constexpr int32_t kAlgMD5RSA = 0x8003;
inline constexpr int32_t kAlgSHA1RSA = 0x8004;

// Algorithm names by row: "Unknown", then RSA, MD2, MD5 and SHA-1 with RSA,
// closed by null.
extern const char* const sig_alg_str[6];

// Code of an identifier that equals one of the four arrays exactly, else 0.
int32_t hash_alg(const vbl_blk* oid);
// Row of sig_alg_str for an identifier: 1 to 4, or 0 when unknown.
int32_t alg_index(const vbl_blk* oid);

// Writes the bytes as "  %02x", eight to a line, then one empty line. With
// no bytes (length 0, or a null pointer) only the empty line is written.
void PrintBuf(const uint8_t* bytes, uint32_t length);

// Writes the report of `certificate` on standard output. When the issuer or
// subject text can't be made it writes its message and ends the process with
// status 0.
void dump_cert(const Certificate* certificate);

// The time text of the validity lines. Defaults to ctime; tests replace it.
// The seconds are the unsigned 32-bit count widened to time_t, so that with a
// 64-bit time_t the dates from 2038 to 2106 print as what they are.
extern char* (*report_ctime)(const time_t* seconds);

}  // namespace qel
