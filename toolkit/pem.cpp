// PEM blocks, read line by line. A line ends at "\n" with an optional "\r"
// before it; trailing blanks are ignored on every line.
#include "toolkit/pem.h"

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

// The value of a base64 alphabet character, or -1.
int sextet(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// Decodes the base64 of a block's body into `der`: alphabet characters, then
// at most two "=" that close the last group, with blanks anywhere. Only
// canonical text is taken (the unused bits of the last group are zero), so
// the octets encode back to the same characters. Returns the error, or null.
const char* decode_body(std::string_view body, std::vector<uint8_t>& der) {
  std::string chars;
  chars.reserve(body.size());
  size_t padding = 0;
  for (const char c : body) {
    if (c == ' ' || c == '\t' || c == '\r') continue;
    if (c == '=')
      ++padding;
    else if (padding != 0 || sextet(c) < 0)
      return "bad base64";
    chars += c;
  }
  if (chars.size() % 4 != 0) return "base64 ends inside a group";
  if (padding > 2) return "bad base64";
  if (padding != 0 && (sextet(chars[chars.size() - padding - 1]) & (padding == 2 ? 0x0f : 0x03)) != 0)
    return "bad base64";

  uint8_t* bytes = nullptr;
  uint32_t length = 0;
  const int code = tc_decode_base64(&bytes, &length, chars.c_str());
  if (code == 0) der.assign(bytes, bytes + length);
  std::free(bytes);
  return code == 0 ? nullptr : "out of memory";
}

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

  std::string body;
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
      else if (const char* error = decode_body(body, block.der))
        block.error = error;
      return true;
    }
    body.append(line);
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
