// dercheck: decodes a file as a type of the catalogue, encodes the value again
// and tells whether the file is the canonical DER of that value, or where
// the two first differ.
//
//   dercheck Certificate cert.der [more.der ...]
//
// Exit status: the worst over the files: 0 canonical, 1 not canonical, 2 a
// file does not decode as that type or can't be read (or bad arguments).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <type_traits>

#include <qelcert/cxx.h>

#include "read_file.h"

namespace {

// Decodes the file at `path` as a T, encodes the value again and compares.
template <class T>
int check(const char* type, const char* path) {
  const auto bytes = read_file(path);
  if (!bytes) {
    std::printf("%s: cannot be read\n", path);
    return 2;
  }
  const std::span<const uint8_t> file(*bytes);
  const auto [value, err, used] = qel::decode<T>(file);
  if (!value) {
    std::printf("%s: %s: does not decode (%s)\n", path, type, qel::codec_error_text(err));
    return 2;
  }
  if (err != 0) std::printf("%s: %s: decodes, with a complaint (%s)\n", path, type, qel::codec_error_text(err));
  int32_t pack_err = 0;
  const std::vector<uint8_t> again = qel::encode(*value, qel::default_tag<T>(), &pack_err);
  if (pack_err != 0) {
    std::printf("%s: %s: decodes, but does not encode again (%s)\n", path, type, qel::codec_error_text(pack_err));
    return 1;
  }
  const auto [at_file, at_again] = std::mismatch(file.begin(), file.end(), again.begin(), again.end());
  if (at_file == file.end() && at_again == again.end()) {
    std::printf("%s: %s: canonical DER, %zu octets\n", path, type, file.size());
    return 0;
  }
  const auto offset = static_cast<size_t>(at_file - file.begin());
  if (at_file == file.end())
    std::printf("%s: %s: not canonical; the file ends at octet %zu, the encoding takes %zu\n", path, type,
                offset, again.size());
  else if (at_again == again.end())
    std::printf("%s: %s: not canonical; the encoding ends at octet %zu, the file has %zu\n", path, type,
                offset, file.size());
  else
    std::printf("%s: %s: not canonical; first difference at octet %zu: file 0x%02x, encoding 0x%02x\n",
                path, type, offset, *at_file, *at_again);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: dercheck TYPE FILE...\n");
    return 2;
  }
  int (*checker)(const char*, const char*) = nullptr;
#define DERCHECK_TYPE(X) \
  if (std::strcmp(argv[1], #X) == 0) checker = check<qel::X>;
  QEL_CATALOGUE(DERCHECK_TYPE)
#undef DERCHECK_TYPE
  if (checker == nullptr) {
    std::fprintf(stderr, "dercheck: no type %s; the types are:\n", argv[1]);
#define DERCHECK_NAME(X) std::fprintf(stderr, " %s", #X);
    QEL_CATALOGUE(DERCHECK_NAME)
#undef DERCHECK_NAME
    std::fprintf(stderr, "\n");
    return 2;
  }
  int status = 0;
  for (int i = 2; i < argc; ++i) status = std::max(status, checker(argv[1], argv[i]));
  return status;
}
