// Every descriptor of the library, for tests and fuzzers that walk them all.
#include <iterator>

#include "qelcert.h"

namespace qel {

const TypeDesc* const type_registry[] = {
    // Primitives.
    &INTEGER_desc, &BOOLEAN_desc, &ASN_NULL_desc, &BIT_STRING_desc, &OBJECT_ID_desc,
    &OCTET_STRING_desc, &GeneralizedTime_desc, &UTCTime_desc, &IA5String_desc,
    &NumericString_desc, &PrintableString_desc, &T61String_desc, &UNDECODED_ASN_BLOCK_desc,
    // Names.
    &AttributeValueAssertion_desc, &RelativeDistinguishedName_desc, &RDNSequence_desc,
    &Name_desc, &AttributeValues_desc, &Attribute_desc, &Attributes_desc,
    &DirectoryString_desc,
    // Certificates.
    &AlgorithmIdentifier_desc, &CertificateValidityDate_desc, &Validity_desc,
    &SubjectPublicKeyInfo_desc, &Extension_desc, &Extensions_desc, &TBSCertificate_desc,
    &Certificate_desc, &RSAKey_desc,
    &CertificationRequestInfo_desc,
    &CertificationRequest_desc,
    nullptr,
};

size_t type_registry_size() { return std::size(type_registry) - 1; }

}  // namespace qel
