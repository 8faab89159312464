// dnhex: builds a Name from its slash text and prints its DER in hex, one
// line for each name given.
//
//   dnhex /C=US/O=Acme/CN=Root/ [/CN=more/ ...]
#include <cstdio>

#include <qelcert/cxx.h>

namespace {

// Prints the DER of the name written as `text`; false when it is no name.
bool print_der(const char* text) {
  const qel::owner<qel::dName> parsed(qel::tc_create_dName(text));
  const qel::owner<qel::Name> name(qel::new_Name());
  if (!parsed || !name) {
    std::fprintf(stderr, "dnhex: not a name: %s\n", text);
    return false;
  }
  if (const int32_t code = qel::tc_encode_Name(name.get(), parsed.get()); code != qel::TC_SUCCESS) {
    std::fprintf(stderr, "dnhex: %s: %s\n", text, qel::CharErr(static_cast<unsigned>(code)));
    return false;
  }
  int32_t err = 0;
  const std::vector<uint8_t> der = qel::encode(*name, qel::default_tag<qel::Name>(), &err);
  if (der.empty()) {
    std::fprintf(stderr, "dnhex: %s: %s\n", text, qel::codec_error_text(err));
    return false;
  }
  for (const uint8_t octet : der) std::printf("%02x", octet);
  std::printf("\n");
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: dnhex /C=US/O=Acme/CN=Root/...\n");
    return 2;
  }
  int status = 0;
  for (int i = 1; i < argc; ++i)
    if (!print_der(argv[i])) status = 1;
  return status;
}
