// PKCS#10 certification requests.
#pragma once

#include "../asn/engine.h"
#include "certificate.h"
#include "names.h"

// The types of this family, in the catalogue's order.
#define QEL_REQUEST_TYPES(F) \
  F(CertificationRequestInfo) F(CertificationRequest)

#pragma GCC visibility push(default)
namespace qel {

// CertificationRequestInfo ::= SEQUENCE { version INTEGER, subject Name,
//   subjectPublicKeyInfo SubjectPublicKeyInfo, attributes [0] IMPLICIT Attributes }
// Every field is required, `attributes` too (an empty set is A0 00).
struct CertificationRequestInfo {
  INTEGER version;
  Name subject;
  SubjectPublicKeyInfo subjectPublicKeyInfo;
  Attributes attributes;
};

// CertificationRequest ::= SEQUENCE { certificationRequestInfo CertificationRequestInfo,
//   signatureAlgorithm AlgorithmIdentifier, signature BIT STRING }
struct CertificationRequest {
  CertificationRequestInfo certificationRequestInfo;
  AlgorithmIdentifier signatureAlgorithm;
  BIT_STRING signature;
};

QEL_REQUEST_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
