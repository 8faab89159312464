// Small text helpers shared by the toolkit's and the tool's texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qel {

// Number of content bytes before the first zero byte, at most `length`.
inline size_t text_length(const uint8_t* content, int32_t length) {
  if (length <= 0) return 0;
  const void* zero = std::memchr(content, 0, static_cast<size_t>(length));
  return zero ? static_cast<size_t>(static_cast<const uint8_t*>(zero) - content)
              : static_cast<size_t>(length);
}

// A zero-terminated text built piece by piece in one heap block, through the
// library's allocation functions. Without a capacity it grows by
// reallocation; with one it holds at most `capacity - 1` characters. A piece
// that does not fit, past the capacity or for want of memory, is left out and
// the text is overflowed from then on: every later piece is left out too, and
// `take` gives null. The caller checks once, at the end.
class TextBuilder {
 public:
  explicit TextBuilder(size_t capacity = 0) : capacity_(capacity) {}
  ~TextBuilder();
  TextBuilder(const TextBuilder&) = delete;
  TextBuilder& operator=(const TextBuilder&) = delete;

  void append(const void* bytes, size_t count);
  void append(const char* text) { append(text, std::strlen(text)); }
  void append(char c) { append(&c, 1); }
  // Appends what snprintf would write for `format` and its arguments.
  void appendf(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Whether a piece was left out; `out_of_memory` tells whether for want of
  // memory rather than for the capacity.
  bool overflowed() const { return state_ != State::Good; }
  bool out_of_memory() const { return state_ == State::NoMemory; }

  // Hands the text over as a heap block that free releases, allocated even
  // when empty; null when overflowed or out of memory. The builder is empty
  // afterwards.
  char* take();

 private:
  enum class State : uint8_t { Good, Full, NoMemory };
  bool reserve(size_t extra);

  char* data_ = nullptr;
  size_t size_ = 0;
  size_t room_ = 0;
  size_t capacity_;
  State state_ = State::Good;
};

}  // namespace qel
