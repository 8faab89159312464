// The floor a decoder is measured against: a plain walk over the same DER
// that allocates one heap node per element and copies each primitive's
// content into a heap block of its own, as a decoder that owns its values
// must; then the release of it all.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace qel_bench {

// Keeps a value alive for the optimizer without letting it assume the value
// changed: the read-write form of DoNotOptimize is miscompiled by g++ 12
// under ASan, handing back a garbage pointer.
template <class T>
void keep(const T& value) {
  benchmark::DoNotOptimize(value);
}

struct Node {
  uint8_t* content;  // own copy of a primitive's content, null otherwise
  uint32_t length;
  uint8_t tag;
  Node* child;
  Node* next;
};

// Parses the elements in [p, end) into a sibling list; null when none or
// malformed.
inline Node* walk(const uint8_t* p, const uint8_t* end) {
  Node* first = nullptr;
  Node** link = &first;
  while (p + 2 <= end) {
    const uint8_t tag = *p++;
    uint32_t length = *p++;
    if (length & 0x80) {
      const uint32_t count = length & 0x7F;
      if (count > 4 || p + count > end) break;
      length = 0;
      for (uint32_t i = 0; i < count; ++i) length = (length << 8) | *p++;
    }
    if (length > static_cast<uint64_t>(end - p)) break;
    auto* node = static_cast<Node*>(std::malloc(sizeof(Node)));
    *node =
        Node{.content = nullptr, .length = length, .tag = tag, .child = nullptr, .next = nullptr};
    if (tag & 0x20) {
      node->child = walk(p, p + length);
    } else if (length > 0) {
      node->content = static_cast<uint8_t*>(std::malloc(length));
      std::memcpy(node->content, p, length);
    }
    *link = node;
    link = &node->next;
    p += length;
  }
  return first;
}

inline void release(Node* node) {
  while (node != nullptr) {
    Node* next = node->next;
    release(node->child);
    std::free(node->content);
    std::free(node);
    node = next;
  }
}

// One decode and release of `der` at the floor.
inline void floor_pass(const uint8_t* der, size_t size) {
  Node* tree = walk(der, der + size);
  keep(tree);
  release(tree);
}

}  // namespace qel_bench
