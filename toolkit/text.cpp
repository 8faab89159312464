// The text builder behind the toolkit's and the tool's texts.
#include "toolkit/text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "asn/alloc.h"

namespace qel {

TextBuilder::~TextBuilder() { std::free(data_); }

// Makes room for `extra` more characters and the closing zero. A bounded text
// takes its whole capacity at once; an unbounded one doubles from 64.
bool TextBuilder::reserve(size_t extra) {
  if (state_ != State::Good) return false;
  const size_t limit = capacity_ != 0 ? capacity_ : SIZE_MAX;
  if (extra >= limit - size_) {
    state_ = State::Full;
    return false;
  }
  const size_t needed = size_ + extra + 1;
  if (needed <= room_) return true;
  size_t grown = capacity_;
  if (grown == 0) {
    grown = room_ < 64 ? 64 : room_;
    while (grown < needed) grown = grown > SIZE_MAX / 2 ? needed : grown * 2;
  }
  auto* bigger = static_cast<char*>(detail::reallocate(data_, grown));
  if (bigger == nullptr) {
    state_ = State::NoMemory;
    return false;
  }
  data_ = bigger;
  room_ = grown;
  return true;
}

void TextBuilder::append(const void* bytes, size_t count) {
  if (!reserve(count)) return;
  if (count > 0) std::memcpy(data_ + size_, bytes, count);
  size_ += count;
  data_[size_] = '\0';
}

void TextBuilder::appendf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length >= 0 && reserve(static_cast<size_t>(length))) {
    std::vsnprintf(data_ + size_, room_ - size_, format, again);
    size_ += static_cast<size_t>(length);
  }
  va_end(again);
}

char* TextBuilder::take() {
  if (!reserve(0)) return nullptr;
  data_[size_] = '\0';
  char* text = data_;
  data_ = nullptr;
  size_ = room_ = 0;
  return text;
}

}  // namespace qel
