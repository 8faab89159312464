// Tables of general names and distribution points.
#include "types/general_names.h"

#include "asn/compiled.h"

namespace qel {

QEL_SEQUENCE(anotherName,
             QEL_INLINE(typeId, OBJECT_ID),
             QEL_EXPLICIT(value, UNDECODED_ASN_BLOCK, 0xA0))
QEL_SEQUENCE(EDIPartyName,
             QEL_EXPLICIT_OPTIONAL(nameAssigner, DirectoryString, 0xA0),
             QEL_EXPLICIT(partyName, DirectoryString, 0xA1))
QEL_CHOICE(GeneralName,
           QEL_ALT(otherName, anotherName, 0xA0),
           QEL_ALT(rfc822Name, IA5String, 0x81),
           QEL_ALT(dNSName, IA5String, 0x82),
           QEL_ALT(x400Address, ORAddress, 0xA3),
           QEL_ALT_WRAPPED(directoryName, Name, 0xA4, TAG_DIRNAME),
           QEL_ALT(ediPartyName, EDIPartyName, 0xA5),
           QEL_ALT(uniformResourceIdentifier, IA5String, 0x86),
           QEL_ALT(iPAddress, OCTET_STRING, 0x87),
           QEL_ALT(registeredID, OBJECT_ID, 0x88))
QEL_SEQUENCE_OF(GeneralNames, GeneralName)
QEL_CHOICE(DistributionPointName,
           QEL_ALT(fullName, GeneralNames, 0xA0),
           QEL_ALT(nameRelativeToCRLIssuer, RelativeDistinguishedName, 0xA1))
QEL_SEQUENCE(DistributionPoint,
             QEL_EXPLICIT_OPTIONAL(distributionPoint, DistributionPointName, 0xA0),
             QEL_OPTIONAL(reasons, BIT_STRING, 0x81),
             QEL_OPTIONAL(cRLIssuer, GeneralNames, 0xA2))
QEL_SEQUENCE_OF(CRLDistPointsSyntax, DistributionPoint)

QEL_GENERAL_NAME_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
