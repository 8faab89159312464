// Every type of the catalogue in one list, for code that does the same thing
// for each of them: QEL_CATALOGUE applies the macro it is given to the name of
// every type, in the order of the families of types/.
#pragma once

#define QEL_CATALOGUE(F) \
  /* Names */ \
  F(AttributeValueAssertion) F(RelativeDistinguishedName) F(RDNSequence) F(Name) \
  F(AttributeValues) F(Attribute) F(Attributes) F(DirectoryString) \
  /* Certificates */ \
  F(AlgorithmIdentifier) F(CertificateValidityDate) F(Validity) F(SubjectPublicKeyInfo) \
  F(Extension) F(Extensions) F(TBSCertificate) F(Certificate) F(RSAKey) \
  /* General names and distribution points */ \
  F(anotherName) F(EDIPartyName) F(GeneralName) F(GeneralNames) F(DistributionPointName) \
  F(DistributionPoint) F(CRLDistPointsSyntax) \
  /* O/R addresses */ \
  F(CountryName) F(AdministrationDomainName) F(PrivateDomainName) F(PersonalNames) \
  F(PersonalName) F(OrganizationalUnitNames) F(BuiltInStandardAttributes) \
  F(BuiltInDomainDefinedAttribute) F(BuiltInDomainDefinedAttributes) F(EXTENSION_ATTRIBUTE) \
  F(ExtensionAttributes) F(ORAddress) \
  /* Revocation lists */ \
  F(RevokedCertificate) F(RevokedCertificates) F(TBSCertList) F(CertificateList) \
  /* Messages */ \
  F(ContentInfo) F(IssuerAndSerialNumber) F(DigestAlgorithmIdentifiers) \
  F(ExtendedCertificateInfo) F(ExtendedCertificate) F(ExtendedCertificateOrCertificate) \
  F(ExtendedCertificatesAndCertificates) F(CertificateRevocationLists) F(SignerInfo) \
  F(SignerInfos) F(SignedData) F(RecipientInfo) F(RecipientInfos) F(EncryptedContentInfo) \
  F(EnvelopedData) F(SignedAndEnvelopedData) F(DigestedData) F(DigestInfo) F(EncryptedData) \
  /* Certification requests */ \
  F(CertificationRequestInfo) F(CertificationRequest)
