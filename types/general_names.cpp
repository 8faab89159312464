// Tables of general names and distribution points.
#include "types/general_names.h"

namespace qel {

QEL_SEQUENCE(anotherName,
             QEL_INLINE(anotherName, typeId, 0x06, OBJECT_ID),
             QEL_EXPLICIT(anotherName, value, 0xA0, 0xFE, UNDECODED_ASN_BLOCK))
QEL_SEQUENCE(EDIPartyName,
             QEL_EXPLICIT_OPTIONAL(EDIPartyName, nameAssigner, 0xA0, 0xFC, DirectoryString, 0),
             QEL_EXPLICIT(EDIPartyName, partyName, 0xA1, 0xFC, DirectoryString))
QEL_CHOICE(GeneralName,
           QEL_ALT(0xA0, "otherName", anotherName),
           QEL_ALT(0x81, "rfc822Name", IA5String),
           QEL_ALT(0x82, "dNSName", IA5String),
           QEL_ALT(0xA3, "x400Address", ORAddress),
           QEL_ALT_WRAPPED(0xA4, 0xFF, "directoryName", Name),
           QEL_ALT(0xA5, "ediPartyName", EDIPartyName),
           QEL_ALT(0x86, "uniformResourceIdentifier", IA5String),
           QEL_ALT(0x87, "iPAddress", OCTET_STRING),
           QEL_ALT(0x88, "registeredID", OBJECT_ID))
QEL_SEQUENCE_OF(GeneralNames, GeneralName, 0xFC)
QEL_CHOICE(DistributionPointName,
           QEL_ALT(0xA0, "fullName", GeneralNames),
           QEL_ALT(0xA1, "nameRelativeToCRLIssuer", RelativeDistinguishedName))
QEL_SEQUENCE(DistributionPoint,
             QEL_EXPLICIT_OPTIONAL(DistributionPoint, distributionPoint, 0xA0, 0xFC,
                                   DistributionPointName, 0),
             QEL_OPTIONAL(DistributionPoint, reasons, 0x81, BIT_STRING),
             QEL_OPTIONAL(DistributionPoint, cRLIssuer, 0xA2, GeneralNames))
QEL_SEQUENCE_OF(CRLDistPointsSyntax, DistributionPoint, 0x30)

QEL_STAMP_TYPE(anotherName)
QEL_STAMP_TYPE(EDIPartyName)
QEL_STAMP_TYPE(GeneralName)
QEL_STAMP_TYPE(GeneralNames)
QEL_STAMP_TYPE(DistributionPointName)
QEL_STAMP_TYPE(DistributionPoint)
QEL_STAMP_TYPE(CRLDistPointsSyntax)

}  // namespace qel
