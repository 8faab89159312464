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
    // General names and distribution points.
    &anotherName_desc, &EDIPartyName_desc, &GeneralName_desc, &GeneralNames_desc,
    &DistributionPointName_desc, &DistributionPoint_desc, &CRLDistPointsSyntax_desc,
    // O/R addresses.
    &CountryName_desc, &AdministrationDomainName_desc, &PrivateDomainName_desc,
    &PersonalNames_desc, &PersonalName_desc, &OrganizationalUnitNames_desc,
    &BuiltInStandardAttributes_desc, &BuiltInDomainDefinedAttribute_desc,
    &BuiltInDomainDefinedAttributes_desc, &EXTENSION_ATTRIBUTE_desc, &ExtensionAttributes_desc,
    &ORAddress_desc,
    // Revocation lists.
    &RevokedCertificate_desc, &RevokedCertificates_desc, &TBSCertList_desc,
    &CertificateList_desc,
    // Messages.
    &ContentInfo_desc, &IssuerAndSerialNumber_desc, &DigestAlgorithmIdentifiers_desc,
    &ExtendedCertificateInfo_desc, &ExtendedCertificate_desc,
    &ExtendedCertificateOrCertificate_desc, &ExtendedCertificatesAndCertificates_desc,
    &CertificateRevocationLists_desc, &SignerInfo_desc, &SignerInfos_desc, &SignedData_desc,
    &RecipientInfo_desc, &RecipientInfos_desc, &EncryptedContentInfo_desc,
    &EnvelopedData_desc, &SignedAndEnvelopedData_desc, &DigestedData_desc, &DigestInfo_desc,
    &EncryptedData_desc,
    // Certification requests.
    &CertificationRequestInfo_desc, &CertificationRequest_desc,
    nullptr,
};

size_t type_registry_size() { return std::size(type_registry) - 1; }

}  // namespace qel
