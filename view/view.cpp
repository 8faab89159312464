// Read views over DER. Every element is reached through the runtime's header
// reader, so every read is bounded where the codec bounds its own; lists are
// walked element by element and nothing is copied but the texts handed out.
#include "view/view.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "asn/internal.h"
#include "cxx.h"

namespace qel {
namespace {

using std::chrono::sys_seconds;

// One element: its tag, its content and the whole of it.
struct Element {
  uint8_t tag = 0;
  bytes_view content;
  bytes_view whole;
};

// Walks the elements of one content, front to back. The first failure is
// kept (code and offset from `origin`) and every later step fails too.
class Walker {
 public:
  Walker(bytes_view content, const uint8_t* origin)
      : pos_(content.data()), end_(content.data() + content.size()), origin_(origin) {}

  bool failed() const { return error_.code != 0; }
  view_error error() const { return error_; }
  bool at_end() const { return pos_ == end_; }
  // The tag of the next element; 0 at the end or after a failure.
  uint8_t next_tag() const { return failed() || at_end() ? 0 : *pos_; }

  // The next element, which must carry `tag` (kAnyTag: any).
  [[gnu::always_inline]] bool take(Element& e, int32_t tag = kAnyTag) {
    if (failed()) return false;
    if (at_end() || (tag != kAnyTag && *pos_ != static_cast<uint8_t>(tag)))
      return fail(ASN_FIELD_FAILED, pos_);
    return read(e);
  }
  // The next element when it carries `tag`; false without failing otherwise.
  [[gnu::always_inline]] bool maybe(Element& e, uint8_t tag) {
    if (next_tag() != tag) return false;
    return read(e);
  }
  // Nothing may be left.
  bool finish() {
    if (failed()) return false;
    return at_end() ? true : fail(ASN_LEFTOVER, pos_);
  }
  bool fail(int32_t code, const uint8_t* at) {
    if (!failed()) error_ = {code, static_cast<size_t>(at - origin_)};
    pos_ = end_;
    return false;
  }

 private:
  [[gnu::always_inline]] bool read(Element& e) {
    const Header h = read_header(pos_, end_, kAnyTag, end_);
    if (h.outcome != Header::kGood) return fail(ASN_OVERRUN, pos_);
    e.tag = h.tag;
    e.content = bytes_view(h.content, h.length);
    e.whole = bytes_view(pos_, static_cast<size_t>(h.content + h.length - pos_));
    pos_ = h.content + h.length;
    return true;
  }

  const uint8_t* pos_;
  const uint8_t* end_;
  const uint8_t* origin_;
  view_error error_{};
};

// The single element that `der` must consist of.
bool only_element(bytes_view der, const uint8_t* origin, int32_t tag, Element& e,
                  view_error& error) {
  Walker w(der, origin);
  if (w.take(e, tag) && w.finish()) return true;
  error = w.error();
  return false;
}

template <class T>
found<T> present(T value) {
  found<T> f;
  f.status = found<T>::Status::present;
  f.value = std::move(value);
  return f;
}
template <class T>
found<T> malformed(view_error error) {
  found<T> f;
  f.status = found<T>::Status::malformed;
  f.error = error;
  return f;
}
template <class T, class U>
found<T> malformed_like(const found<U>& other) {
  return malformed<T>(other.error);
}

// ---------------------------------------------------------------------------
// Object identifiers.

// Content octets of a dotted OID into `out`; the count, or 0 when the text is
// no OID or does not fit.
size_t encode_oid(std::string_view dotted, uint8_t* out, size_t room) {
  uint64_t arcs[64];
  size_t count = 0;
  uint64_t arc = 0;
  bool digit = false;
  for (size_t i = 0; i <= dotted.size(); ++i) {
    if (i == dotted.size() || dotted[i] == '.') {
      if (!digit || count == 64) return 0;
      arcs[count++] = arc;
      arc = 0;
      digit = false;
    } else if (dotted[i] >= '0' && dotted[i] <= '9') {
      if (arc > (UINT64_MAX - 9) / 10) return 0;
      arc = arc * 10 + static_cast<uint64_t>(dotted[i] - '0');
      digit = true;
    } else {
      return 0;
    }
  }
  if (count < 2 || arcs[0] > 2 || (arcs[0] < 2 && arcs[1] > 39) || arcs[1] > UINT64_MAX - 80)
    return 0;
  arcs[1] += arcs[0] * 40;
  size_t n = 0;
  for (size_t i = 1; i < count; ++i) {
    uint8_t groups[10];
    size_t g = 0;
    uint64_t v = arcs[i];
    do {
      groups[g++] = static_cast<uint8_t>(v & 0x7F);
      v >>= 7;
    } while (v != 0);
    if (n + g > room) return 0;
    while (g > 0) {
      --g;
      out[n++] = static_cast<uint8_t>(groups[g] | (g > 0 ? 0x80 : 0));
    }
  }
  return n;
}

bool same(bytes_view a, bytes_view b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

// Content octets of the identifiers the views look for.
#define QEL_OID(name, ...)                              \
  constexpr uint8_t name##_octets[] = {__VA_ARGS__}; \
  constexpr bytes_view name(name##_octets);
QEL_OID(kSubjectAltName, 0x55, 0x1D, 0x11)
QEL_OID(kIssuerAltName, 0x55, 0x1D, 0x12)
QEL_OID(kBasicConstraints, 0x55, 0x1D, 0x13)
QEL_OID(kKeyUsage, 0x55, 0x1D, 0x0F)
QEL_OID(kExtKeyUsage, 0x55, 0x1D, 0x25)
QEL_OID(kSubjectKeyId, 0x55, 0x1D, 0x0E)
QEL_OID(kAuthorityKeyId, 0x55, 0x1D, 0x23)
QEL_OID(kCrlDistributionPoints, 0x55, 0x1D, 0x1F)
QEL_OID(kCertificatePolicies, 0x55, 0x1D, 0x20)
QEL_OID(kCrlNumber, 0x55, 0x1D, 0x14)
QEL_OID(kReasonCode, 0x55, 0x1D, 0x15)
QEL_OID(kAuthorityInfoAccess, 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x01, 0x01)
QEL_OID(kAdOcsp, 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x30, 0x01)
QEL_OID(kAdCaIssuers, 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x30, 0x02)
QEL_OID(kRsaEncryption, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01)
QEL_OID(kEcPublicKey, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01)
QEL_OID(kEd25519, 0x2B, 0x65, 0x70)
QEL_OID(kEd448, 0x2B, 0x65, 0x71)
QEL_OID(kExtensionRequest, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x0E)
#undef QEL_OID

// ---------------------------------------------------------------------------
// Texts.

constexpr char kHex[] = "0123456789abcdef";

void append_hex(std::string& out, bytes_view octets) {
  const size_t at = out.size();
  out.resize(at + 2 * octets.size());
  char* p = out.data() + at;
  for (uint8_t b : octets) {
    *p++ = kHex[b >> 4];
    *p++ = kHex[b & 15];
  }
}

void append_utf8(std::string& out, uint32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

void append_latin1(std::string& out, bytes_view octets) {
  for (uint8_t b : octets) append_utf8(out, b);
}

// UTF-8 with every ill-formed sequence (overlong, surrogate, above U+10FFFF,
// cut off) replaced by U+FFFD.
void append_checked_utf8(std::string& out, bytes_view octets) {
  const size_t n = octets.size();
  for (size_t i = 0; i < n;) {
    const uint8_t b = octets[i];
    if (b < 0x80) {
      size_t j = i + 1;
      while (j < n && octets[j] < 0x80) ++j;
      out.append(reinterpret_cast<const char*>(octets.data()) + i, j - i);
      i = j;
      continue;
    }
    // The length of the sequence and the range of its second octet; a
    // sequence cut short or broken counts as one U+FFFD for the octets that
    // could still begin it (the maximal subpart).
    size_t need = 0;
    uint8_t low = 0x80, high = 0xBF;
    if (b >= 0xC2 && b <= 0xDF) need = 1;
    else if (b >= 0xE0 && b <= 0xEF) need = 2, low = b == 0xE0 ? 0xA0 : 0x80, high = b == 0xED ? 0x9F : 0xBF;
    else if (b >= 0xF0 && b <= 0xF4) need = 3, low = b == 0xF0 ? 0x90 : 0x80, high = b == 0xF4 ? 0x8F : 0xBF;
    size_t k = 1;
    while (k <= need && i + k < n) {
      const uint8_t next = octets[i + k];
      if (next < (k == 1 ? low : 0x80) || next > (k == 1 ? high : 0xBF)) break;
      ++k;
    }
    if (need == 0 || k <= need) {
      out += "\xEF\xBF\xBD";
      i += k;
      continue;
    }
    out.append(reinterpret_cast<const char*>(octets.data() + i), need + 1);
    i += need + 1;
  }
}

void append_bmp(std::string& out, bytes_view octets) {
  const size_t n = octets.size();
  for (size_t i = 0; i + 1 < n; i += 2) {
    uint32_t c = static_cast<uint32_t>(octets[i] << 8 | octets[i + 1]);
    if (c >= 0xD800 && c <= 0xDBFF && i + 3 < n) {
      const uint32_t low = static_cast<uint32_t>(octets[i + 2] << 8 | octets[i + 3]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    append_utf8(out, c);
  }
  if (n % 2 != 0) append_utf8(out, 0xFFFD);
}

void append_universal(std::string& out, bytes_view octets) {
  const size_t n = octets.size();
  for (size_t i = 0; i + 3 < n; i += 4)
    append_utf8(out, static_cast<uint32_t>(octets[i]) << 24 | octets[i + 1] << 16 |
                         octets[i + 2] << 8 | octets[i + 3]);
  if (n % 4 != 0) append_utf8(out, 0xFFFD);
}

// The value of a string type as UTF-8; false for a type that is no string.
// Whether values with `tag` are read as UTF-8: UTF8String, and the
// one-octet string types (Numeric, Printable, IA5, Visible).
bool read_as_utf8(uint8_t tag) {
  return tag == 0x0C || tag == 0x12 || tag == 0x13 || tag == 0x16 || tag == 0x1A;
}

// Whether values with `tag` are strings, whose text is UTF-8: those and
// Teletex, Universal and BMP strings.
bool string_type(uint8_t tag) { return read_as_utf8(tag) || tag == 0x14 || tag == 0x1C || tag == 0x1E; }

bool append_string_value(std::string& out, uint8_t tag, bytes_view content) {
  if (read_as_utf8(tag)) {
    append_checked_utf8(out, content);
    return true;
  }
  switch (tag) {
    case 0x14: append_latin1(out, content); return true;        // TeletexString
    case 0x1E: append_bmp(out, content); return true;           // BMPString
    case 0x1C: append_universal(out, content); return true;     // UniversalString
    default: return false;
  }
}

// ---------------------------------------------------------------------------
// Numbers and times.

// An unsigned INTEGER's content that fits 64 bits.
std::optional<uint64_t> small_unsigned(bytes_view content) {
  if (content.empty() || (content[0] & 0x80) != 0) return std::nullopt;
  size_t i = 0;
  while (i + 1 < content.size() && content[i] == 0) ++i;
  if (content.size() - i > 8) return std::nullopt;
  uint64_t v = 0;
  for (; i < content.size(); ++i) v = v << 8 | content[i];
  return v;
}

// Bits of an unsigned big number given by its content octets.
uint32_t bit_length(bytes_view content) {
  size_t i = 0;
  while (i < content.size() && content[i] == 0) ++i;
  if (i == content.size()) return 0;
  uint32_t top = 0;
  for (uint8_t b = content[i]; b != 0; b >>= 1) ++top;
  return static_cast<uint32_t>((content.size() - i - 1) * 8) + top;
}

int64_t days_from_civil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

bool digits(const uint8_t* p, size_t n, unsigned& value) {
  value = 0;
  for (size_t i = 0; i < n; ++i) {
    if (p[i] < '0' || p[i] > '9') return false;
    value = value * 10 + (p[i] - '0');
  }
  return true;
}

// The RFC 5952 text of a 16-octet address.
void append_ipv6(std::string& out, bytes_view a) {
  uint16_t g[8];
  for (int i = 0; i < 8; ++i) g[i] = static_cast<uint16_t>(a[2 * i] << 8 | a[2 * i + 1]);
  int best = -1, best_len = 1;
  for (int i = 0; i < 8;) {
    if (g[i] != 0) {
      ++i;
      continue;
    }
    int j = i;
    while (j < 8 && g[j] == 0) ++j;
    if (j - i > best_len) best = i, best_len = j - i;
    i = j;
  }
  for (int i = 0; i < 8; ++i) {
    if (i == best) {
      out += "::";
      i += best_len - 1;
      continue;
    }
    if (i != 0 && i != best + best_len) out += ':';
    char buf[5];
    int n = 0;
    for (int shift = 12; shift >= 0; shift -= 4) {
      const int nib = (g[i] >> shift) & 15;
      if (nib != 0 || n != 0 || shift == 0) buf[n++] = kHex[nib];
    }
    out.append(buf, static_cast<size_t>(n));
  }
}

// ---------------------------------------------------------------------------
// Names.

const char* short_name(const Oid& type) {
  static constexpr uint8_t k2_5_4[] = {0x55, 0x04};
  static constexpr uint8_t kPilot[] = {0x09, 0x92, 0x26, 0x89, 0x93, 0xF2, 0x2C, 0x64, 0x01};
  const bytes_view c = type.content;
  if (c.size() == 3 && c[0] == k2_5_4[0] && c[1] == k2_5_4[1]) {
    switch (c[2]) {
      case 3: return "CN";
      case 6: return "C";
      case 7: return "L";
      case 8: return "ST";
      case 9: return "STREET";
      case 10: return "O";
      case 11: return "OU";
      default: return nullptr;
    }
  }
  if (c.size() == sizeof kPilot + 1 && std::memcmp(c.data(), kPilot, sizeof kPilot) == 0) {
    if (c[sizeof kPilot] == 25) return "DC";
    if (c[sizeof kPilot] == 1) return "UID";
  }
  return nullptr;
}

// The characters RFC 4514 escapes wherever they stand.
constexpr auto kEscaped = [] {
  std::array<bool, 256> escaped{};
  for (const char c : std::string_view("\"+,;<>\\", 7)) escaped[static_cast<uint8_t>(c)] = true;
  escaped[0] = true;
  return escaped;
}();

void append_escaped(std::string& out, std::string_view value) {
  const size_t n = value.size();
  size_t start = 0;
  for (size_t i = 0; i < n; ++i) {
    const char c = value[i];
    const bool special = kEscaped[static_cast<uint8_t>(c)] || (i == 0 && (c == '#' || c == ' ')) ||
                         (i + 1 == n && c == ' ');
    if (!special) continue;
    out.append(value.data() + start, i - start);
    out += c == '\0' ? "\\00" : "\\";
    if (c != '\0') out += c;
    start = i + 1;
  }
  out.append(value.data() + start, n - start);
}

// Calls `visit(rdn_index, nullptr)` at the start of every RDN and
// `visit(rdn_index, &attribute)` for each of its attributes, in encoded order.
template <class Visit>
view_error walk_name(bytes_view der, size_t base, Visit&& visit) {
  const uint8_t* origin = der.data() - base;
  Element name;
  view_error error{};
  if (!only_element(der, origin, 0x30, name, error)) return error;
  Walker rdns(name.content, origin);
  Element rdn, attr, type, value;
  for (size_t index = 0; !rdns.at_end() && rdns.take(rdn, 0x31); ++index) {
    visit(index, static_cast<const NameAttribute*>(nullptr));
    Walker attrs(rdn.content, origin);
    while (!attrs.at_end() && attrs.take(attr, 0x30)) {
      Walker fields(attr.content, origin);
      if (fields.take(type, 0x06) && fields.take(value) && fields.finish()) {
        NameAttribute a;
        a.type.content = type.content;
        a.tag = value.tag;
        a.value = value.content;
        a.value_der = value.whole;
        visit(index, &a);
      } else {
        return fields.error();
      }
    }
    if (attrs.failed()) return attrs.error();
  }
  return rdns.error();
}

// ---------------------------------------------------------------------------
// General names.

bool read_general_name(const Element& e, const uint8_t* origin, GeneralNameValue& out,
                       view_error& error) {
  out = GeneralNameValue{};
  out.der = e.whole;
  switch (e.tag) {
    case 0xA0: {  // otherName: type-id, then the value inside [0]
      Walker w(e.content, origin);
      Element type, wrapper;
      if (!w.take(type, 0x06) || !w.take(wrapper, 0xA0) || !w.finish()) {
        error = w.error();
        return false;
      }
      Element inner;
      if (!only_element(wrapper.content, origin, kAnyTag, inner, error)) return false;
      out.kind = GeneralNameKind::other;
      out.other_type.content = type.content;
      out.value = inner.whole;
      out.text = out.other_type.text();
      return true;
    }
    case 0x81:
    case 0x82:
    case 0x86:
      out.kind = e.tag == 0x81   ? GeneralNameKind::email
                 : e.tag == 0x82 ? GeneralNameKind::dns
                                 : GeneralNameKind::uri;
      out.value = e.content;
      append_checked_utf8(out.text, e.content);
      return true;
    case 0xA3:
    case 0xA5:
      out.kind = e.tag == 0xA3 ? GeneralNameKind::x400 : GeneralNameKind::edi;
      out.value = e.content;
      append_hex(out.text, e.whole);
      return true;
    case 0xA4: {
      Element name;
      if (!only_element(e.content, origin, 0x30, name, error)) return false;
      out.kind = GeneralNameKind::directory;
      out.value = name.whole;
      const NameView view(name.whole, static_cast<size_t>(name.whole.data() - origin));
      const auto rdns = view.rdns();
      if (rdns.malformed()) {
        error = rdns.error;
        return false;
      }
      out.text = view.rfc4514();
      return true;
    }
    case 0x87: {
      out.kind = GeneralNameKind::ip;
      out.value = e.content;
      const bytes_view a = e.content;
      if (a.size() == 4) {
        for (int i = 0; i < 4; ++i) {
          if (i) out.text += '.';
          if (a[i] >= 100) out.text += static_cast<char>('0' + a[i] / 100);
          if (a[i] >= 10) out.text += static_cast<char>('0' + a[i] / 10 % 10);
          out.text += static_cast<char>('0' + a[i] % 10);
        }
      } else if (a.size() == 16) {
        append_ipv6(out.text, a);
      } else {
        append_hex(out.text, a);
      }
      return true;
    }
    case 0x88:
      out.kind = GeneralNameKind::registered_id;
      out.value = e.content;
      out.other_type.content = e.content;
      out.text = out.other_type.text();
      return true;
    default:
      error = {ASN_BAD_CHOICE, static_cast<size_t>(e.whole.data() - origin)};
      return false;
  }
}

// The general names in `content`, appended to `out`.
bool read_general_names(bytes_view content, const uint8_t* origin,
                        std::vector<GeneralNameValue>& out, view_error& error) {
  Walker w(content, origin);
  Element e;
  while (!w.at_end()) {
    if (!w.take(e)) {
      error = w.error();
      return false;
    }
    out.emplace_back();
    if (!read_general_name(e, origin, out.back(), error)) return false;
  }
  return true;
}


// ---------------------------------------------------------------------------
// Extension values. Each reader answers for one extension's value; errors
// point into the viewed DER.

const uint8_t* origin_of(const ExtensionRef& ext) { return ext.value.data() - ext.value_offset; }

// The value as one element with `tag`, or the error met.
template <class T>
bool open_value(const ExtensionRef& ext, int32_t tag, Element& e, found<T>& result) {
  view_error error{};
  if (only_element(ext.value, origin_of(ext), tag, e, error)) return true;
  result = malformed<T>(error);
  return false;
}

view_error error_at(int32_t code, bytes_view where, const uint8_t* origin) {
  return {code, static_cast<size_t>(where.data() - origin)};
}

found<std::vector<GeneralNameValue>> read_alt_names(const ExtensionRef& ext) {
  found<std::vector<GeneralNameValue>> result;
  Element e;
  if (!open_value(ext, 0x30, e, result)) return result;
  std::vector<GeneralNameValue> names;
  view_error error{};
  if (!read_general_names(e.content, origin_of(ext), names, error)) return malformed<decltype(names)>(error);
  return present(std::move(names));
}

// The catalogue's BasicConstraints record decodes the value.
found<BasicConstraintsValue> read_basic_constraints(const ExtensionRef& ext) {
  auto [record, err, used] = decode<BasicConstraints>(ext.value);
  const bytes_view at = ext.value;
  if (!record || err != 0 || used != ext.value.size())
    return malformed<BasicConstraintsValue>(
        error_at(err != 0 ? err : ASN_LEFTOVER, at, origin_of(ext)));
  BasicConstraintsValue value;
  value.ca = record->cA != nullptr && record->cA->value != 0;
  if (record->pathLenConstraint != nullptr) {
    const INTEGER& n = *record->pathLenConstraint;
    value.path_length = small_unsigned(bytes_view(n.bytes, static_cast<size_t>(n.length)));
    if (!value.path_length)
      return malformed<BasicConstraintsValue>(error_at(ASN_FIELD_FAILED, at, origin_of(ext)));
  }
  return present(value);
}

found<uint16_t> read_key_usage(const ExtensionRef& ext) {
  found<uint16_t> result;
  Element e;
  if (!open_value(ext, 0x03, e, result)) return result;
  if (e.content.empty() || e.content[0] > 7)
    return malformed<uint16_t>(error_at(ASN_FIELD_FAILED, e.whole, origin_of(ext)));
  uint16_t bits = 0;
  for (unsigned n = 0; n < 9; ++n) {
    const size_t octet = 1 + n / 8;
    if (octet < e.content.size() && (e.content[octet] & (0x80 >> (n % 8))) != 0)
      bits = static_cast<uint16_t>(bits | (1u << n));
  }
  return present(bits);
}

// A SEQUENCE OF OBJECT IDENTIFIER (extKeyUsage).
found<std::vector<Oid>> read_oid_list(const ExtensionRef& ext) {
  found<std::vector<Oid>> result;
  Element e, item;
  if (!open_value(ext, 0x30, e, result)) return result;
  std::vector<Oid> oids;
  Walker w(e.content, origin_of(ext));
  while (!w.at_end() && w.take(item, 0x06)) oids.push_back(Oid{item.content});
  if (w.failed()) return malformed<std::vector<Oid>>(w.error());
  return present(std::move(oids));
}

found<bytes_view> read_octet_string(const ExtensionRef& ext) {
  found<bytes_view> result;
  Element e;
  if (!open_value(ext, 0x04, e, result)) return result;
  return present(e.content);
}

found<bytes_view> read_integer(const ExtensionRef& ext) {
  found<bytes_view> result;
  Element e;
  if (!open_value(ext, 0x02, e, result)) return result;
  if (e.content.empty()) return malformed<bytes_view>(error_at(ASN_FIELD_FAILED, e.whole, origin_of(ext)));
  return present(e.content);
}

// The whole AuthorityKeyIdentifier is checked; its keyIdentifier, or an
// empty view without one, is the answer.
found<std::optional<bytes_view>> read_authority_key_id(const ExtensionRef& ext) {
  found<std::optional<bytes_view>> result;
  Element e, key, issuer, serial;
  if (!open_value(ext, 0x30, e, result)) return result;
  Walker w(e.content, origin_of(ext));
  const bool has_key = w.maybe(key, 0x80);
  if (w.maybe(issuer, 0xA1)) {
    std::vector<GeneralNameValue> names;
    view_error error{};
    if (!read_general_names(issuer.content, origin_of(ext), names, error))
      return malformed<std::optional<bytes_view>>(error);
  }
  w.maybe(serial, 0x82);
  if (!w.finish()) return malformed<std::optional<bytes_view>>(w.error());
  return present(has_key ? std::optional<bytes_view>(key.content) : std::nullopt);
}

found<std::vector<DistributionPointValue>> read_distribution_points(const ExtensionRef& ext) {
  using Points = std::vector<DistributionPointValue>;
  found<Points> result;
  const uint8_t* origin = origin_of(ext);
  Element list, point, name, choice, reasons, issuer;
  if (!open_value(ext, 0x30, list, result)) return result;
  Points points;
  view_error error{};
  Walker w(list.content, origin);
  while (!w.at_end() && w.take(point, 0x30)) {
    DistributionPointValue value;
    Walker fields(point.content, origin);
    if (fields.maybe(name, 0xA0)) {
      if (!only_element(name.content, origin, kAnyTag, choice, error)) return malformed<Points>(error);
      if (choice.tag == 0xA0) {
        if (!read_general_names(choice.content, origin, value.full_name, error))
          return malformed<Points>(error);
        for (const GeneralNameValue& n : value.full_name)
          if (n.kind == GeneralNameKind::uri) value.uris.push_back(n.text);
      } else if (choice.tag != 0xA1) {
        return malformed<Points>(error_at(ASN_BAD_CHOICE, choice.whole, origin));
      }
    }
    fields.maybe(reasons, 0x81);
    if (fields.maybe(issuer, 0xA2)) {
      std::vector<GeneralNameValue> names;
      if (!read_general_names(issuer.content, origin, names, error)) return malformed<Points>(error);
    }
    if (!fields.finish()) return malformed<Points>(fields.error());
    points.push_back(std::move(value));
  }
  if (w.failed()) return malformed<Points>(w.error());
  return present(std::move(points));
}

found<AccessValue> read_access(const ExtensionRef& ext) {
  found<AccessValue> result;
  const uint8_t* origin = origin_of(ext);
  Element list, item, method, location;
  if (!open_value(ext, 0x30, list, result)) return result;
  AccessValue value;
  Walker w(list.content, origin);
  while (!w.at_end() && w.take(item, 0x30)) {
    Walker fields(item.content, origin);
    if (!fields.take(method, 0x06) || !fields.take(location) || !fields.finish())
      return malformed<AccessValue>(fields.error());
    GeneralNameValue name;
    view_error error{};
    if (!read_general_name(location, origin, name, error)) return malformed<AccessValue>(error);
    if (name.kind != GeneralNameKind::uri) continue;
    if (same(method.content, kAdOcsp)) value.ocsp.push_back(std::move(name.text));
    else if (same(method.content, kAdCaIssuers)) value.ca_issuers.push_back(std::move(name.text));
  }
  if (w.failed()) return malformed<AccessValue>(w.error());
  return present(std::move(value));
}

found<std::vector<Oid>> read_policies(const ExtensionRef& ext) {
  found<std::vector<Oid>> result;
  const uint8_t* origin = origin_of(ext);
  Element list, info, id, qualifiers;
  if (!open_value(ext, 0x30, list, result)) return result;
  std::vector<Oid> oids;
  Walker w(list.content, origin);
  while (!w.at_end() && w.take(info, 0x30)) {
    Walker fields(info.content, origin);
    if (!fields.take(id, 0x06)) return malformed<std::vector<Oid>>(fields.error());
    fields.maybe(qualifiers, 0x30);
    if (!fields.finish()) return malformed<std::vector<Oid>>(fields.error());
    oids.push_back(Oid{id.content});
  }
  if (w.failed()) return malformed<std::vector<Oid>>(w.error());
  return present(std::move(oids));
}

// ENUMERATED content of a CRL entry's reason.
found<int32_t> read_reason(const ExtensionRef& ext) {
  found<int32_t> result;
  Element e;
  if (!open_value(ext, 0x0A, e, result)) return result;
  const auto v = small_unsigned(e.content);
  if (!v || *v > 0x7FFFFFFF) return malformed<int32_t>(error_at(ASN_FIELD_FAILED, e.whole, origin_of(ext)));
  return present(static_cast<int32_t>(*v));
}

// Walks the Extension elements of a list (the SEQUENCE OF element `der`);
// `visit` returns false to stop.
template <class Visit>
view_error walk_extensions(bytes_view der, size_t base, Visit&& visit) {
  view_error error{};
  if (der.empty()) return error;
  const uint8_t* origin = der.data() - base;
  Element list, ext, oid, flag, value;
  if (!only_element(der, origin, 0x30, list, error)) return error;
  Walker w(list.content, origin);
  while (!w.at_end() && w.take(ext, 0x30)) {
    Walker fields(ext.content, origin);
    if (!fields.take(oid, 0x06)) return fields.error();
    ExtensionRef ref;
    ref.oid.content = oid.content;
    if (fields.maybe(flag, 0x01)) {
      if (flag.content.size() != 1) return error_at(ASN_BAD_BOOLEAN, flag.whole, origin);
      ref.critical = flag.content[0] != 0;
    }
    if (!fields.take(value, 0x04) || !fields.finish()) return fields.error();
    ref.value = value.content;
    ref.offset = static_cast<size_t>(ext.whole.data() - origin);
    ref.value_offset = static_cast<size_t>(value.content.data() - origin);
    if (!visit(ref)) return error;
  }
  return w.error();
}

// The extensions the typed answers read, in ExtensionsView's index order.
constexpr bytes_view kKnown[ExtensionsView::kKnownKinds] = {
    kSubjectAltName, kIssuerAltName, kBasicConstraints, kKeyUsage,       kExtKeyUsage, kSubjectKeyId,
    kAuthorityKeyId, kCrlDistributionPoints, kAuthorityInfoAccess, kCertificatePolicies, kCrlNumber,
    kReasonCode};
enum Known : size_t { kSan, kIan, kBc, kKu, kEku, kSki, kAki, kCrlDp, kAia, kPolicies, kCrlNum, kReason };
static_assert(static_cast<size_t>(KnownExtension::reason_code) == kReason);

// Seconds of a time element.
std::optional<sys_seconds> time_of(const Element& e) { return decode_time(e.tag, e.content); }

found<sys_seconds> time_field(bytes_view whole, size_t base) {
  if (whole.empty()) return {};
  const uint8_t* origin = whole.data() - base;
  Element e;
  view_error error{};
  if (!only_element(whole, origin, kAnyTag, e, error)) return malformed<sys_seconds>(error);
  const auto t = time_of(e);
  if (!t) return malformed<sys_seconds>(error_at(ASN_FIELD_FAILED, whole, origin));
  return present(*t);
}

// Field size of a named curve; 0 for curves not listed.
uint32_t curve_bits(bytes_view curve) {
  struct Curve {
    uint8_t content[12];
    size_t size;
    uint32_t bits;
  };
  static const std::vector<Curve> curves = [] {
    static constexpr struct {
      const char* oid;
      uint32_t bits;
    } kCurves[] = {
        {"1.2.840.10045.3.1.7", 256},   {"1.3.132.0.34", 384},           {"1.3.132.0.35", 521},
        {"1.3.132.0.10", 256},          {"1.3.132.0.33", 224},           {"1.2.840.10045.3.1.1", 192},
        {"1.3.36.3.3.2.8.1.1.7", 256},  {"1.3.36.3.3.2.8.1.1.11", 384}, {"1.3.36.3.3.2.8.1.1.13", 512},
        {"1.3.132.0.1", 163},           {"1.3.132.0.15", 163},           {"1.3.132.0.26", 233},
        {"1.3.132.0.27", 233},          {"1.3.132.0.16", 283},           {"1.3.132.0.17", 283},
        {"1.3.132.0.36", 409},          {"1.3.132.0.37", 409},           {"1.3.132.0.38", 571},
        {"1.3.132.0.39", 571},
    };
    std::vector<Curve> out;
    for (const auto& c : kCurves) {
      Curve curve{};
      curve.size = encode_oid(c.oid, curve.content, sizeof curve.content);
      curve.bits = c.bits;
      out.push_back(curve);
    }
    return out;
  }();
  for (const Curve& c : curves)
    if (same(curve, bytes_view(c.content, c.size))) return c.bits;
  return 0;
}

found<PublicKeyInfo> read_public_key(bytes_view spki, size_t base) {
  const uint8_t* origin = spki.data() - base;
  Element whole, alg, key, oid, params;
  view_error error{};
  if (!only_element(spki, origin, 0x30, whole, error)) return malformed<PublicKeyInfo>(error);
  Walker w(whole.content, origin);
  if (!w.take(alg, 0x30) || !w.take(key, 0x03) || !w.finish()) return malformed<PublicKeyInfo>(w.error());
  Walker a(alg.content, origin);
  if (!a.take(oid, 0x06)) return malformed<PublicKeyInfo>(a.error());
  PublicKeyInfo info;
  if (!a.at_end() && a.take(params)) info.parameters = params.whole;
  if (!a.finish()) return malformed<PublicKeyInfo>(a.error());
  if (key.content.empty()) return malformed<PublicKeyInfo>(error_at(ASN_FIELD_FAILED, key.whole, origin));
  info.algorithm.content = oid.content;
  info.key = key.content.subspan(1);
  if (same(oid.content, kRsaEncryption)) {
    Element rsa, n, e;
    Walker k(info.key, origin);
    if (k.take(rsa, 0x30) && k.finish()) {
      Walker fields(rsa.content, origin);
      if (fields.take(n, 0x02) && fields.take(e, 0x02) && fields.finish()) {
        info.modulus = n.content;
        while (!info.modulus.empty() && info.modulus[0] == 0) info.modulus = info.modulus.subspan(1);
        info.bits = bit_length(n.content);
        info.exponent = small_unsigned(e.content);
      }
    }
  } else if (same(oid.content, kEcPublicKey)) {
    // The catalogue's ECParameters choice reads the parameters.
    auto [record, err, used] = decode<ECParameters>(info.parameters);
    if (record && err == 0 && used == info.parameters.size() && record->tag == 0x06) {
      const auto* curve = static_cast<const OBJECT_ID*>(record->value);
      const bytes_view named(curve->bytes, static_cast<size_t>(curve->length));
      // Point at the DER rather than the record, which goes away here.
      info.curve.content = info.parameters.subspan(info.parameters.size() - named.size());
      info.bits = curve_bits(info.curve.content);
    }
  } else if (same(oid.content, kEd25519)) {
    info.bits = 256;
  } else if (same(oid.content, kEd448)) {
    info.bits = 456;
  }
  return present(info);
}

// The version INTEGER's content (one octet) plus one.
bool small_version(const Element& e, int& version) {
  if (e.content.size() != 1 || e.content[0] > 0x7E) return false;
  version = e.content[0] + 1;
  return true;
}

}  // namespace

// ---------------------------------------------------------------------------
// Public pieces.

std::string Oid::text() const {
  std::string out;
  append_text(out);
  return out;
}

void Oid::append_text(std::string& out) const {
  if (content.empty() || (content.back() & 0x80) != 0) return;
  // An arc of k octets has at most 7k bits, 2.11k + 1 digits: the text
  // takes at most four characters an octet.
  const size_t start = out.size();
  out.resize(start + 4 * content.size() + 4);
  char* w = out.data() + start;
  uint64_t arc = 0;
  bool first = true;
  for (const uint8_t octet : content) {
    if (arc > (UINT64_MAX >> 7)) return out.resize(start);
    arc = arc << 7 | (octet & 0x7F);
    if ((octet & 0x80) != 0) continue;
    if (first) {
      const uint64_t top = arc < 40 ? 0 : arc < 80 ? 1 : 2;
      *w++ = static_cast<char>('0' + top);
      arc -= top * 40;
      first = false;
    }
    *w++ = '.';
    char digits[20];
    char* p = digits + sizeof digits;
    do {
      *--p = static_cast<char>('0' + arc % 10);
      arc /= 10;
    } while (arc != 0);
    w = std::copy(p, digits + sizeof digits, w);
  }
  out.resize(static_cast<size_t>(w - out.data()));
}

bool Oid::is(std::string_view dotted) const {
  uint8_t buf[128];
  const size_t n = encode_oid(dotted, buf, sizeof buf);
  return n != 0 && same(content, bytes_view(buf, n));
}

std::optional<sys_seconds> decode_time(uint8_t tag, bytes_view content) {
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  const uint8_t* p = content.data();
  if (tag == 0x17 && content.size() == 13) {
    if (!digits(p, 2, year)) return std::nullopt;
    year += year >= 50 ? 1900 : 2000;
    p += 2;
  } else if (tag == 0x18 && content.size() == 15) {
    if (!digits(p, 4, year)) return std::nullopt;
    p += 4;
  } else {
    return std::nullopt;
  }
  if (!digits(p, 2, month) || !digits(p + 2, 2, day) || !digits(p + 4, 2, hour) ||
      !digits(p + 6, 2, minute) || !digits(p + 8, 2, second) || p[10] != 'Z')
    return std::nullopt;
  static constexpr unsigned kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1 || day > kDays[month - 1] || hour > 23 || minute > 59 ||
      second > 59)
    return std::nullopt;
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  if (month == 2 && day == 29 && !leap) return std::nullopt;
  const int64_t days = days_from_civil(year, month, day);
  return sys_seconds(std::chrono::seconds(days * 86400 + hour * 3600 + minute * 60 + second));
}

std::string time_text(sys_seconds when) {
  const auto day = std::chrono::floor<std::chrono::days>(when);
  const std::chrono::year_month_day ymd(day);
  const int64_t rest = (when - day).count();
  const auto year = static_cast<unsigned>(static_cast<int>(ymd.year()));
  const unsigned fields[] = {year / 100 % 100, year % 100, static_cast<unsigned>(ymd.month()),
                             static_cast<unsigned>(ymd.day()), static_cast<unsigned>(rest / 3600),
                             static_cast<unsigned>(rest / 60 % 60), static_cast<unsigned>(rest % 60)};
  // "YYYY-MM-DDTHH:MM:SSZ": each field two digits, and what follows it.
  static constexpr char kAfter[] = "\0--T::Z";
  std::string out(20, '0');
  char* w = out.data();
  for (size_t i = 0; i < 7; ++i) {
    *w++ = static_cast<char>('0' + fields[i] / 10);
    *w++ = static_cast<char>('0' + fields[i] % 10);
    if (kAfter[i] != '\0') *w++ = kAfter[i];
  }
  return out;
}

std::string hex_text(bytes_view octets) {
  std::string out;
  append_hex(out, octets);
  return out;
}

std::string NameAttribute::text() const {
  std::string out;
  append_text(out);
  return out;
}

void NameAttribute::append_text(std::string& out) const {
  if (!append_string_value(out, tag, value)) {
    out += '#';
    append_hex(out, value_der);
  }
}

found<std::vector<RelativeName>> NameView::rdns() const {
  std::vector<RelativeName> out;
  const view_error error = rdns(out);
  if (error.code != 0) return malformed<std::vector<RelativeName>>(error);
  return present(std::move(out));
}

view_error NameView::rdns(std::vector<RelativeName>& rdns) const {
  size_t count = 0;
  const view_error error = walk_name(der_, base_, [&](size_t, const NameAttribute* a) {
    if (a != nullptr) {
      rdns[count - 1].push_back(*a);
    } else if (count++ < rdns.size()) {
      rdns[count - 1].clear();
    } else {
      rdns.emplace_back();
    }
  });
  rdns.resize(error.code != 0 ? 0 : count);
  return error;
}

// One attribute of the RFC 4514 text; `text` is its value's text when the
// caller has it already.
static void append_attribute(std::string& out, const NameAttribute& a, const std::string* text,
                             std::string& scratch) {
  if (const char* name = short_name(a.type)) out += name;
  else a.type.append_text(out);
  out += '=';
  if (text != nullptr) {
    if (string_type(a.tag)) append_escaped(out, *text);
    else out += *text;  // "#" and hex
    return;
  }
  // ASCII in a type read as UTF-8 is its own text: escaped straight from the
  // DER.
  if (read_as_utf8(a.tag) && std::all_of(a.value.begin(), a.value.end(), [](uint8_t b) { return b < 0x80; })) {
    append_escaped(out, std::string_view(reinterpret_cast<const char*>(a.value.data()), a.value.size()));
    return;
  }
  scratch.clear();
  if (!append_string_value(scratch, a.tag, a.value)) {
    out += '#';
    append_hex(out, a.value_der);
  } else {
    append_escaped(out, scratch);
  }
}

std::string NameView::rfc4514() const {
  std::vector<RelativeName> read;
  std::string out;
  if (rdns(read).code == 0) append_rfc4514(out, read);  // a fault anywhere gives the empty text
  return out;
}

std::string NameView::rfc4514(const std::vector<RelativeName>& rdns, const std::vector<std::string>* texts) {
  std::string out;
  append_rfc4514(out, rdns, texts);
  return out;
}

void NameView::append_rfc4514(std::string& out, const std::vector<RelativeName>& rdns,
                              const std::vector<std::string>* texts) {
  size_t at = 0;
  for (const RelativeName& rdn : rdns) at += rdn.size();
  if (texts != nullptr && texts->size() != at) texts = nullptr;
  std::string scratch;
  for (size_t i = rdns.size(); i-- > 0;) {
    at -= rdns[i].size();
    if (i + 1 != rdns.size()) out += ',';
    for (size_t j = 0; j < rdns[i].size(); ++j) {
      if (j != 0) out += '+';
      append_attribute(out, rdns[i][j], texts != nullptr ? &(*texts)[at + j] : nullptr, scratch);
    }
  }
}

found<std::vector<ExtensionRef>> ExtensionsView::all() const {
  std::vector<ExtensionRef> all;
  all.reserve(16);
  const view_error error = walk_extensions(der_, base_, [&](const ExtensionRef& ext) {
    all.push_back(ext);
    return true;
  });
  if (error.code != 0) return malformed<std::vector<ExtensionRef>>(error);
  return present(std::move(all));
}

found<ExtensionRef> ExtensionsView::find(std::string_view dotted) const {
  uint8_t buf[128];
  const size_t n = encode_oid(dotted, buf, sizeof buf);
  found<ExtensionRef> result;
  if (n == 0) return result;
  const view_error error = walk_extensions(der_, base_, [&](const ExtensionRef& ext) {
    if (!same(ext.oid.content, bytes_view(buf, n))) return true;
    result = present(ext);
    return false;
  });
  if (error.code != 0) return malformed<ExtensionRef>(error);
  return result;
}

bool ExtensionsView::decodes(const ExtensionRef& ext) {
  const auto kind = known_extension(ext.oid);
  if (!kind) return false;
  switch (static_cast<Known>(*kind)) {
    case kSan:
    case kIan: return read_alt_names(ext).present();
    case kBc: return read_basic_constraints(ext).present();
    case kKu: return read_key_usage(ext).present();
    case kEku: return read_oid_list(ext).present();
    case kSki: return read_octet_string(ext).present();
    case kAki: return read_authority_key_id(ext).present();
    case kCrlDp: return read_distribution_points(ext).present();
    case kAia: return read_access(ext).present();
    case kPolicies: return read_policies(ext).present();
    case kCrlNum: return read_integer(ext).present();
    case kReason: return read_reason(ext).present();
  }
  return false;
}

std::optional<KnownExtension> known_extension(const Oid& oid) {
  for (size_t kind = 0; kind < ExtensionsView::kKnownKinds; ++kind)
    if (same(oid.content, kKnown[kind])) return static_cast<KnownExtension>(kind);
  return std::nullopt;
}

ExtensionsView::ExtensionsView(bytes_view der, size_t base) : der_(der), base_(base) {
  list_error_ = walk_extensions(der_, base_, [&](const ExtensionRef& ext) {
    if (const auto kind = known_extension(ext.oid); kind && known_[static_cast<size_t>(*kind)] == 0)
      known_[static_cast<size_t>(*kind)] = static_cast<uint32_t>(ext.offset - base_ + 1);
    return true;
  });
}

template <class T>
found<T> ExtensionsView::known(size_t kind, found<T> (*read)(const ExtensionRef&)) const {
  if (list_error_.code != 0) return malformed<T>(list_error_);
  if (known_[kind] == 0) return {};
  // The Extension element from its own offset to the end of the list: the
  // walk reads that one and stops.
  const size_t at = known_[kind] - 1;
  Element e;
  const uint8_t* origin = der_.data() - base_;
  Walker w(der_.subspan(at), origin);
  w.take(e, 0x30);
  ExtensionRef ref;
  Walker fields(e.content, origin);
  Element oid, flag, value;
  fields.take(oid, 0x06);
  if (fields.maybe(flag, 0x01)) ref.critical = flag.content[0] != 0;
  fields.take(value, 0x04);
  ref.oid.content = oid.content;
  ref.value = value.content;
  ref.offset = base_ + at;
  ref.value_offset = static_cast<size_t>(value.content.data() - origin);
  return read(ref);
}

found<std::vector<GeneralNameValue>> ExtensionsView::subject_alt_names() const {
  return known(kSan, read_alt_names);
}
found<std::vector<GeneralNameValue>> ExtensionsView::issuer_alt_names() const {
  return known(kIan, read_alt_names);
}
found<BasicConstraintsValue> ExtensionsView::basic_constraints() const {
  return known(kBc, read_basic_constraints);
}
found<uint16_t> ExtensionsView::key_usage() const { return known(kKu, read_key_usage); }
found<std::vector<Oid>> ExtensionsView::extended_key_usage() const { return known(kEku, read_oid_list); }
found<bytes_view> ExtensionsView::subject_key_id() const { return known(kSki, read_octet_string); }
found<bytes_view> ExtensionsView::authority_key_id() const {
  const auto aki = known(kAki, read_authority_key_id);
  if (aki.malformed()) return malformed<bytes_view>(aki.error);
  if (!aki || !aki.value) return {};
  return present(*aki.value);
}
found<std::vector<DistributionPointValue>> ExtensionsView::crl_distribution_points() const {
  return known(kCrlDp, read_distribution_points);
}
found<AccessValue> ExtensionsView::authority_info_access() const { return known(kAia, read_access); }
found<std::vector<Oid>> ExtensionsView::policies() const { return known(kPolicies, read_policies); }
found<bytes_view> ExtensionsView::crl_number() const { return known(kCrlNum, read_integer); }
found<int32_t> ExtensionsView::reason_code() const { return known(kReason, read_reason); }

const char* reason_name(int32_t reason) {
  static constexpr const char* kNames[] = {
      "unspecified",          "keyCompromise",   "cACompromise",  "affiliationChanged",
      "superseded",           "cessationOfOperation", "certificateHold", nullptr,
      "removeFromCRL",        "privilegeWithdrawn", "aACompromise"};
  return reason >= 0 && reason <= 10 ? kNames[reason] : nullptr;
}

// ---------------------------------------------------------------------------
// Certificates.

// The signed envelope shared by certificates, requests and lists: SEQUENCE
// { to-be-signed SEQUENCE, AlgorithmIdentifier, BIT STRING }. Fills the
// whole element, the signed part and the algorithm; false with `error` set
// when the envelope does not decode.
static bool open_signed(bytes_view der, bytes_view& whole, Element& signed_part, bytes_view& algorithm,
                        view_error& error) {
  const uint8_t* origin = der.data();
  Walker top(der, origin);
  Element envelope, sigalg, sigval;
  if (!top.take(envelope, 0x30)) {
    error = top.error();
    return false;
  }
  whole = envelope.whole;
  Walker outer(envelope.content, origin);
  if (!outer.take(signed_part, 0x30) || !outer.take(sigalg, 0x30) || !outer.take(sigval, 0x03) ||
      !outer.finish()) {
    error = outer.error();
    return false;
  }
  algorithm = sigalg.whole;
  return true;
}

CertificateView::CertificateView(bytes_view der) {
  const uint8_t* origin = der.data();
  Element tbs, version, serial, wrapper, uid;
  if (!open_signed(der, der_, tbs, signature_, error_)) return;
  tbs_ = tbs.whole;
  Walker t(tbs.content, origin);
  if (t.maybe(wrapper, 0xA0)) {
    if (!only_element(wrapper.content, origin, 0x02, version, error_)) return;
    if (!small_version(version, version_)) {
      error_ = error_at(ASN_FIELD_FAILED, version.whole, origin);
      return;
    }
  }
  {
    Element sig, issuer, validity, subject, spki;
    if (!t.take(serial, 0x02) || !t.take(sig, 0x30) || !t.take(issuer, 0x30) ||
        !t.take(validity, 0x30) || !t.take(subject, 0x30) || !t.take(spki, 0x30)) {
      error_ = t.error();
      return;
    }
    serial_ = serial.content;
    tbs_signature_ = sig.whole;
    issuer_ = issuer.whole;
    validity_ = validity.whole;
    subject_ = subject.whole;
    spki_ = spki.whole;
  }
  t.maybe(uid, 0x81);
  t.maybe(uid, 0x82);
  if (t.maybe(wrapper, 0xA3)) {
    Element list;
    if (!only_element(wrapper.content, origin, 0x30, list, error_)) return;
    extensions_ = list.whole;
  }
  if (!t.finish()) error_ = t.error();
}

int CertificateView::version() const { return version_; }
bytes_view CertificateView::serial() const { return serial_; }
bytes_view CertificateView::tbs() const { return tbs_; }

// The OID of an AlgorithmIdentifier element; empty when it has none.
static Oid algorithm_oid(bytes_view algorithm) {
  if (algorithm.empty()) return {};
  const uint8_t* origin = algorithm.data();
  Element whole, oid;
  view_error error{};
  if (!only_element(algorithm, origin, 0x30, whole, error)) return {};
  Walker w(whole.content, origin);
  if (!w.take(oid, 0x06)) return {};
  return Oid{oid.content};
}

Oid CertificateView::signature_algorithm() const { return algorithm_oid(signature_); }
NameView CertificateView::issuer() const {
  return NameView(issuer_, static_cast<size_t>(issuer_.data() - der_.data()));
}
NameView CertificateView::subject() const {
  return NameView(subject_, static_cast<size_t>(subject_.data() - der_.data()));
}

// The two times of a Validity element.
static found<sys_seconds> validity_time(bytes_view validity, const uint8_t* origin, int which) {
  if (validity.empty()) return {};
  Element whole, first, second;
  view_error error{};
  if (!only_element(validity, origin, 0x30, whole, error)) return malformed<sys_seconds>(error);
  Walker w(whole.content, origin);
  if (!w.take(first) || !w.take(second) || !w.finish()) return malformed<sys_seconds>(w.error());
  const Element& e = which == 0 ? first : second;
  return time_field(e.whole, static_cast<size_t>(e.whole.data() - origin));
}

found<sys_seconds> CertificateView::not_before() const { return validity_time(validity_, der_.data(), 0); }
found<sys_seconds> CertificateView::not_after() const { return validity_time(validity_, der_.data(), 1); }
found<PublicKeyInfo> CertificateView::public_key() const {
  if (spki_.empty()) return {};
  return read_public_key(spki_, static_cast<size_t>(spki_.data() - der_.data()));
}
ExtensionsView CertificateView::extensions() const {
  return ExtensionsView(extensions_, static_cast<size_t>(extensions_.data() - der_.data()));
}

// ---------------------------------------------------------------------------
// Requests.

RequestView::RequestView(bytes_view der) {
  const uint8_t* origin = der.data();
  Element info, version, subject, spki, attributes;
  if (!open_signed(der, der_, info, signature_, error_)) return;
  info_ = info.whole;
  Walker t(info.content, origin);
  if (!t.take(version, 0x02) || !t.take(subject, 0x30) || !t.take(spki, 0x30)) {
    error_ = t.error();
    return;
  }
  if (!small_version(version, version_)) {
    error_ = error_at(ASN_FIELD_FAILED, version.whole, origin);
    return;
  }
  subject_ = subject.whole;
  spki_ = spki.whole;
  if (t.maybe(attributes, 0xA0)) attributes_ = attributes.whole;
  if (!t.finish()) error_ = t.error();
}

int RequestView::version() const { return version_; }
NameView RequestView::subject() const {
  return NameView(subject_, static_cast<size_t>(subject_.data() - der_.data()));
}
found<PublicKeyInfo> RequestView::public_key() const {
  if (spki_.empty()) return {};
  return read_public_key(spki_, static_cast<size_t>(spki_.data() - der_.data()));
}
Oid RequestView::signature_algorithm() const { return algorithm_oid(signature_); }

// Calls `visit(type element, values element)` for every attribute.
template <class Visit>
static view_error walk_attributes(bytes_view attributes, const uint8_t* origin, Visit&& visit) {
  view_error error{};
  if (attributes.empty()) return error;
  Element whole, attribute, type, values;
  if (!only_element(attributes, origin, 0xA0, whole, error)) return error;
  Walker w(whole.content, origin);
  while (!w.at_end() && w.take(attribute, 0x30)) {
    Walker fields(attribute.content, origin);
    if (!fields.take(type, 0x06) || !fields.take(values, 0x31) || !fields.finish())
      return fields.error();
    visit(type, values);
  }
  return w.error();
}

found<std::vector<Oid>> RequestView::attributes() const {
  std::vector<Oid> types;
  const view_error error = walk_attributes(attributes_, der_.data(), [&](const Element& type, const Element&) {
    types.push_back(Oid{type.content});
  });
  if (error.code != 0) return malformed<std::vector<Oid>>(error);
  return present(std::move(types));
}

ExtensionsView RequestView::extensions() const {
  bytes_view found_list;
  walk_attributes(attributes_, der_.data(), [&](const Element& type, const Element& values) {
    if (!found_list.empty() || !same(type.content, kExtensionRequest)) return;
    // The first value; a list that does not decode shows as malformed there.
    Walker w(values.content, der_.data());
    Element list;
    if (w.take(list)) found_list = list.whole;
  });
  return ExtensionsView(found_list, static_cast<size_t>(found_list.data() - der_.data()));
}

// ---------------------------------------------------------------------------
// Revocation lists.

CrlView::CrlView(bytes_view der) {
  const uint8_t* origin = der.data();
  Element tbs, version, sig, issuer, this_update, next_update, revoked, wrapper;
  if (!open_signed(der, der_, tbs, signature_, error_)) return;
  tbs_ = tbs.whole;
  Walker t(tbs.content, origin);
  if (t.maybe(version, 0x02) && !small_version(version, version_)) {
    error_ = error_at(ASN_FIELD_FAILED, version.whole, origin);
    return;
  }
  if (!t.take(sig, 0x30) || !t.take(issuer, 0x30) || !t.take(this_update)) {
    error_ = t.error();
    return;
  }
  issuer_ = issuer.whole;
  this_update_ = this_update.whole;
  if (t.maybe(next_update, 0x17) || t.maybe(next_update, 0x18)) next_update_ = next_update.whole;
  if (t.maybe(revoked, 0x30)) revoked_ = revoked.whole;
  if (t.maybe(wrapper, 0xA0)) {
    Element list;
    if (!only_element(wrapper.content, origin, 0x30, list, error_)) return;
    extensions_ = list.whole;
  }
  if (!t.finish()) error_ = t.error();
}

int CrlView::version() const { return version_; }
NameView CrlView::issuer() const {
  return NameView(issuer_, static_cast<size_t>(issuer_.data() - der_.data()));
}
Oid CrlView::signature_algorithm() const { return algorithm_oid(signature_); }
found<sys_seconds> CrlView::this_update() const {
  return time_field(this_update_, static_cast<size_t>(this_update_.data() - der_.data()));
}
found<sys_seconds> CrlView::next_update() const {
  return time_field(next_update_, static_cast<size_t>(next_update_.data() - der_.data()));
}
ExtensionsView CrlView::extensions() const {
  return ExtensionsView(extensions_, static_cast<size_t>(extensions_.data() - der_.data()));
}
RevokedRange CrlView::revoked() const {
  if (revoked_.empty()) return RevokedRange({}, der_.data());
  // The entries are the content of the SEQUENCE OF element.
  const Header h = read_header(revoked_.data(), revoked_.data() + revoked_.size(), 0x30,
                               revoked_.data() + revoked_.size());
  return RevokedRange(bytes_view(h.content, h.length), der_.data());
}

RevokedRange::iterator RevokedRange::begin() const {
  error_ = {};
  iterator it;
  it.range_ = this;
  it.next_ = der_.data();
  if (der_.empty()) return iterator();
  it.load();
  return it;
}

RevokedRange::iterator& RevokedRange::iterator::operator++() {
  load();
  return *this;
}

void RevokedRange::iterator::load() {
  const uint8_t* end = range_->der_.data() + range_->der_.size();
  if (next_ == end) {
    at_ = nullptr;
    return;
  }
  const uint8_t* origin = range_->origin_;
  Walker list(bytes_view(next_, static_cast<size_t>(end - next_)), origin);
  Element entry, serial, date, extensions;
  if (list.take(entry, 0x30)) {
    Walker fields(entry.content, origin);
    if (fields.take(serial, 0x02) && fields.take(date)) {
      fields.maybe(extensions, 0x30);
      if (fields.finish()) {
        at_ = next_;
        next_ = entry.whole.data() + entry.whole.size();
        entry_.serial = serial.content;
        entry_.date = time_of(date);
        entry_.offset = static_cast<size_t>(at_ - origin);
        entry_.reason.reset();
        entry_.extensions = ExtensionsView(
            extensions.whole, static_cast<size_t>(extensions.whole.data() - origin));
        extensions = Element{};
        if (!entry_.extensions.der().empty()) {
          const auto reason = entry_.extensions.reason_code();
          if (reason) entry_.reason = reason.value;
        }
        return;
      }
    }
    range_->error_ = fields.error();
  } else {
    range_->error_ = list.error();
  }
  at_ = nullptr;
}

// ---------------------------------------------------------------------------
// Telling the kinds apart.

DerKind detect_kind(bytes_view der) {
  const uint8_t* origin = der.data();
  Walker top(der, origin);
  Element outer, first;
  if (!top.take(outer, 0x30)) return DerKind::unknown;
  Walker o(outer.content, origin);
  if (!o.take(first, 0x30)) return DerKind::unknown;
  Walker t(first.content, origin);
  uint8_t tags[5] = {};
  Element e;
  for (uint8_t& tag : tags) {
    if (!t.take(e)) break;
    tag = e.tag;
  }
  if (tags[0] == 0xA0) return DerKind::certificate;
  const bool time3 = tags[3] == 0x17 || tags[3] == 0x18;
  if (tags[0] == 0x02 && tags[1] == 0x30 && tags[2] == 0x30) {
    if (time3) return DerKind::crl;
    if (tags[3] == 0xA0) return DerKind::request;
    if (tags[3] == 0x30) return DerKind::certificate;
  }
  if (tags[0] == 0x30 && tags[1] == 0x30 && (tags[2] == 0x17 || tags[2] == 0x18)) return DerKind::crl;
  return DerKind::unknown;
}

}  // namespace qel
