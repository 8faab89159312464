// Every descriptor of the library, for tests and fuzzers that walk them all.
#include <iterator>

#include "qelcert.h"

namespace qel {

#define QEL_REGISTRY_ENTRY(X) &X##_desc,

const TypeDesc* const type_registry[] = {
    // Primitives.
    QEL_PRIMITIVE_TYPES(QEL_REGISTRY_ENTRY)
    // The catalogue.
    QEL_CATALOGUE(QEL_REGISTRY_ENTRY)
    nullptr,
};

size_t type_registry_size() { return std::size(type_registry) - 1; }

}  // namespace qel
