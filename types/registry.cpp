// Every descriptor of the library, for tests and fuzzers that walk them all.
#include <iterator>

#include "qelcert.h"

namespace qel {

#define QEL_REGISTRY_ENTRY(X) &X##_desc,

const TypeDesc* const type_registry[] = {
    // Primitives.
    &INTEGER_desc, &BOOLEAN_desc, &ASN_NULL_desc, &BIT_STRING_desc, &OBJECT_ID_desc,
    &OCTET_STRING_desc, &GeneralizedTime_desc, &UTCTime_desc, &IA5String_desc,
    &NumericString_desc, &PrintableString_desc, &T61String_desc, &UNDECODED_ASN_BLOCK_desc,
    // The catalogue.
    QEL_CATALOGUE(QEL_REGISTRY_ENTRY)
    nullptr,
};

size_t type_registry_size() { return std::size(type_registry) - 1; }

}  // namespace qel
