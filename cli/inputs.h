// The inputs named on the command line: files, standard input ("-") and,
// with recursion, the regular files below directories.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qel::cli {

struct Input {
  std::string path;            // as given, or joined below a given directory
  std::optional<std::string> failure;  // set when the input cannot be read at all
};

// The inputs in order. With `recursive`, a directory becomes the regular
// files below it (by name at each level, depth first; symbolic links to
// directories are not followed); without it, opening it fails.
std::vector<Input> expand_inputs(const std::vector<std::string>& args, bool recursive);

// Releases a buffer of allocate_bytes.
struct BytesRelease {
  size_t mapped = 0;  // the length of a mapping; 0 for a new[] array
  void operator()(uint8_t* bytes) const;
};
using Bytes = std::unique_ptr<uint8_t, BytesRelease>;

// Room for `capacity` octets, not cleared. Large buffers are mapped from the
// system in huge pages where it has them: a fresh buffer of small pages
// costs a fault per page when the file is read into it, and a miss of the
// address cache per page when it is read again.
Bytes allocate_bytes(size_t capacity);

// An input's octets, in a buffer that is not cleared before it is read into.
struct InputBytes {
  Bytes data;
  size_t size = 0;
  std::span<const uint8_t> view() const { return {data.get(), size}; }
};

// An input opened for reading ("-" is standard input): its descriptor, or
// -1 with `error` set (a directory too); `size` is the size of a regular
// file, else 0.
int open_input(const std::string& path, size_t& size, std::string& error);

// Reads the rest of an open input whole; `size` as open_input gave it. False
// with `error` set when a read fails. Does not close `fd`.
bool read_whole(int fd, size_t size, InputBytes& bytes, std::string& error);

}  // namespace qel::cli
