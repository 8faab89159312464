// Any bytes through the JSON lines of `qelcert json`: split as the program
// splits a file (DER, or PEM blocks), and also taken whole as each of the
// three types. Every line must be one JSON object, strictly valid, in valid
// UTF-8, and there must be exactly one line per object. Each PEM piece, read
// alone, must give the block that reading the whole text gives, and
// cutting the text as it arrives must give the same pieces. The bytes read
// as a name must give the view's RFC 4514 text.
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "cli/render.h"
#include "toolkit/pem.h"

namespace {

// A strict JSON reader that only says whether the text is valid.
class Checker {
 public:
  explicit Checker(std::string_view text) : s_(text) {}

  bool object_line() {
    if (!object(0)) return false;
    return pos_ == s_.size();
  }

 private:
  bool more() const { return pos_ < s_.size(); }
  unsigned char peek() const { return static_cast<unsigned char>(s_[pos_]); }
  bool eat(char c) {
    if (!more() || s_[pos_] != c) return false;
    ++pos_;
    return true;
  }
  bool word(std::string_view w) {
    if (s_.substr(pos_, w.size()) != w) return false;
    pos_ += w.size();
    return true;
  }

  bool value(int depth) {
    if (depth > 64 || !more()) return false;
    switch (peek()) {
      case '{': return object(depth + 1);
      case '[': return array(depth + 1);
      case '"': return string();
      case 't': return word("true");
      case 'f': return word("false");
      case 'n': return word("null");
      default: return number();
    }
  }

  bool object(int depth) {
    if (!eat('{')) return false;
    if (eat('}')) return true;
    do {
      if (!string() || !eat(':') || !value(depth)) return false;
    } while (eat(','));
    return eat('}');
  }

  bool array(int depth) {
    if (!eat('[')) return false;
    if (eat(']')) return true;
    do {
      if (!value(depth)) return false;
    } while (eat(','));
    return eat(']');
  }

  bool digits() {
    const size_t start = pos_;
    while (more() && peek() >= '0' && peek() <= '9') ++pos_;
    return pos_ > start;
  }

  bool number() {
    eat('-');
    if (eat('0')) {
      if (more() && peek() >= '0' && peek() <= '9') return false;
    } else if (!digits()) {
      return false;
    }
    if (eat('.') && !digits()) return false;
    if (more() && (peek() == 'e' || peek() == 'E')) {
      ++pos_;
      if (!eat('+')) eat('-');
      if (!digits()) return false;
    }
    return true;
  }

  static bool hex(unsigned char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

  // One UTF-8 character of two to four octets, decoded and range-checked.
  bool utf8() {
    const unsigned char lead = peek();
    size_t n;
    uint32_t cp;
    if (lead >= 0xC0 && lead < 0xE0) n = 2, cp = lead & 0x1F;
    else if (lead >= 0xE0 && lead < 0xF0) n = 3, cp = lead & 0x0F;
    else if (lead >= 0xF0 && lead < 0xF8) n = 4, cp = lead & 0x07;
    else return false;
    if (s_.size() - pos_ < n) return false;
    for (size_t i = 1; i < n; ++i) {
      const unsigned char c = static_cast<unsigned char>(s_[pos_ + i]);
      if ((c & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (c & 0x3F);
    }
    static constexpr uint32_t kMin[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kMin[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    pos_ += n;
    return true;
  }

  bool string() {
    if (!eat('"')) return false;
    while (more()) {
      const unsigned char c = peek();
      if (c == '"') {
        ++pos_;
        return true;
      }
      if (c < 0x20) return false;
      if (c >= 0x80) {
        if (!utf8()) return false;
        continue;
      }
      ++pos_;
      if (c != '\\') continue;
      if (!more()) return false;
      const char e = s_[pos_++];
      if (e == 'u') {
        for (int i = 0; i < 4; ++i)
          if (!more() || !hex(peek())) return false;
          else ++pos_;
      } else if (std::string_view("\"\\/bfnrt").find(e) == std::string_view::npos) {
        return false;
      }
    }
    return false;
  }

  std::string_view s_;
  size_t pos_ = 0;
};

// Keeps what a long object spills, so the whole line can be checked.
class Collector : public qel::cli::Sink {
 public:
  void spill() override {
    spilled += text;
    text.clear();
  }
  std::string spilled;
};

void check(std::string_view file, const qel::cli::Object& object, const qel::cli::RenderOptions& options) {
  Collector sink;
  qel::cli::render_object(file, object, options, sink);
  const std::string line = sink.spilled + sink.text;
  if (line.empty() || line.back() != '\n') std::abort();
  const std::string_view body(line.data(), line.size() - 1);
  if (body.find('\n') != std::string_view::npos) std::abort();
  if (!body.starts_with("{\"file\":") || !Checker(body).object_line()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qel::cli;
  const std::span<const uint8_t> bytes(data, size);
  RenderOptions options;
  options.digests = {Digest::md5, Digest::sha1, Digest::sha256};
  // The file name goes through the same escaping as the values.
  const std::string_view name(reinterpret_cast<const char*>(data), size < 16 ? size : 16);
  const std::vector<Object> objects = split_input(bytes);
  if (objects.empty()) std::abort();
  for (const Object& object : objects) check(name, object, options);

  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (size != 0 && qel::looks_like_pem(text)) {
    const std::vector<qel::PemBlock> blocks = qel::read_pem(text);
    if (blocks.empty() && (objects.size() != 1 || !objects[0].failure)) std::abort();
    if (!blocks.empty() && objects.size() != blocks.size()) std::abort();
    // Fed in pieces, the cutter finds the same objects.
    std::vector<Object> pieces;
    PemCutter cutter;
    const size_t step = data[0] % 97 + 1;
    for (size_t have = step; have < size; have += step) cutter.feed(bytes.first(have), false, pieces);
    cutter.feed(bytes, true, pieces);
    if (!blocks.empty() && pieces.size() != objects.size()) std::abort();
    for (size_t i = 0; i < pieces.size(); ++i)
      if (pieces[i].index != objects[i].index || pieces[i].line != objects[i].line ||
          pieces[i].der.data() != objects[i].der.data() || pieces[i].der.size() != objects[i].der.size())
        std::abort();
    for (size_t i = 0; i < blocks.size(); ++i) {
      const std::string_view piece(reinterpret_cast<const char*>(objects[i].der.data()), objects[i].der.size());
      qel::PemReader reader(piece);
      qel::PemBlock alone;
      if (!reader.next(alone) || alone.label != blocks[i].label || alone.error != blocks[i].error ||
          alone.der != blocks[i].der || objects[i].line != blocks[i].line || objects[i].index != i)
        std::abort();
    }
  }

  // The NAME objects' RFC 4514 text is the view's, for the bytes as a name.
  const qel::NameView name_view(bytes);
  const auto rdns = name_view.rdns();
  if (rdns.present() && rfc4514_text(rdns.value) != name_view.rfc4514()) std::abort();

  Object whole;
  whole.index = 0;
  whole.der = bytes;
  for (ObjectType type : {ObjectType::certificate, ObjectType::request, ObjectType::crl}) {
    options.type = type;
    check("f", whole, options);
  }
  return 0;
}
