// A plugin: a shared object with the static libqelcert.a linked into it,
// loaded at run time by a host that knows nothing of qelcert.
//
//   g++ -std=c++20 -shared -fPIC -I<prefix>/include plugin.cpp <libdir>/libqelcert.a -o plugin.so
#include <cstdint>

#include <qelcert/cxx.h>

// Octets of the DER of the name written as slash text, or -1 for no name.
extern "C" int plugin_name_size(const char* text) {
  const qel::owner<qel::dName> parsed(qel::tc_create_dName(text));
  const qel::owner<qel::Name> name(qel::new_Name());
  if (!parsed || !name || qel::tc_encode_Name(name.get(), parsed.get()) != qel::TC_SUCCESS) return -1;
  return static_cast<int>(qel::encode(*name).size());
}
