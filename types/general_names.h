// General names and CRL distribution points, decoded from extension values.
#pragma once

#include "../asn/engine.h"
#include "names.h"
#include "oraddress.h"

// The types of this family, in the catalogue's order.
#define QEL_GENERAL_NAME_TYPES(F) \
  F(anotherName) F(EDIPartyName) F(GeneralName) F(GeneralNames) F(DistributionPointName) \
  F(DistributionPoint) F(CRLDistPointsSyntax)

#pragma GCC visibility push(default)
namespace qel {

// anotherName ::= SEQUENCE { typeId OBJECT IDENTIFIER, value [0] EXPLICIT ANY }
struct anotherName {
  OBJECT_ID typeId;
  UNDECODED_ASN_BLOCK value;
};

// EDIPartyName ::= SEQUENCE { nameAssigner [0] DirectoryString OPTIONAL,
//                             partyName [1] DirectoryString }
struct EDIPartyName {
  DirectoryString* nameAssigner;
  DirectoryString partyName;
};

// GeneralName ::= CHOICE { otherName [0] anotherName, rfc822Name [1] IA5String,
//   dNSName [2] IA5String, x400Address [3] ORAddress, directoryName [4] Name,
//   ediPartyName [5] EDIPartyName, uniformResourceIdentifier [6] IA5String,
//   iPAddress [7] OCTET STRING, registeredID [8] OBJECT IDENTIFIER }
QEL_CHOICE_RECORD(GeneralName);
// GeneralNames ::= SEQUENCE OF GeneralName
QEL_LIST_RECORD(GeneralNames, GeneralName, 32);

// DistributionPointName ::= CHOICE { fullName [0] GeneralNames,
//   nameRelativeToCRLIssuer [1] RelativeDistinguishedName }
QEL_CHOICE_RECORD(DistributionPointName);

// DistributionPoint ::= SEQUENCE { distributionPoint [0] DistributionPointName OPTIONAL,
//   reasons [1] ReasonFlags OPTIONAL, cRLIssuer [2] GeneralNames OPTIONAL }
struct DistributionPoint {
  DistributionPointName* distributionPoint;
  BIT_STRING* reasons;
  GeneralNames* cRLIssuer;
};
// CRLDistPointsSyntax ::= SEQUENCE OF DistributionPoint
QEL_LIST_RECORD(CRLDistPointsSyntax, DistributionPoint, 32);

QEL_GENERAL_NAME_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
