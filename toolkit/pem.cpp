// PEM blocks, read line by line. A line ends at "\n" with an optional "\r"
// before it; trailing blanks are ignored on every line.
#include "toolkit/pem.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "toolkit/base64_values.h"

#if defined(__x86_64__) || defined(__i386__)
#define QEL_PEM_SSSE3 1
#include <immintrin.h>
#endif

namespace qel {
namespace {

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";

// The line at `pos` without its line end and trailing blanks; moves `pos` to
// the start of the next line.
std::string_view take_line(std::string_view text, size_t& pos) {
  size_t end = text.find('\n', pos);
  if (end == std::string_view::npos) end = text.size();
  std::string_view line = text.substr(pos, end - pos);
  pos = end < text.size() ? end + 1 : end;
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
    line.remove_suffix(1);
  return line;
}

// The label of a "<kind>label-----" line, where kind is kBegin or kEnd; none
// for any other line.
std::optional<std::string_view> label_of(std::string_view line, std::string_view kind) {
  if (line.size() < kind.size() + kDashes.size() || !line.starts_with(kind) ||
      !line.ends_with(kDashes))
    return std::nullopt;
  return line.substr(kind.size(), line.size() - kind.size() - kDashes.size());
}

constexpr const auto& kValues = detail::kBase64Values;

#ifdef QEL_PEM_SSSE3
// Sixteen characters at a time while all sixteen are in the alphabet and
// there is room for sixteen octets at `w` (twelve are written): each
// character is classed by its two halves through two table lookups, turned
// into its six bits by a third, and the bits are packed by two multiply-adds
// and a shuffle. Returns the characters taken, a multiple of sixteen.
__attribute__((target("ssse3"))) size_t decode_sixteens(const unsigned char* p, size_t n, uint8_t* w,
                                                        size_t room) {
  // Bit k of kLow[low half] and of kHigh[high half] are both set, for some
  // k, exactly when the character is outside the alphabet.
  const __m128i kLow = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A,
                                     0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i kHigh = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10,
                                      0x10, 0x10, 0x10, 0x10);
  // What to add to a character, by its high half ("/" one place lower).
  const __m128i kShift = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i kPack = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m128i nibble = _mm_set1_epi8(0x0f);
  size_t i = 0;
  for (; n - i >= 16 && room >= 16; i += 16, w += 12, room -= 12) {
    const __m128i in = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    const __m128i high = _mm_and_si128(_mm_srli_epi32(in, 4), nibble);
    const __m128i low = _mm_and_si128(in, nibble);
    const __m128i bad = _mm_and_si128(_mm_shuffle_epi8(kLow, low), _mm_shuffle_epi8(kHigh, high));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(bad, _mm_setzero_si128())) != 0xFFFF) break;
    const __m128i slash = _mm_cmpeq_epi8(in, _mm_set1_epi8('/'));
    const __m128i values = _mm_add_epi8(in, _mm_shuffle_epi8(kShift, _mm_add_epi8(slash, high)));
    const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));  // a << 6 | b
    const __m128i words = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));     // ab << 12 | cd
    _mm_storeu_si128(reinterpret_cast<__m128i*>(w), _mm_shuffle_epi8(words, kPack));
  }
  return i;
}

const bool kSsse3 = __builtin_cpu_supports("ssse3");
#endif

// A block's body, decoded as its lines come: alphabet characters, then at
// most two "=" that close the last group, with blanks anywhere. The first
// fault met is kept. Only canonical text is taken (the unused bits of the
// last group are zero), so the octets encode back to the same characters.
class Body {
 public:
  // `room`: the octets the body is likely to hold; more are made room for.
  Body(std::vector<uint8_t>& der, size_t room) : der_(der) { der_.resize(room); }

  // Decodes, from `pos`, the lines of alphabet characters alone that end in
  // "\n" or "\r\n" (nearly every line of every block), four characters at a
  // time. Stops at the end of the text, at the start of any other line, or
  // inside one after its leading alphabet characters. Counts the line ends
  // passed in `lines`; returns where it stopped.
  size_t add_alphabet_lines(std::string_view text, size_t pos, size_t& lines) {
    if (error_ != nullptr || padding_ != 0) return pos;
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    size_t i = pos;
    for (;;) {
      if (chars_ % 4 == 0) {
        // Whole groups into the room there is. Locals: a store through an
        // octet pointer would make the compiler read every member again.
        const unsigned char* p = s + i;
        uint8_t* w = der_.data() + used_;
        uint8_t* const stop = der_.data() + der_.size();
#ifdef QEL_PEM_SSSE3
        if (kSsse3) {
          const size_t taken = decode_sixteens(p, n - i, w, static_cast<size_t>(stop - w));
          p += taken;
          w += taken / 4 * 3;
        }
#endif
        while (s + n - p >= 4 && stop - w >= 3) {
          const uint32_t a = kValues[p[0]], b = kValues[p[1]], c = kValues[p[2]], d = kValues[p[3]];
          if ((a | b | c | d) > 63) break;
          detail::store_group(w, a << 18 | b << 12 | c << 6 | d);
          w += 3;
          p += 4;
        }
        chars_ += static_cast<size_t>(p - (s + i));
        used_ = static_cast<size_t>(w - der_.data());
        i = static_cast<size_t>(p - s);
        if (stop - w < 3 && n - i >= 4) {
          grow(3);
          continue;
        }
      }
      if (i == n) return i;
      if (const uint32_t v = kValues[s[i]]; v < 64) {
        push(v);
        ++i;
      } else if (s[i] == '\n') {
        ++lines;
        ++i;
      } else if (s[i] == '\r' && i + 1 < n && s[i + 1] == '\n') {
        ++lines;
        i += 2;
      } else {
        return i;
      }
    }
  }

  // Any line of the body, or the rest of one.
  void add(std::string_view line) {
    for (const char ch : line) {
      if (error_ != nullptr) return;
      const unsigned char c = static_cast<unsigned char>(ch);
      if (const uint32_t v = kValues[c]; v < 64) {
        if (padding_ != 0) error_ = "bad base64";  // after the padding
        else push(v);
      } else if (c == '=') {
        ++padding_;
      } else if (c != ' ' && c != '\t' && c != '\r') {
        error_ = "bad base64";  // a stray character
      }
    }
  }

  // The octets of the last group, and `der` cut to the octets decoded.
  // Returns the error, or null.
  const char* finish() {
    if (error_ != nullptr) return error_;
    if ((chars_ + padding_) % 4 != 0) return "base64 ends inside a group";
    if (padding_ > 2) return "bad base64";
    // The group not yet whole ends with the last character, in its low bits.
    if (padding_ != 0 && (group_ & (padding_ == 2 ? 0x0f : 0x03)) != 0) return "bad base64";
    if (chars_ % 4 == 2) room(1)[0] = static_cast<uint8_t>(group_ >> 4);
    if (chars_ % 4 == 3) {
      uint8_t* out = room(2);
      out[0] = static_cast<uint8_t>(group_ >> 10);
      out[1] = static_cast<uint8_t>(group_ >> 2);
    }
    der_.resize(used_);
    return nullptr;
  }

 private:
  void grow(size_t count) { der_.resize(std::max(der_.size() * 2, used_ + count + 64)); }
  uint8_t* room(size_t count) {
    if (der_.size() - used_ < count) grow(count);
    uint8_t* out = der_.data() + used_;
    used_ += count;
    return out;
  }
  void push(uint32_t v) {  // one character's six bits
    group_ = group_ << 6 | v;
    if (++chars_ % 4 == 0) {
      detail::store_group(room(3), group_);
      group_ = 0;
    }
  }

  std::vector<uint8_t>& der_;
  size_t used_ = 0;
  size_t chars_ = 0;  // alphabet characters
  size_t padding_ = 0;
  uint32_t group_ = 0;  // the characters of the group not yet whole, chars_ % 4 of them
  const char* error_ = nullptr;
};

}  // namespace

bool PemReader::next(PemBlock& block) {
  block = PemBlock{};
  std::optional<std::string_view> label;
  while (!label && pos_ < text_.size()) {
    block.line = line_++;
    label = label_of(take_line(text_, pos_), kBegin);
  }
  if (!label) return false;
  block.label = *label;

  // Room up to the next "-", where the END line should begin.
  const void* dash = std::memchr(text_.data() + pos_, '-', text_.size() - pos_);
  const size_t body_end = dash != nullptr ? static_cast<size_t>(static_cast<const char*>(dash) - text_.data()) : text_.size();
  Body body(block.der, (body_end - pos_) / 4 * 3 + 3);
  while (pos_ < text_.size()) {
    pos_ = body.add_alphabet_lines(text_, pos_, line_);
    if (pos_ == text_.size()) break;
    const size_t start = pos_;
    const std::string_view line = take_line(text_, pos_);
    ++line_;
    if (text_[start - 1] != '\n') {  // the rest of a line begun with alphabet characters
      body.add(line);
      continue;
    }
    if (label_of(line, kBegin)) {  // the next block begins: this one has no end
      pos_ = start;
      --line_;
      break;
    }
    if (const auto end = label_of(line, kEnd)) {
      if (*end != *label)
        block.error = "END label differs";
      else if (const char* error = body.finish())
        block.error = error;
      if (!block.ok()) block.der.clear();
      return true;
    }
    body.add(line);
  }
  block.der.clear();
  block.error = "no END line";
  return true;
}

std::vector<PemBlock> read_pem(std::string_view text) {
  std::vector<PemBlock> blocks;
  PemReader reader(text);
  for (PemBlock block; reader.next(block);) blocks.push_back(std::move(block));
  return blocks;
}

bool looks_like_pem(std::string_view text) {
  return text.starts_with(kBegin) || text.find("\n-----BEGIN ") != std::string_view::npos;
}

}  // namespace qel
