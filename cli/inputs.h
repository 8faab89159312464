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

// The inputs in order. A directory becomes the regular files below it (by
// name at each level, depth first) when `recursive`, and a failure
// otherwise; symbolic links to directories are not followed.
std::vector<Input> expand_inputs(const std::vector<std::string>& args, bool recursive);

// An input's octets, in a buffer that is not cleared before it is read into.
struct InputBytes {
  std::unique_ptr<uint8_t[]> data;
  size_t size = 0;
  std::span<const uint8_t> view() const { return {data.get(), size}; }
};

// Reads an input whole ("-" is standard input). False with `error` set when
// it cannot be opened or read.
bool read_input(const std::string& path, InputBytes& bytes, std::string& error);

}  // namespace qel::cli
