#include "cli/render.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "cli/json_writer.h"
#include "cxx.h"
#include "toolkit/pem.h"
#include "view/view.h"

namespace qel::cli {

const char* const kNoBlock = "no PEM block: no line \"-----BEGIN <label>-----\"";

namespace {

// Revocation lists above this size are walked once before they are written,
// so that a bad entry turns into an error line before any text leaves.
constexpr size_t kCheckFirstSize = size_t{64} << 10;

// The failure that stops the object being rendered; its line becomes an
// error line. One object is rendered at a time per thread.
thread_local std::optional<Failure> t_failure;

bool stop(Failure failure) {
  t_failure = std::move(failure);
  return false;
}

Failure failure_of(const view_error& error, std::string_view what = {}) {
  std::string text(what);
  if (!text.empty()) text += ": ";
  text += codec_error_text(error.code);
  return Failure{std::move(text), error.code, error.offset};
}

void key(std::string& out, std::string_view name) {
  const size_t at = out.size();
  out.resize(at + name.size() + 4);
  char* w = out.data() + at;
  w[0] = ',';
  w[1] = '"';
  std::memcpy(w + 2, name.data(), name.size());
  w[name.size() + 2] = '"';
  w[name.size() + 3] = ':';
}

void null(std::string& out) { out.append("null"); }

void boolean(std::string& out, bool value) { out.append(value ? "true" : "false"); }

// The dotted text of an OID as a JSON string (digits and dots: nothing to
// escape); "" for bad content.
void oid(std::string& out, const Oid& id) {
  out.push_back('"');
  id.append_text(out);
  out.push_back('"');
}

// "YYYY-MM-DDTHH:MM:SSZ" as a JSON string.
void time(std::string& out, std::chrono::sys_seconds when) {
  out.push_back('"');
  out.append(time_text(when));
  out.push_back('"');
}

template <class T>
bool need(const found<T>& answer, const char* what) {
  if (answer.malformed()) return stop(failure_of(answer.error, what));
  if (!answer.present()) return stop(Failure{std::string(what) + ": missing", std::nullopt, std::nullopt});
  return true;
}

// A time that must be there.
bool time_field(std::string& out, const char* name, const found<std::chrono::sys_seconds>& answer,
                const char* what) {
  if (!need(answer, what)) return false;
  key(out, name);
  time(out, answer.value);
  return true;
}

void oid_list(std::string& out, const std::vector<Oid>& ids) {
  out.push_back('[');
  for (size_t i = 0; i < ids.size(); ++i) {
    if (i) out.push_back(',');
    oid(out, ids[i]);
  }
  out.push_back(']');
}

void string_list(std::string& out, const std::vector<std::string>& texts) {
  out.push_back('[');
  for (size_t i = 0; i < texts.size(); ++i) {
    if (i) out.push_back(',');
    append_json_string(out, texts[i]);
  }
  out.push_back(']');
}

// NAME: the RFC 4514 text and the RDNs, from one walk of the name. The
// vectors and texts are kept from object to object.
bool name(std::string& out, const char* field, const NameView& view) {
  thread_local std::vector<RelativeName> rdns;
  thread_local std::vector<std::string> texts;
  thread_local std::string rfc4514;
  if (const view_error error = view.rdns(rdns); error.code != 0) return stop(failure_of(error, field));
  size_t count = 0;
  for (const RelativeName& rdn : rdns) count += rdn.size();
  texts.resize(count);
  size_t at = 0;
  for (const RelativeName& rdn : rdns) {
    for (const NameAttribute& attribute : rdn) {
      texts[at].clear();
      attribute.append_text(texts[at++]);
    }
  }
  rfc4514.clear();
  NameView::append_rfc4514(rfc4514, rdns, &texts);
  at = 0;

  key(out, field);
  out.append("{\"rfc4514\":");
  append_json_string(out, rfc4514);
  out.append(",\"rdns\":[");
  for (size_t i = 0; i < rdns.size(); ++i) {
    if (i) out.push_back(',');
    out.push_back('[');
    const RelativeName& rdn = rdns[i];
    for (size_t j = 0; j < rdn.size(); ++j) {
      if (j) out.push_back(',');
      out.append("{\"oid\":");
      oid(out, rdn[j].type);
      out.append(",\"value\":");
      append_json_string(out, texts[at++]);
      out.push_back('}');
    }
    out.push_back(']');
  }
  out.append("]}");
  return true;
}

const char* kind_name(GeneralNameKind kind) {
  switch (kind) {
    case GeneralNameKind::other: return "other";
    case GeneralNameKind::email: return "email";
    case GeneralNameKind::dns: return "dns";
    case GeneralNameKind::x400: return "x400";
    case GeneralNameKind::directory: return "directory";
    case GeneralNameKind::edi: return "edi";
    case GeneralNameKind::uri: return "uri";
    case GeneralNameKind::ip: return "ip";
    case GeneralNameKind::registered_id: return "registered_id";
  }
  return "other";
}

void general_names(std::string& out, const found<std::vector<GeneralNameValue>>& names) {
  if (!names.present()) return null(out);
  out.push_back('[');
  bool first = true;
  for (const GeneralNameValue& entry : names.value) {
    if (!first) out.push_back(',');
    first = false;
    out.append("{\"type\":\"");
    out.append(kind_name(entry.kind));
    out.append("\",\"value\":");
    if (entry.kind == GeneralNameKind::other) {
      out.append("{\"oid\":");
      oid(out, entry.other_type);
      out.append(",\"value\":");
      append_hex_string(out, entry.value);
      out.push_back('}');
    } else {
      append_json_string(out, entry.text);
    }
    out.push_back('}');
  }
  out.push_back(']');
}

bool public_key(std::string& out, const found<PublicKeyInfo>& answer) {
  if (!need(answer, "public key")) return false;
  const PublicKeyInfo& info = answer.value;
  key(out, "public_key");
  out.append("{\"algorithm\":");
  oid(out, info.algorithm);
  out.append(",\"bits\":");
  if (info.bits != 0) append_uint(out, info.bits);
  else null(out);
  out.append(",\"exponent\":");
  if (info.exponent) append_uint(out, *info.exponent);
  else null(out);
  out.append(",\"curve\":");
  if (!info.curve.empty()) oid(out, info.curve);
  else null(out);
  out.push_back('}');
  return true;
}

constexpr std::array<const char*, 9> kKeyUsageNames = {
    "digitalSignature", "nonRepudiation", "keyEncipherment", "dataEncipherment", "keyAgreement",
    "keyCertSign",      "cRLSign",        "encipherOnly",    "decipherOnly"};

void bytes_or_null(std::string& out, const found<bytes_view>& answer) {
  if (answer.present()) append_hex_string(out, answer.value);
  else null(out);
}

// "extensions" through "policies", for certificates and requests.
// `decoded(i)` tells whether extension i decodes.
template <class Decoded>
void extension_list(std::string& out, const std::vector<ExtensionRef>& all, Decoded&& decoded) {
  key(out, "extensions");
  out.push_back('[');
  for (size_t i = 0; i < all.size(); ++i) {
    if (i) out.push_back(',');
    out.append("{\"oid\":");
    oid(out, all[i].oid);
    out.append(all[i].critical ? ",\"critical\":true,\"decoded\":" : ",\"critical\":false,\"decoded\":");
    boolean(out, decoded(i));
    out.push_back('}');
  }
  out.push_back(']');
}

bool extension_list(std::string& out, const ExtensionsView& view) {
  const found<std::vector<ExtensionRef>> all = view.all();
  if (all.malformed()) return stop(failure_of(all.error, "extensions"));
  extension_list(out, all.value, [&](size_t i) { return ExtensionsView::decodes(all.value[i]); });
  return true;
}

bool extension_fields(std::string& out, const ExtensionsView& view) {
  const found<std::vector<ExtensionRef>> all = view.all();
  if (all.malformed()) return stop(failure_of(all.error, "extensions"));
  // The typed answers, each decoded once; an extension that is the first of
  // its kind decodes when its answer is present (authorityKeyIdentifier also
  // without a keyIdentifier, so it is asked).
  std::array<size_t, ExtensionsView::kKnownKinds> first;
  first.fill(SIZE_MAX);
  for (size_t i = 0; i < all.value.size(); ++i)
    if (const auto kind = known_extension(all.value[i].oid); kind && first[static_cast<size_t>(*kind)] == SIZE_MAX)
      first[static_cast<size_t>(*kind)] = i;
  const auto san = view.subject_alt_names();
  const auto ian = view.issuer_alt_names();
  const auto bc = view.basic_constraints();
  const auto ku = view.key_usage();
  const auto eku = view.extended_key_usage();
  const auto ski = view.subject_key_id();
  const auto aki = view.authority_key_id();
  const auto points = view.crl_distribution_points();
  const auto access = view.authority_info_access();
  const auto policies = view.policies();
  const std::array<bool, ExtensionsView::kKnownKinds> typed_present = {
      san.present(),    ian.present(),    bc.present(),     ku.present(),       eku.present(), ski.present(),
      false,            points.present(), access.present(), policies.present(), false,         false};
  extension_list(out, all.value, [&](size_t i) {
    const auto kind = known_extension(all.value[i].oid);
    const size_t k = kind ? static_cast<size_t>(*kind) : 0;
    if (kind && typed_present[k] && first[k] == i) return true;
    return ExtensionsView::decodes(all.value[i]);
  });

  key(out, "subject_alt_names");
  general_names(out, san);
  key(out, "issuer_alt_names");
  general_names(out, ian);

  key(out, "basic_constraints");
  if (bc) {
    out.append("{\"ca\":");
    boolean(out, bc->ca);
    out.append(",\"path_length\":");
    if (bc->path_length) append_uint(out, *bc->path_length);
    else null(out);
    out.push_back('}');
  } else {
    null(out);
  }

  key(out, "key_usage");
  if (ku) {
    out.push_back('[');
    bool first = true;
    for (size_t bit = 0; bit < kKeyUsageNames.size(); ++bit) {
      if (!(*ku & (1u << bit))) continue;
      if (!first) out.push_back(',');
      first = false;
      out.push_back('"');
      out.append(kKeyUsageNames[bit]);
      out.push_back('"');
    }
    out.push_back(']');
  } else {
    null(out);
  }

  key(out, "extended_key_usage");
  if (eku) oid_list(out, *eku);
  else null(out);
  key(out, "subject_key_id");
  bytes_or_null(out, ski);
  key(out, "authority_key_id");
  bytes_or_null(out, aki);

  key(out, "crl_distribution_points");
  if (points) {
    out.push_back('[');
    bool first = true;
    for (const DistributionPointValue& point : *points) {
      for (const std::string& uri : point.uris) {
        if (!first) out.push_back(',');
        first = false;
        append_json_string(out, uri);
      }
    }
    out.push_back(']');
  } else {
    null(out);
  }

  key(out, "ocsp");
  if (access) string_list(out, access->ocsp);
  else null(out);
  key(out, "ca_issuers");
  if (access) string_list(out, access->ca_issuers);
  else null(out);

  key(out, "policies");
  if (policies) oid_list(out, *policies);
  else null(out);
  return true;
}

void fingerprints(std::string& out, bytes_view der, const std::vector<Digest>& digests) {
  key(out, "fingerprints");
  out.push_back('{');
  bool first = true;
  for (Digest digest : digests) {
    if (!first) out.push_back(',');
    first = false;
    switch (digest) {
      case Digest::md5:
        out.append("\"md5\":");
        append_hex_string(out, md5(der));
        break;
      case Digest::sha1:
        out.append("\"sha1\":");
        append_hex_string(out, sha1(der));
        break;
      case Digest::sha256:
        out.append("\"sha256\":");
        append_hex_string(out, sha256(der));
        break;
    }
  }
  out.push_back('}');
}

// The view must be good and take the whole input.
template <class View>
bool check_whole(const View& view, bytes_view der) {
  if (!view.ok()) return stop(failure_of(view.error()));
  if (view.size() < der.size()) return stop(Failure{"octets after the element", ASN_LEFTOVER, view.size()});
  return true;
}

void head(std::string& out, std::string_view file, const Object& object, const char* type) {
  out.append("{\"file\":");
  append_json_string(out, file);
  out.append(",\"index\":");
  append_uint(out, object.index.value_or(0));
  out.append(object.pem ? ",\"format\":\"pem\"" : ",\"format\":\"der\"");
  out.append(",\"type\":\"");
  out.append(type);
  out.push_back('"');
}

bool certificate(std::string& out, std::string_view file, const Object& object, bytes_view der,
                 const RenderOptions& options) {
  const CertificateView cert(der);
  if (!check_whole(cert, der)) return false;
  head(out, file, object, "certificate");
  key(out, "version");
  append_int(out, cert.version());
  key(out, "serial");
  append_hex_string(out, cert.serial());
  key(out, "signature_algorithm");
  oid(out, cert.signature_algorithm());
  if (!name(out, "issuer", cert.issuer()) || !name(out, "subject", cert.subject()) ||
      !time_field(out, "not_before", cert.not_before(), "notBefore") ||
      !time_field(out, "not_after", cert.not_after(), "notAfter") || !public_key(out, cert.public_key()) ||
      !extension_fields(out, cert.extensions()))
    return false;
  fingerprints(out, der, options.digests);
  out.append("}\n");
  return true;
}

bool request(std::string& out, std::string_view file, const Object& object, bytes_view der,
             const RenderOptions& options) {
  const RequestView req(der);
  if (!check_whole(req, der)) return false;
  head(out, file, object, "request");
  key(out, "version");
  append_int(out, req.version());
  if (!name(out, "subject", req.subject()) || !public_key(out, req.public_key())) return false;
  key(out, "signature_algorithm");
  oid(out, req.signature_algorithm());
  const found<std::vector<Oid>> attributes = req.attributes();
  if (attributes.malformed()) return stop(failure_of(attributes.error, "attributes"));
  key(out, "attributes");
  oid_list(out, attributes.present() ? attributes.value : std::vector<Oid>{});
  if (!extension_fields(out, req.extensions())) return false;
  fingerprints(out, der, options.digests);
  out.append("}\n");
  return true;
}

bool bad_entry(const RevokedEntry& entry) {
  return stop(Failure{"revoked entry: unreadable revocation date", std::nullopt, entry.offset});
}

// Whether every revoked entry can be written.
bool check_revoked(const RevokedRange& range) {
  for (const RevokedEntry& entry : range)
    if (!entry.date) return bad_entry(entry);
  if (range.error().code != 0) return stop(failure_of(range.error(), "revoked entry"));
  return true;
}

bool crl(Sink& sink, std::string_view file, const Object& object, bytes_view der, const RenderOptions& options) {
  std::string& out = sink.text;
  const CrlView list(der);
  if (!check_whole(list, der)) return false;
  // A long list is checked whole first: once its text starts to leave, the
  // line can no longer become an error line.
  const bool streams = der.size() > kCheckFirstSize;
  if (streams && !check_revoked(list.revoked())) return false;

  head(out, file, object, "crl");
  key(out, "version");
  append_int(out, list.version());
  if (!name(out, "issuer", list.issuer())) return false;
  key(out, "signature_algorithm");
  oid(out, list.signature_algorithm());
  if (!time_field(out, "this_update", list.this_update(), "thisUpdate")) return false;
  const found<std::chrono::sys_seconds> next = list.next_update();
  if (next.malformed()) return stop(failure_of(next.error, "nextUpdate"));
  key(out, "next_update");
  if (next.present()) time(out, next.value);
  else null(out);
  key(out, "crl_number");
  bytes_or_null(out, list.crl_number());
  if (!extension_list(out, list.extensions())) return false;

  key(out, "revoked");
  out.push_back('[');
  const RevokedRange range = list.revoked();
  bool first = true;
  for (const RevokedEntry& entry : range) {
    if (!entry.date) return bad_entry(entry);
    if (!first) out.push_back(',');
    first = false;
    out.append("{\"serial\":");
    append_hex_string(out, entry.serial);
    out.append(",\"date\":");
    time(out, *entry.date);
    out.append(",\"reason\":");
    const char* reason = entry.reason ? reason_name(*entry.reason) : nullptr;
    if (reason != nullptr) {
      out.push_back('"');
      out.append(reason);
      out.push_back('"');
    } else {
      null(out);
    }
    out.push_back('}');
    if (streams && out.size() >= kSpillSize) sink.spill();
  }
  if (range.error().code != 0) return stop(failure_of(range.error(), "revoked entry"));
  out.push_back(']');
  fingerprints(out, der, options.digests);
  out.append("}\n");
  return true;
}

// Whether the outer element's header or content runs past the end: a
// truncated input, whatever it was meant to hold.
bool runs_beyond(bytes_view der) {
  if (der.size() < 2) return true;
  size_t length = der[1], at = 2;
  if (length & 0x80) {
    const size_t octets = length & 0x7F;
    if (octets == 0 || octets > 4) return false;
    if (der.size() < at + octets) return true;
    length = 0;
    for (size_t i = 0; i < octets; ++i) length = length << 8 | der[at++];
  }
  return der.size() - at < length;
}

ObjectType type_of_label(std::string_view label) {
  if (label == "CERTIFICATE" || label == "TRUSTED CERTIFICATE") return ObjectType::certificate;
  if (label == "CERTIFICATE REQUEST" || label == "NEW CERTIFICATE REQUEST") return ObjectType::request;
  if (label == "X509 CRL") return ObjectType::crl;
  return ObjectType::automatic;
}

}  // namespace

void PemCutter::feed(std::span<const uint8_t> bytes, bool complete, std::vector<Object>& out) {
  constexpr std::string_view kBegin = "-----BEGIN ";
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  // Only whole lines: up to the last line end unless the text is complete.
  size_t limit = text.size();
  if (!complete) {
    const size_t last = text.rfind('\n');
    limit = last == std::string_view::npos ? 0 : last + 1;
  }
  const auto close = [&](size_t end) {
    Object& object = out.emplace_back();
    object.index = index_++;
    object.pem = true;
    object.line = start_line_;
    object.der = bytes.subspan(start_, end - start_);
  };
  // Line by line from one "-" to the next: every BEGIN line starts with one,
  // and base64 has none.
  const char* const base = text.data();
  for (size_t at = scanned_; at < limit;) {
    const void* dash = std::memchr(base + at, '-', limit - at);
    if (dash == nullptr) break;
    at = static_cast<size_t>(static_cast<const char*>(dash) - base);
    const void* line_end = std::memchr(base + at, '\n', text.size() - at);
    const size_t end = line_end != nullptr ? static_cast<size_t>(static_cast<const char*>(line_end) - base) : text.size();
    std::string_view begin_line = text.substr(at, end - at);
    const size_t start = at;
    at = end + 1;
    if ((start != 0 && base[start - 1] != '\n') || !begin_line.starts_with(kBegin)) continue;
    while (!begin_line.empty() && (begin_line.back() == '\r' || begin_line.back() == ' ' || begin_line.back() == '\t'))
      begin_line.remove_suffix(1);
    if (begin_line.size() < kBegin.size() + 5 || !begin_line.ends_with("-----")) continue;
    for (const char* p = base + counted_; (p = static_cast<const char*>(std::memchr(p, '\n', base + start - p))) != nullptr; ++p)
      ++line_;
    counted_ = start;
    if (open_) close(start);
    open_ = true;
    start_ = start;
    start_line_ = line_;
  }
  scanned_ = std::max(scanned_, limit);
  if (complete && open_) {
    close(text.size());
    open_ = false;
  }
}

void PemCutter::rebase(std::span<const uint8_t> text) {
  const size_t shift = keep();
  const char* const base = reinterpret_cast<const char*>(text.data());
  for (const char* p = base + counted_; (p = static_cast<const char*>(std::memchr(p, '\n', base + shift - p))) != nullptr; ++p)
    ++line_;
  counted_ = 0;
  scanned_ -= shift;
  if (open_) start_ -= shift;
}

std::vector<Object> split_input(std::span<const uint8_t> data) {
  std::vector<Object> objects;
  const auto whole_file = [&](const char* text) {
    objects.emplace_back().failure = Failure{text, std::nullopt, std::nullopt};
    return objects;
  };
  if (data.empty()) return whole_file("empty file");
  const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
  if (!looks_like_pem(text)) {
    Object& whole = objects.emplace_back();
    whole.index = 0;
    whole.der = data;
    return objects;
  }
  PemCutter cutter;
  cutter.feed(data, true, objects);
  if (objects.empty()) return whole_file(kNoBlock);
  return objects;
}

bool render_object(std::string_view file, const Object& object, const RenderOptions& options, Sink& sink) {
  std::string& out = sink.text;
  if (object.failure) {
    render_error(out, file, object.index, *object.failure);
    return false;
  }
  const size_t start = out.size();
  bytes_view der = object.der;
  ObjectType type = ObjectType::automatic;
  PemBlock block;
  if (object.pem) {
    PemReader reader(std::string_view(reinterpret_cast<const char*>(der.data()), der.size()));
    reader.next(block);
    const auto fail = [&](const std::string& what) {
      render_error(out, file, object.index,
                   Failure{"PEM block at line " + std::to_string(object.line) + ": " + what, std::nullopt, std::nullopt});
      return false;
    };
    if (!block.ok()) return fail(block.error);
    type = type_of_label(block.label);
    if (type == ObjectType::automatic) return fail("unexpected label \"" + block.label + "\"");
    der = block.der;
  }
  if (options.type != ObjectType::automatic) type = options.type;
  if (type == ObjectType::automatic) {
    switch (detect_kind(der)) {
      case DerKind::certificate: type = ObjectType::certificate; break;
      case DerKind::request: type = ObjectType::request; break;
      case DerKind::crl: type = ObjectType::crl; break;
      case DerKind::unknown: break;
    }
  }
  bool rendered = false;
  switch (type) {
    case ObjectType::certificate: rendered = certificate(out, file, object, der, options); break;
    case ObjectType::request: rendered = request(out, file, object, der, options); break;
    case ObjectType::crl: rendered = crl(sink, file, object, der, options); break;
    case ObjectType::automatic:
      if (runs_beyond(der)) stop(Failure{codec_error_text(ASN_OVERRUN), ASN_OVERRUN, 0});
      else stop(Failure{"not a certificate, request or revocation list", std::nullopt, std::nullopt});
      break;
  }
  if (rendered) return true;
  // Nothing of the object has left yet: a failing list never spills.
  out.resize(start);
  render_error(out, file, object.index, t_failure.value_or(Failure{"failed", std::nullopt, std::nullopt}));
  t_failure.reset();
  return false;
}

void render_error(std::string& out, std::string_view file, std::optional<size_t> index, const Failure& failure) {
  out.append("{\"file\":");
  append_json_string(out, file);
  out.append(",\"index\":");
  if (index) append_uint(out, *index);
  else null(out);
  out.append(",\"error\":");
  append_json_string(out, failure.text);
  out.append(",\"code\":");
  if (failure.code) append_int(out, *failure.code);
  else null(out);
  out.append(",\"offset\":");
  if (failure.offset) append_uint(out, *failure.offset);
  else null(out);
  out.append("}\n");
}

}  // namespace qel::cli
