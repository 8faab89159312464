// PEM blocks, read line by line. A line ends at "\n" with an optional "\r"
// before it; trailing blanks are ignored on every line.
#include "toolkit/pem.h"

#include <array>
#include <cstdlib>
#include <optional>

#include "toolkit/base64.h"

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

// What a character of a block's body is.
enum CharClass : uint8_t { kAlphabet, kPad, kBlank, kBad };
constexpr auto kClasses = [] {
  std::array<CharClass, 256> classes{};
  classes.fill(kBad);
  for (int c = 'A'; c <= 'Z'; ++c) classes[c] = kAlphabet;
  for (int c = 'a'; c <= 'z'; ++c) classes[c] = kAlphabet;
  for (int c = '0'; c <= '9'; ++c) classes[c] = kAlphabet;
  classes['+'] = classes['/'] = kAlphabet;
  classes['='] = kPad;
  classes[' '] = classes['\t'] = classes['\r'] = kBlank;
  return classes;
}();

// The value of a base64 alphabet character.
int sextet(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  return c == '+' ? 62 : 63;
}

// A block's body gathered line by line: alphabet characters, then at most
// two "=" that close the last group, with blanks anywhere. The first fault
// met is kept.
class Body {
 public:
  void add(std::string_view line) {
    if (error_ != nullptr) return;
    if (padding_ == 0) {
      // A line of alphabet characters only, nearly every line, in one test
      // the compiler can run over many characters at once.
      uint8_t other = 0;
      for (const char c : line) other |= static_cast<uint8_t>(kClasses[static_cast<uint8_t>(c)]);
      if (other == kAlphabet) {
        chars_.append(line);
        return;
      }
    }
    size_t start = 0;
    for (size_t i = 0; i < line.size(); ++i) {
      const CharClass k = kClasses[static_cast<uint8_t>(line[i])];
      if (k == kAlphabet && padding_ == 0) continue;
      if (k == kPad) {
        ++padding_;
        continue;
      }
      if (k != kBlank) {  // a stray character, or one after the padding
        error_ = "bad base64";
        return;
      }
      chars_.append(line, start, i - start);
      start = i + 1;
    }
    chars_.append(line, start, line.size() - start);
  }

  // Decodes through the toolkit's decoder into `der`. Only canonical text
  // is taken (the unused bits of the last group are zero), so the octets
  // encode back to the same characters. Returns the error, or null.
  const char* decode(std::vector<uint8_t>& der) {
    if (error_ != nullptr) return error_;
    if (chars_.size() % 4 != 0) return "base64 ends inside a group";
    if (padding_ > 2) return "bad base64";
    if (padding_ != 0 &&
        (sextet(chars_[chars_.size() - padding_ - 1]) & (padding_ == 2 ? 0x0f : 0x03)) != 0)
      return "bad base64";
    uint8_t* bytes = nullptr;
    uint32_t length = 0;
    const int code = tc_decode_base64(&bytes, &length, chars_.c_str());
    if (code == 0) der.assign(bytes, bytes + length);
    std::free(bytes);
    return code == 0 ? nullptr : "out of memory";
  }

 private:
  std::string chars_;
  size_t padding_ = 0;
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

  Body body;
  while (pos_ < text_.size()) {
    const size_t start = pos_;
    const std::string_view line = take_line(text_, pos_);
    if (label_of(line, kBegin)) {  // the next block begins: this one has no end
      pos_ = start;
      break;
    }
    ++line_;
    if (const auto end = label_of(line, kEnd)) {
      if (*end != *label)
        block.error = "END label differs";
      else if (const char* error = body.decode(block.der))
        block.error = error;
      return true;
    }
    body.add(line);
  }
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
