// Values of the certificate extensions that the views read, and the other
// small structures they decode: key parameters and the CRL entry reason.
#pragma once

#include "../asn/engine.h"
#include "general_names.h"

// The types of this family, in the catalogue's order.
#define QEL_EXTENSION_VALUE_TYPES(F) \
  F(BasicConstraints) F(ExtKeyUsageSyntax) F(AuthorityKeyIdentifier) F(AccessDescription) \
  F(AuthorityInfoAccessSyntax) F(PolicyInformation) F(CertificatePolicies) F(ECParameters) \
  F(CRLReason)

#pragma GCC visibility push(default)
namespace qel {

// BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE,
//                                 pathLenConstraint INTEGER (0..MAX) OPTIONAL }
struct BasicConstraints {
  BOOLEAN* cA;
  INTEGER* pathLenConstraint;
};

// ExtKeyUsageSyntax ::= SEQUENCE SIZE (1..MAX) OF KeyPurposeId
// KeyPurposeId ::= OBJECT IDENTIFIER
QEL_LIST_RECORD(ExtKeyUsageSyntax, OBJECT_ID, 32);

// AuthorityKeyIdentifier ::= SEQUENCE {
//   keyIdentifier [0] IMPLICIT OCTET STRING OPTIONAL,
//   authorityCertIssuer [1] IMPLICIT GeneralNames OPTIONAL,
//   authorityCertSerialNumber [2] IMPLICIT INTEGER OPTIONAL }
struct AuthorityKeyIdentifier {
  OCTET_STRING* keyIdentifier;
  GeneralNames* authorityCertIssuer;
  INTEGER* authorityCertSerialNumber;
};

// AccessDescription ::= SEQUENCE { accessMethod OBJECT IDENTIFIER,
//                                  accessLocation GeneralName }
struct AccessDescription {
  OBJECT_ID accessMethod;
  GeneralName accessLocation;
};
// AuthorityInfoAccessSyntax ::= SEQUENCE SIZE (1..MAX) OF AccessDescription
QEL_LIST_RECORD(AuthorityInfoAccessSyntax, AccessDescription, 32);

// PolicyInformation ::= SEQUENCE { policyIdentifier CertPolicyId,
//   policyQualifiers SEQUENCE SIZE (1..MAX) OF PolicyQualifierInfo OPTIONAL }
// The qualifiers stay one raw element.
struct PolicyInformation {
  OBJECT_ID policyIdentifier;
  UNDECODED_ASN_BLOCK* policyQualifiers;
};
// CertificatePolicies ::= SEQUENCE SIZE (1..MAX) OF PolicyInformation
QEL_LIST_RECORD(CertificatePolicies, PolicyInformation, 32);

// ECParameters ::= CHOICE { namedCurve OBJECT IDENTIFIER, implicitCurve NULL,
//                           specifiedCurve SpecifiedECDomain }
// Only the two alternatives RFC 5480 allows in certificates are read; a
// specified curve does not decode.
QEL_CHOICE_RECORD(ECParameters);

// CRLReason ::= ENUMERATED { unspecified (0), keyCompromise (1), ... }
// Held as a choice of one alternative: the INTEGER content under the
// ENUMERATED tag.
QEL_CHOICE_RECORD(CRLReason);

QEL_EXTENSION_VALUE_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
