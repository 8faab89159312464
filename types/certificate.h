// X.509 certificates around their names.
#pragma once

#include "../asn/engine.h"
#include "names.h"

// The types of this family, in the catalogue's order.
#define QEL_CERTIFICATE_TYPES(F) \
  F(AlgorithmIdentifier) F(CertificateValidityDate) F(Validity) F(SubjectPublicKeyInfo) \
  F(Extension) F(Extensions) F(TBSCertificate) F(Certificate) F(RSAKey)

#pragma GCC visibility push(default)
namespace qel {

// AlgorithmIdentifier ::= SEQUENCE { algorithm OBJECT IDENTIFIER, parameters ANY OPTIONAL }
struct AlgorithmIdentifier {
  OBJECT_ID algorithm;
  UNDECODED_ASN_BLOCK* parameters;
};

// CertificateValidityDate ::= CHOICE { utcTime UTCTime, generalTime GeneralizedTime }
QEL_CHOICE_RECORD(CertificateValidityDate);

// Validity ::= SEQUENCE { notBefore Time, notAfter Time }
struct Validity {
  CertificateValidityDate notBefore;
  CertificateValidityDate notAfter;
};

// SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING }
struct SubjectPublicKeyInfo {
  AlgorithmIdentifier algorithm;
  BIT_STRING subjectPublicKey;
};

// Extension ::= SEQUENCE { extnID OBJECT IDENTIFIER, critical BOOLEAN DEFAULT FALSE,
//                          extnValue OCTET STRING }
// `critical` is null when the element was not on the wire.
struct Extension {
  OBJECT_ID extnID;
  BOOLEAN* critical;
  OCTET_STRING extnValue;
};

// Extensions ::= SEQUENCE OF Extension
QEL_LIST_RECORD(Extensions, Extension, 32);

// TBSCertificate ::= SEQUENCE {
//   version [0] EXPLICIT INTEGER OPTIONAL, serialNumber INTEGER,
//   signature AlgorithmIdentifier, issuer Name, validity Validity, subject Name,
//   subjectPublicKeyInfo SubjectPublicKeyInfo,
//   issuerUniqueID [1] IMPLICIT BIT STRING OPTIONAL,
//   subjectUniqueID [2] IMPLICIT BIT STRING OPTIONAL,
//   extensions [3] EXPLICIT Extensions OPTIONAL }
struct TBSCertificate {
  INTEGER* version;
  INTEGER serialNumber;
  AlgorithmIdentifier signature;
  Name issuer;
  Validity validity;
  Name subject;
  SubjectPublicKeyInfo subjectPublicKeyInfo;
  BIT_STRING* issuerUniqueID;
  BIT_STRING* subjectUniqueID;
  Extensions* extensions;
};

// Certificate ::= SEQUENCE { tbsCertificate TBSCertificate,
//   signatureAlgorithm AlgorithmIdentifier, signatureValue BIT STRING }
struct Certificate {
  TBSCertificate tbsCertificate;
  AlgorithmIdentifier signatureAlgorithm;
  BIT_STRING signatureValue;
};

// RSAKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }
struct RSAKey {
  INTEGER modulus;
  INTEGER publicExponent;
};

QEL_CERTIFICATE_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
