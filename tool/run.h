// The command line's pieces other than main.
#pragma once

#include <cstdint>

namespace qel {

// The option letters main hands to getopt. On glibc a leading "+" keeps
// getopt from permuting the arguments, so scanning ends at the first argument
// that is not an option; the diagnostics stay those of "f:q:vp".
#ifdef __GLIBC__
inline constexpr char kOptions[] = "+f:q:vp";
#else
inline constexpr char kOptions[] = "f:q:vp";
#endif

// usage writes the three usage lines on standard output.
void usage();

// read_cert loads the whole regular file at `path` into one new heap block,
// stored through `buffer`, and its size through `size`. Returns 0, or -1 when
// the file can't be opened, isn't a regular file, is 4 GiB or larger, can't be
// allocated or can't be read whole. Prints nothing. An empty file loads with
// size 0. On success the caller releases the block with free.
int read_cert(const char* path, uint8_t** buffer, uint32_t* size);

}  // namespace qel
