// Decoding the inputs on several threads and writing their lines in input
// order.
#pragma once

#include <cstdint>
#include <vector>

#include "cli/inputs.h"
#include "cli/render.h"

namespace qel::cli {

struct RunOptions {
  RenderOptions render;
  unsigned threads = 1;
  bool progress = false;  // the self-updating line on standard error
  int out_fd = 1;
};

struct RunResult {
  uint64_t objects = 0;  // lines written
  uint64_t errors = 0;   // of which error lines
  bool write_failed = false;
};

RunResult run(const std::vector<Input>& inputs, const RunOptions& options);

// The CPUs this process may run on (at least 1).
unsigned available_cpus();

}  // namespace qel::cli
