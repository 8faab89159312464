// Small text helpers shared by the toolkit's name and extension texts.
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

}  // namespace qel
