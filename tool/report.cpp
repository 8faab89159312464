// The certificate report. Everything is gathered first, then printed.
#include "tool/report.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/dname.h"
#include "toolkit/extensions.h"
#include "toolkit/timeconv.h"

namespace qel {

const uint8_t RSAMD5oid[9] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x04};
const uint8_t RSASHA1oid[9] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x05};
const uint8_t RSAMD2oid[9] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x02};
const uint8_t RSAoid[9] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01};

const char* const sig_alg_str[6] = {
    "Unknown",
    "RSA Encryption",
    "MD2 Hash with RSA Encryption",
    "MD5 Hash with RSA Encryption",
    "SHA-1 Hash with RSA Encryption",
    nullptr,
};

char* (*report_ctime)(const time_t* seconds) = std::ctime;

namespace {

constexpr uint8_t kTagNull = 0x05;
constexpr uint8_t kTagUTCTime = 0x17;
constexpr uint8_t kTagGeneralizedTime = 0x18;

struct AlgRow {
  const uint8_t* oid;
  int32_t code;
};
constexpr AlgRow kAlgRows[] = {
    {RSAMD5oid, kAlgMD5RSA},
    {RSASHA1oid, kAlgSHA1RSA},
    {RSAMD2oid, kAlgMD2RSA},
    {RSAoid, kAlgRSA},
};

// Bytes and length to show; a block that lost its bytes shows as empty.
struct Bytes {
  const uint8_t* data = nullptr;
  uint32_t length = 0;
};

Bytes shown(const uint8_t* data, int32_t length) {
  if (data == nullptr || length <= 0) return {};
  return {data, static_cast<uint32_t>(length)};
}

uint32_t date_seconds(const CertificateValidityDate& date) {
  const auto* text = static_cast<const vbl_blk*>(date.value);
  if (date.tag == kTagUTCTime) return tc_decode_UTCTime(text);
  if (date.tag == kTagGeneralizedTime) return tc_decode_GeneralizedTime(text);
  return 0;
}

void print_date(const char* label, uint32_t seconds) {
  const time_t when = static_cast<time_t>(seconds);
  const char* text = report_ctime(&when);
  // Without a text the line keeps its shape: the label, a stand-in and the
  // empty line that ctime's own newline would give.
  std::printf("%s: %s\n", label, text != nullptr ? text : "(null)\n");
}

void print_serial(const INTEGER& serial) {
  std::fputs("SERIAL NUMBER: ", stdout);
  if (serial.length <= 4 || serial.bytes == nullptr) {
    std::printf("%d\n", get_int_val(&serial));
    return;
  }
  for (int32_t i = 0; i < serial.length; ++i) std::printf("%02x", serial.bytes[i]);
  std::fputs("\n", stdout);
}

[[noreturn]] void give_up(const char* message) {
  std::puts(message);
  std::fflush(stdout);
  std::exit(0);
}

}  // namespace

int32_t hash_alg(const vbl_blk* oid) {
  if (oid == nullptr || oid->length != 9 || oid->bytes == nullptr) return 0;
  for (const AlgRow& row : kAlgRows)
    if (std::memcmp(oid->bytes, row.oid, 9) == 0) return row.code;
  return 0;
}

int32_t alg_index(const vbl_blk* oid) {
  switch (hash_alg(oid)) {
    case kAlgRSA: return 1;
    case kAlgMD2RSA: return 2;
    case kAlgMD5RSA: return 3;
    case kAlgSHA1RSA: return 4;
    default: return 0;
  }
}

void PrintBuf(const uint8_t* bytes, uint32_t length) {
  if (bytes == nullptr) length = 0;
  for (uint32_t i = 0; i < length; ++i)
    std::printf(i % 8 == 7 || i + 1 == length ? "  %02x\n" : "  %02x", bytes[i]);
  std::fputs("\n", stdout);
}

void dump_cert(const Certificate* certificate) {
  char* issuer = nullptr;
  char* subject = nullptr;
  if (tc_extract_dname(&issuer, certificate, kDnameIssuer) != 0)
    give_up("Error extracting issuer distinguished name from certificate.");
  if (tc_extract_dname(&subject, certificate, kDnameSubject) != 0) {
    std::free(issuer);
    give_up("Error extracting subject distinguished name from certificate.");
  }

  const TBSCertificate& tbs = certificate->tbsCertificate;
  const int32_t version = get_int_val(tbs.version);
  const uint32_t not_before = date_seconds(tbs.validity.notBefore);
  const uint32_t not_after = date_seconds(tbs.validity.notAfter);

  const AlgorithmIdentifier& signature = certificate->signatureAlgorithm;
  const Bytes sig_oid = shown(signature.algorithm.bytes, signature.algorithm.length);
  const int32_t sig_row = alg_index(&signature.algorithm);
  // A NULL element, absent parameters and a block without bytes all show as
  // empty; anything else is shown whole, tag and length included.
  Bytes parameters;
  if (signature.parameters != nullptr)
    parameters = shown(signature.parameters->bytes, signature.parameters->length);
  if (parameters.length > 0 && parameters.data[0] == kTagNull) parameters = {};

  const SubjectPublicKeyInfo& key_info = tbs.subjectPublicKeyInfo;
  const Bytes key = shown(key_info.subjectPublicKey.bytes, key_info.subjectPublicKey.length);
  const Bytes key_oid = shown(key_info.algorithm.algorithm.bytes, key_info.algorithm.algorithm.length);
  const int32_t key_row = alg_index(&key_info.algorithm.algorithm);

  if (tc_retrieve_Extensions(certificate, kExtensionsOfCertificate) != 0)
    std::fputs("Error extracting certificate extensions \n", stdout);
  Extension_Results* results = Get_Extension_Results();
  const Extension_Results none{};
  const Extension_Results& texts = results != nullptr ? *results : none;

  std::printf("VERSION: %d\n", version);
  print_serial(tbs.serialNumber);
  if (issuer != nullptr) std::printf("ISSUER: %s\n", issuer);
  if (texts.issuerAltName != nullptr) std::printf("ISSUER-ALT NAME: %s\n", texts.issuerAltName);
  if (subject != nullptr) std::printf("SUBJECT: %s\n", subject);
  if (texts.subjectAltName != nullptr) std::printf("SUBJECT-ALT NAME: %s\n", texts.subjectAltName);
  if (texts.crlDistPoint != nullptr) std::printf("DISTRIBUTION POINT: %s\n", texts.crlDistPoint);
  print_date("NOTBEFORE", not_before);
  print_date("NOTAFTER", not_after);
  std::printf("SIG ALG:  %s\n", sig_alg_str[sig_row]);
  PrintBuf(sig_oid.data, sig_oid.length);
  std::printf("PARAM : len = %d\n", static_cast<int>(parameters.length));
  PrintBuf(parameters.data, parameters.length);
  std::printf("PUBKEY: len = %d\n", static_cast<int>(key.length));
  PrintBuf(key.data, key.length);
  std::printf("KEY ALG:  %s\n", sig_alg_str[key_row]);
  PrintBuf(key_oid.data, key_oid.length);
  if (texts.keyUsage != nullptr) std::printf("KEY USAGE: %s\n", texts.keyUsage);
  std::fputs("\n", stdout);

  // Nothing printed refers to these any more.
  free_Extension_Results(results);
  std::free(subject);
  std::free(issuer);
}

}  // namespace qel
