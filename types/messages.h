// PKCS#7 cryptographic message types. Content is kept as a raw element; a
// caller unpacks the inner type in a step of its own.
#pragma once

#include "../asn/engine.h"
#include "certificate.h"
#include "crl.h"
#include "names.h"

// The types of this family, in the catalogue's order.
#define QEL_MESSAGE_TYPES(F) \
  F(ContentInfo) F(IssuerAndSerialNumber) F(DigestAlgorithmIdentifiers) \
  F(ExtendedCertificateInfo) F(ExtendedCertificate) F(ExtendedCertificateOrCertificate) \
  F(ExtendedCertificatesAndCertificates) F(CertificateRevocationLists) F(SignerInfo) \
  F(SignerInfos) F(SignedData) F(RecipientInfo) F(RecipientInfos) F(EncryptedContentInfo) \
  F(EnvelopedData) F(SignedAndEnvelopedData) F(DigestedData) F(DigestInfo) F(EncryptedData)

#pragma GCC visibility push(default)
namespace qel {

// ContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, content [0] EXPLICIT ANY OPTIONAL }
struct ContentInfo {
  OBJECT_ID contentType;
  UNDECODED_ASN_BLOCK* content;
};

// IssuerAndSerialNumber ::= SEQUENCE { issuer Name, serialNumber INTEGER }
struct IssuerAndSerialNumber {
  Name issuer;
  INTEGER serialNumber;
};

// DigestAlgorithmIdentifiers ::= SET OF AlgorithmIdentifier
QEL_LIST_RECORD(DigestAlgorithmIdentifiers, AlgorithmIdentifier, 32);

// ExtendedCertificateInfo ::= SEQUENCE { version INTEGER, certificate Certificate,
//                                        attributes Attributes }
struct ExtendedCertificateInfo {
  INTEGER version;
  Certificate certificate;
  Attributes attributes;
};

// ExtendedCertificate ::= SEQUENCE { extendedCertificateInfo ExtendedCertificateInfo,
//   signatureAlgorithm AlgorithmIdentifier, signature BIT STRING }
struct ExtendedCertificate {
  ExtendedCertificateInfo extendedCertificateInfo;
  AlgorithmIdentifier signatureAlgorithm;
  BIT_STRING signature;
};

// ExtendedCertificateOrCertificate ::= CHOICE { certificate Certificate,
//   extendedCertificate [0] IMPLICIT ExtendedCertificate }
QEL_CHOICE_RECORD(ExtendedCertificateOrCertificate);
// ExtendedCertificatesAndCertificates ::= SET OF ExtendedCertificateOrCertificate
QEL_LIST_RECORD(ExtendedCertificatesAndCertificates, ExtendedCertificateOrCertificate, 32);
// CertificateRevocationLists ::= SET OF CertificateList
QEL_LIST_RECORD(CertificateRevocationLists, CertificateList, 32);

// SignerInfo ::= SEQUENCE { version INTEGER, issuerAndSerialNumber IssuerAndSerialNumber,
//   digestAlgorithm AlgorithmIdentifier, authenticatedAttributes [0] IMPLICIT Attributes OPTIONAL,
//   digestEncryptionAlgorithm AlgorithmIdentifier, encryptedDigest OCTET STRING,
//   unauthenticatedAttributes [1] IMPLICIT Attributes OPTIONAL }
struct SignerInfo {
  INTEGER version;
  IssuerAndSerialNumber issuerAndSerialNumber;
  AlgorithmIdentifier digestAlgorithm;
  Attributes* authenticatedAttributes;
  AlgorithmIdentifier digestEncryptionAlgorithm;
  OCTET_STRING encryptedDigest;
  Attributes* unauthenticatedAttributes;
};
// SignerInfos ::= SET OF SignerInfo
QEL_LIST_RECORD(SignerInfos, SignerInfo, 32);

// SignedData ::= SEQUENCE { version INTEGER, digestAlgorithms DigestAlgorithmIdentifiers,
//   contentInfo ContentInfo, certificates [0] IMPLICIT ... OPTIONAL,
//   crls [1] IMPLICIT ... OPTIONAL, signerInfos SignerInfos }
struct SignedData {
  INTEGER version;
  DigestAlgorithmIdentifiers digestAlgorithms;
  ContentInfo contentInfo;
  ExtendedCertificatesAndCertificates* certificates;
  CertificateRevocationLists* crls;
  SignerInfos signerInfos;
};

// RecipientInfo ::= SEQUENCE { version INTEGER, issuerAndSerialNumber IssuerAndSerialNumber,
//   keyEncryptionAlgorithm AlgorithmIdentifier, encryptedKey OCTET STRING }
struct RecipientInfo {
  INTEGER version;
  IssuerAndSerialNumber issuerAndSerialNumber;
  AlgorithmIdentifier keyEncryptionAlgorithm;
  OCTET_STRING encryptedKey;
};
// RecipientInfos ::= SET OF RecipientInfo
QEL_LIST_RECORD(RecipientInfos, RecipientInfo, 32);

// EncryptedContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER,
//   contentEncryptionAlgorithm AlgorithmIdentifier, encryptedContent [0] IMPLICIT OCTET STRING OPTIONAL }
struct EncryptedContentInfo {
  OBJECT_ID contentType;
  AlgorithmIdentifier contentEncryptionAlgorithm;
  OCTET_STRING* encryptedContent;
};

// EnvelopedData ::= SEQUENCE { version INTEGER, recipientInfos RecipientInfos,
//                              encryptedContentInfo EncryptedContentInfo }
struct EnvelopedData {
  INTEGER version;
  RecipientInfos recipientInfos;
  EncryptedContentInfo encryptedContentInfo;
};

// SignedAndEnvelopedData ::= SEQUENCE { version INTEGER, recipientInfos RecipientInfos,
//   digestAlgorithms DigestAlgorithmIdentifiers, encryptedContentInfo EncryptedContentInfo,
//   certificates [0] IMPLICIT ... OPTIONAL, crls [1] IMPLICIT ... OPTIONAL, signerInfos SignerInfos }
struct SignedAndEnvelopedData {
  INTEGER version;
  RecipientInfos recipientInfos;
  DigestAlgorithmIdentifiers digestAlgorithms;
  EncryptedContentInfo encryptedContentInfo;
  ExtendedCertificatesAndCertificates* certificates;
  CertificateRevocationLists* crls;
  SignerInfos signerInfos;
};

// DigestedData ::= SEQUENCE { version INTEGER, digestAlgorithm AlgorithmIdentifier,
//                             contentInfo ContentInfo, digest OCTET STRING }
struct DigestedData {
  INTEGER version;
  AlgorithmIdentifier digestAlgorithm;
  ContentInfo contentInfo;
  OCTET_STRING digest;
};

// DigestInfo ::= SEQUENCE { digestAlgorithm AlgorithmIdentifier, digest OCTET STRING }
struct DigestInfo {
  AlgorithmIdentifier digestAlgorithm;
  OCTET_STRING digest;
};

// EncryptedData ::= SEQUENCE { version INTEGER, encryptedContentInfo EncryptedContentInfo }
struct EncryptedData {
  INTEGER version;
  EncryptedContentInfo encryptedContentInfo;
};

QEL_MESSAGE_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
