// Builds every view over the input and asks it everything: as a certificate,
// a request and a revocation list, and the input itself as a name and as an
// extension list. Every text must be valid UTF-8 and every error offset must
// lie inside the input.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "view/view.h"

namespace {

size_t input_size = 0;

void check_text(const std::string& text) {
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<uint8_t>(text[i]);
    const size_t n = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 0;
    if (n == 0 || i + n > text.size()) std::abort();
    uint32_t c = n == 1 ? b : b & (0x7F >> n);
    for (size_t k = 1; k < n; ++k) {
      if ((static_cast<uint8_t>(text[i + k]) & 0xC0) != 0x80) std::abort();
      c = c << 6 | (static_cast<uint8_t>(text[i + k]) & 0x3F);
    }
    static constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < kLeast[n] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) std::abort();
    i += n;
  }
}

// Whether an answer is present; a malformed one must say where, inside the
// input.
template <class T>
bool check(const qel::found<T>& f) {
  if (f.malformed() && (f.error.code >= 0 || f.error.offset > input_size)) std::abort();
  return f.present();
}

void check_error(const qel::view_error& e, bool ok) {
  if (ok != (e.code == 0) || (!ok && e.offset > input_size)) std::abort();
}

void ask_name(const qel::NameView& name) {
  check_text(name.rfc4514());
  const auto rdns = name.rdns();
  if (check(rdns))
    for (const auto& rdn : rdns.value)
      for (const qel::NameAttribute& a : rdn) check_text(a.text() + a.type.text());
}

void ask_names(const qel::found<std::vector<qel::GeneralNameValue>>& names) {
  if (check(names))
    for (const qel::GeneralNameValue& n : names.value) check_text(n.text);
}

void ask_extensions(const qel::ExtensionsView& ext) {
  const auto all = ext.all();
  if (check(all))
    for (const qel::ExtensionRef& e : all.value) {
      check_text(e.oid.text());
      if (e.offset >= input_size || e.value_offset > input_size) std::abort();
      (void)qel::ExtensionsView::decodes(e);
      check(ext.find(e.oid.text()));
    }
  ask_names(ext.subject_alt_names());
  ask_names(ext.issuer_alt_names());
  check(ext.basic_constraints());
  check(ext.key_usage());
  const auto eku = ext.extended_key_usage();
  if (check(eku))
    for (const qel::Oid& oid : eku.value) check_text(oid.text());
  check(ext.subject_key_id());
  check(ext.authority_key_id());
  const auto points = ext.crl_distribution_points();
  if (check(points))
    for (const auto& p : points.value)
      for (const auto& n : p.full_name) check_text(n.text);
  check(ext.authority_info_access());
  check(ext.policies());
  check(ext.crl_number());
  const auto reason = ext.reason_code();
  if (check(reason)) (void)qel::reason_name(reason.value);
}

void ask_key(const qel::found<qel::PublicKeyInfo>& key) {
  if (check(key)) check_text(key.value.algorithm.text() + key.value.curve.text());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  input_size = size;
  const qel::bytes_view der(data, size);
  (void)qel::detect_kind(der);

  const qel::CertificateView cert(der);
  check_error(cert.error(), cert.ok());
  if (cert.ok()) {
    check_text(cert.signature_algorithm().text() + qel::hex_text(cert.serial()));
    ask_name(cert.issuer());
    ask_name(cert.subject());
    for (const auto& t : {cert.not_before(), cert.not_after()})
      if (check(t)) check_text(qel::time_text(t.value));
    ask_key(cert.public_key());
    ask_extensions(cert.extensions());
  }

  const qel::RequestView request(der);
  check_error(request.error(), request.ok());
  if (request.ok()) {
    ask_name(request.subject());
    ask_key(request.public_key());
    check(request.attributes());
    ask_extensions(request.extensions());
  }

  const qel::CrlView crl(der);
  check_error(crl.error(), crl.ok());
  if (crl.ok()) {
    ask_name(crl.issuer());
    check(crl.this_update());
    check(crl.next_update());
    check(crl.crl_number());
    ask_extensions(crl.extensions());
    const qel::RevokedRange revoked = crl.revoked();
    for (const qel::RevokedEntry& entry : revoked) {
      if (entry.offset >= size) std::abort();
      ask_extensions(entry.extensions);
    }
    if (revoked.error().code != 0) check_error(revoked.error(), false);
  }

  // The input as a bare name and a bare extension list.
  ask_name(qel::NameView(der));
  ask_extensions(qel::ExtensionsView(der));
  return 0;
}
