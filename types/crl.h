// X.509 certificate revocation lists.
#pragma once

#include "../asn/engine.h"
#include "certificate.h"

// The types of this family, in the catalogue's order.
#define QEL_CRL_TYPES(F) \
  F(RevokedCertificate) F(RevokedCertificates) F(TBSCertList) F(CertificateList)

#pragma GCC visibility push(default)
namespace qel {

// RevokedCertificate ::= SEQUENCE { userCertificate INTEGER, revocationDate Time,
//                                   crlEntryExtensions Extensions OPTIONAL }
struct RevokedCertificate {
  INTEGER userCertificate;
  CertificateValidityDate revocationDate;
  Extensions* crlEntryExtensions;
};
// RevokedCertificates ::= SEQUENCE OF RevokedCertificate
QEL_LIST_RECORD(RevokedCertificates, RevokedCertificate, 2048);

// TBSCertList ::= SEQUENCE { version INTEGER OPTIONAL, signature AlgorithmIdentifier,
//   issuer Name, thisUpdate Time, nextUpdate Time OPTIONAL,
//   revokedCertificates RevokedCertificates OPTIONAL,
//   crlExtensions [0] EXPLICIT Extensions OPTIONAL }
// `nextUpdate` is embedded and present when its `value` is set.
struct TBSCertList {
  INTEGER* version;
  AlgorithmIdentifier signature;
  Name issuer;
  CertificateValidityDate thisUpdate;
  CertificateValidityDate nextUpdate;
  RevokedCertificates* revokedCertificates;
  Extensions* crlExtensions;
};

// CertificateList ::= SEQUENCE { tbsCertList TBSCertList,
//   signatureAlgorithm AlgorithmIdentifier, signatureValue BIT STRING }
struct CertificateList {
  TBSCertList tbsCertList;
  AlgorithmIdentifier signatureAlgorithm;
  BIT_STRING signatureValue;
};

QEL_CRL_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
