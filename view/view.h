// Read views over DER: certificates, certification requests and revocation
// lists, answering the everyday questions (names, dates, key, constraints,
// alternative names, revocation entries) in one call each.
//
// A view borrows the caller's DER and never copies it: the bytes must outlive
// the view and every span an accessor hands back. Nothing throws; an accessor
// over hostile bytes answers with a `found` that says absent, present, or
// present but malformed (with the result code met and the offset of the
// element, counted from the start of the view's DER). Lists have no capacity
// limit: they are walked element by element.
//
//   qel::CertificateView cert(der);
//   if (!cert.ok()) return report(cert.error());
//   std::string subject = cert.subject().rfc4514();
//   for (const qel::GeneralNameValue& name : cert.extensions().subject_alt_names().value)
//     puts(name.text.c_str());
//   auto fingerprint = qel::sha256(cert.der());  // digests: cxx.h
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)
namespace qel {

using bytes_view = std::span<const uint8_t>;

// Where a view met bad DER: the negative result code (ASN_OVERRUN, ...) and
// the offset of the element that failed, from the start of the view's DER.
struct view_error {
  int32_t code = 0;
  size_t offset = 0;
};

// An answer that may be absent, present, or present but malformed.
template <class T>
struct found {
  enum class Status : uint8_t { absent, present, malformed };
  Status status = Status::absent;
  T value{};          // meaningful when present
  view_error error{};  // meaningful when malformed

  bool present() const { return status == Status::present; }
  bool malformed() const { return status == Status::malformed; }
  explicit operator bool() const { return present(); }
  const T& operator*() const { return value; }
  const T* operator->() const { return &value; }
};

// An OBJECT IDENTIFIER by its content octets.
struct Oid {
  bytes_view content;
  // Dotted text, "1.2.840.113549.1.1.11"; empty for bad content (empty, or
  // an arc that does not end or does not fit 64 bits with the first two).
  std::string text() const;
  // Appends text() to `out`.
  void append_text(std::string& out) const;
  bool empty() const { return content.empty(); }
  // True when the content octets are exactly those of `dotted`.
  bool is(std::string_view dotted) const;
};

// Seconds since the epoch of a UTCTime or GeneralizedTime element (tag and
// content): UTCTime years 50-99 are 19xx, 00-49 20xx. Only the forms
// YYMMDDHHMMSSZ and YYYYMMDDHHMMSSZ are taken; anything else is nullopt.
std::optional<std::chrono::sys_seconds> decode_time(uint8_t tag, bytes_view content);
// "YYYY-MM-DDTHH:MM:SSZ" of a time point (years 0 to 9999).
std::string time_text(std::chrono::sys_seconds when);
// Lowercase hex of octets, two digits each.
std::string hex_text(bytes_view octets);

// ---------------------------------------------------------------------------
// Names.

// One attribute of a relative distinguished name.
struct NameAttribute {
  Oid type;
  uint8_t tag = 0;      // the value's tag
  bytes_view value;     // the value's content octets
  bytes_view value_der; // the whole value element
  // The value as UTF-8: PrintableString, IA5String, UTF8String, TeletexString
  // (read as Latin-1), BMPString, UniversalString, VisibleString and
  // NumericString are converted; any other value is "#" and the lowercase
  // hex of its whole DER element. The one-octet string types are read as
  // UTF-8 (an ASCII superset); octets that are not UTF-8 come out as U+FFFD.
  std::string text() const;
  // Appends text() to `out`.
  void append_text(std::string& out) const;
};

using RelativeName = std::vector<NameAttribute>;

// A Name (RDNSequence) element.
class NameView {
 public:
  NameView() = default;
  // `der`: the whole Name element; `base`: the offset of `der` in the viewed
  // DER, for error offsets.
  explicit NameView(bytes_view der, size_t base = 0) : der_(der), base_(base) {}

  bytes_view der() const { return der_; }
  // The RDNs in encoded order, each with its attributes in encoded order.
  found<std::vector<RelativeName>> rdns() const;
  // The same into `rdns`, whose vectors are used again: no allocation once
  // they have room. Returns the fault (code 0 for none); `rdns` is then empty.
  view_error rdns(std::vector<RelativeName>& rdns) const;
  // RFC 4514 text: last RDN first, "," between RDNs, "+" inside one, the
  // short names CN, L, ST, O, OU, C, STREET, DC, UID and dotted OIDs
  // otherwise, escaped as RFC 4514 section 2.4 says. Empty for a malformed
  // name (rdns() tells why).
  std::string rfc4514() const;
  // The same text from RDNs already read. `texts`, when given, holds each
  // attribute's text() in encoded order, so that none is made again.
  static std::string rfc4514(const std::vector<RelativeName>& rdns,
                             const std::vector<std::string>* texts = nullptr);
  // Appends that text to `out`.
  static void append_rfc4514(std::string& out, const std::vector<RelativeName>& rdns,
                             const std::vector<std::string>* texts = nullptr);

 private:
  bytes_view der_;
  size_t base_ = 0;
};

// ---------------------------------------------------------------------------
// Keys.

struct PublicKeyInfo {
  Oid algorithm;
  bytes_view parameters;  // the whole parameters element; empty when absent
  bytes_view key;         // the subjectPublicKey BIT STRING's data octets
  // RSA modulus bits, EC field size, 256 for Ed25519, 456 for Ed448; 0 when
  // unknown.
  uint32_t bits = 0;
  std::optional<uint64_t> exponent;  // RSA public exponent, when it fits 64 bits
  bytes_view modulus;                // RSA modulus content octets (sign octet dropped)
  Oid curve;                         // EC named curve; empty otherwise
};

// ---------------------------------------------------------------------------
// Extensions and their values.

struct ExtensionRef {
  Oid oid;
  bool critical = false;
  bytes_view value;         // extnValue's content: the DER of the extension's value
  size_t offset = 0;        // of the Extension element in the viewed DER
  size_t value_offset = 0;  // of `value` in the viewed DER
};

enum class GeneralNameKind : uint8_t {
  other,          // [0] otherName
  email,          // [1] rfc822Name
  dns,            // [2] dNSName
  x400,           // [3] x400Address
  directory,      // [4] directoryName
  edi,            // [5] ediPartyName
  uri,            // [6] uniformResourceIdentifier
  ip,             // [7] iPAddress
  registered_id,  // [8] registeredID
};

struct GeneralNameValue {
  GeneralNameKind kind = GeneralNameKind::other;
  // dns, email, uri: the IA5String as given (octets that are not UTF-8 as
  // U+FFFD);
  // ip: dotted quad for 4 octets, RFC 5952 text for 16, lowercase hex
  // otherwise; directory: the name's RFC 4514 text; registered_id: dotted
  // OID; other: dotted OID of the type; x400, edi: lowercase hex of the
  // whole element.
  std::string text;
  bytes_view der;    // the whole element, context tag included
  bytes_view value;  // ip: the address octets; other: the value's DER (inside
                     // the [0] wrapper); directory: the Name element
  Oid other_type;    // other: the type-id
};

struct BasicConstraintsValue {
  bool ca = false;
  std::optional<uint64_t> path_length;
};

// KeyUsage bits, bit n of the BIT STRING at (1 << n).
enum KeyUsageBit : uint16_t {
  KU_DIGITAL_SIGNATURE = 1u << 0,
  KU_NON_REPUDIATION = 1u << 1,
  KU_KEY_ENCIPHERMENT = 1u << 2,
  KU_DATA_ENCIPHERMENT = 1u << 3,
  KU_KEY_AGREEMENT = 1u << 4,
  KU_KEY_CERT_SIGN = 1u << 5,
  KU_CRL_SIGN = 1u << 6,
  KU_ENCIPHER_ONLY = 1u << 7,
  KU_DECIPHER_ONLY = 1u << 8,
};

struct DistributionPointValue {
  std::vector<GeneralNameValue> full_name;  // empty when the point has none
  std::vector<std::string> uris;            // the URIs among full_name
};

struct AccessValue {
  std::vector<std::string> ocsp;        // id-ad-ocsp URIs
  std::vector<std::string> ca_issuers;  // id-ad-caIssuers URIs
};

// The extensions of a certificate, or those a request asks for.
class ExtensionsView {
 public:
  ExtensionsView() = default;
  // `der`: the SEQUENCE OF Extension element (empty: no extensions); `base`
  // its offset in the viewed DER. Walks the list once to find the
  // extensions the typed answers below read.
  explicit ExtensionsView(bytes_view der, size_t base = 0);

  bytes_view der() const { return der_; }
  // Every extension, in order. Malformed when the list itself does not decode.
  found<std::vector<ExtensionRef>> all() const;
  // The first extension with that OID.
  found<ExtensionRef> find(std::string_view dotted) const;
  // Whether the value of `ext` decodes: true for the extensions this view
  // reads (those below, plus cRLNumber, reasonCode) when their value decodes
  // as its type; false for other extensions and for bad values.
  static bool decodes(const ExtensionRef& ext);

  found<std::vector<GeneralNameValue>> subject_alt_names() const;
  found<std::vector<GeneralNameValue>> issuer_alt_names() const;
  found<BasicConstraintsValue> basic_constraints() const;
  found<uint16_t> key_usage() const;  // KeyUsageBit flags
  found<std::vector<Oid>> extended_key_usage() const;
  found<bytes_view> subject_key_id() const;
  found<bytes_view> authority_key_id() const;  // keyIdentifier; absent without one
  found<std::vector<DistributionPointValue>> crl_distribution_points() const;
  found<AccessValue> authority_info_access() const;
  found<std::vector<Oid>> policies() const;
  found<bytes_view> crl_number() const;  // the INTEGER's content octets
  found<int32_t> reason_code() const;    // CRL entry reason (ENUMERATED value)

  // The extensions the typed answers read, in the order of the index below.
  static constexpr size_t kKnownKinds = 12;

 private:
  template <class T>
  found<T> known(size_t kind, found<T> (*read)(const ExtensionRef&)) const;

  bytes_view der_;
  size_t base_ = 0;
  view_error list_error_{};  // where the list itself failed to decode
  // Per known kind, one past the offset of its first Extension element in
  // der_; 0 when the list has none.
  uint32_t known_[kKnownKinds] = {};
};

// The extensions whose values the typed answers above read.
enum class KnownExtension : uint8_t {
  subject_alt_name, issuer_alt_name, basic_constraints, key_usage, extended_key_usage,
  subject_key_id, authority_key_id, crl_distribution_points, authority_info_access, policies,
  crl_number, reason_code,
};
// Which of them `oid` names; nullopt for any other extension.
std::optional<KnownExtension> known_extension(const Oid& oid);

// RFC 5280 name of a CRLReason value ("keyCompromise", ...); null for values
// it does not name (7 and above 10).
const char* reason_name(int32_t reason);

// ---------------------------------------------------------------------------
// Certificates.

class CertificateView {
 public:
  CertificateView() = default;
  // Walks the certificate's outer structure, down to the fields of
  // TBSCertificate; values are decoded when asked for.
  explicit CertificateView(bytes_view der);

  bool ok() const { return error_.code == 0; }
  view_error error() const { return error_; }  // code 0 when ok
  bytes_view der() const { return der_; }      // the Certificate element
  size_t size() const { return der_.size(); }  // octets it took from the input

  int version() const;  // 1, 2 or 3
  bytes_view serial() const;  // INTEGER content octets
  Oid signature_algorithm() const;  // signatureAlgorithm's OID
  NameView issuer() const;
  NameView subject() const;
  found<std::chrono::sys_seconds> not_before() const;
  found<std::chrono::sys_seconds> not_after() const;
  found<PublicKeyInfo> public_key() const;
  ExtensionsView extensions() const;
  bytes_view tbs() const;  // the TBSCertificate element

 private:
  bytes_view der_;
  view_error error_{};
  // Elements found by the constructor's walk (whole elements unless noted).
  bytes_view tbs_, serial_, tbs_signature_, signature_, issuer_, validity_, subject_, spki_,
      extensions_;
  int version_ = 1;
};

// ---------------------------------------------------------------------------
// Certification requests (PKCS#10).

class RequestView {
 public:
  RequestView() = default;
  explicit RequestView(bytes_view der);

  bool ok() const { return error_.code == 0; }
  view_error error() const { return error_; }
  bytes_view der() const { return der_; }
  size_t size() const { return der_.size(); }

  int version() const;  // the version INTEGER plus one: 1 for v1
  NameView subject() const;
  found<PublicKeyInfo> public_key() const;
  Oid signature_algorithm() const;
  // Each attribute's type, in order.
  found<std::vector<Oid>> attributes() const;
  // The extensions of the extensionRequest attribute (empty when none).
  ExtensionsView extensions() const;

 private:
  bytes_view der_;
  view_error error_{};
  bytes_view info_, subject_, spki_, attributes_, signature_;
  int version_ = 1;
};

// ---------------------------------------------------------------------------
// Revocation lists.

struct RevokedEntry {
  bytes_view serial;                        // INTEGER content octets
  std::optional<std::chrono::sys_seconds> date;  // nullopt when the time is unreadable
  std::optional<int32_t> reason;            // reasonCode entry extension
  ExtensionsView extensions;                // entry extensions
  size_t offset = 0;                        // of the entry in the viewed DER
};

// The revoked entries, decoded one at a time: constant memory, no cap.
class RevokedRange {
 public:
  class iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = RevokedEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = const RevokedEntry*;
    using reference = const RevokedEntry&;

    iterator() = default;
    reference operator*() const { return entry_; }
    pointer operator->() const { return &entry_; }
    iterator& operator++();
    void operator++(int) { ++*this; }
    bool operator==(const iterator& other) const { return at_ == other.at_; }

   private:
    friend class RevokedRange;
    void load();
    const RevokedRange* range_ = nullptr;
    const uint8_t* at_ = nullptr;  // the current entry; null at the end
    const uint8_t* next_ = nullptr;
    RevokedEntry entry_;
  };

  RevokedRange() = default;
  // `der`: the revokedCertificates element (empty: no entries); `origin`: the
  // start of the viewed DER.
  RevokedRange(bytes_view der, const uint8_t* origin) : der_(der), origin_(origin) {}
  iterator begin() const;
  iterator end() const { return iterator(); }
  // After iterating: the first entry that did not decode, where the walk
  // stopped (code 0 when every entry decoded).
  view_error error() const { return error_; }

 private:
  bytes_view der_;
  const uint8_t* origin_ = nullptr;
  mutable view_error error_{};
};

class CrlView {
 public:
  CrlView() = default;
  explicit CrlView(bytes_view der);

  bool ok() const { return error_.code == 0; }
  view_error error() const { return error_; }
  bytes_view der() const { return der_; }
  size_t size() const { return der_.size(); }

  int version() const;  // 1 or 2
  NameView issuer() const;
  Oid signature_algorithm() const;
  found<std::chrono::sys_seconds> this_update() const;
  found<std::chrono::sys_seconds> next_update() const;
  ExtensionsView extensions() const;
  found<bytes_view> crl_number() const { return extensions().crl_number(); }
  RevokedRange revoked() const;

 private:
  bytes_view der_;
  view_error error_{};
  bytes_view tbs_, signature_, issuer_, this_update_, next_update_, revoked_, extensions_;
  int version_ = 1;
};

// ---------------------------------------------------------------------------
// What a DER element holds, told from its structure alone.

enum class DerKind : uint8_t { unknown, certificate, request, crl };
// Looks at the first element of `der`: a certificate's TBSCertificate has a
// [0] version or an INTEGER serial followed by an AlgorithmIdentifier; a
// request's info an INTEGER, a Name and a SubjectPublicKeyInfo; a revocation
// list's TBSCertList an optional INTEGER, an AlgorithmIdentifier, a Name and
// a time.
DerKind detect_kind(bytes_view der);

}  // namespace qel
#pragma GCC visibility pop
