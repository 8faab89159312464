// Reads a whole file for the examples.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <vector>

// The bytes of the file at `path`, or nothing when it can't be read.
inline std::optional<std::vector<uint8_t>> read_file(const char* path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (in.bad()) return std::nullopt;
  return bytes;
}
