// The inputs named on the command line: files, standard input ("-") and,
// with recursion, the regular files below directories.
#pragma once

#include <cstdint>
#include <optional>
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

// Reads an input whole ("-" is standard input). False with `error` set when
// it cannot be opened or read.
bool read_input(const std::string& path, std::vector<uint8_t>& data, std::string& error);

}  // namespace qel::cli
