// Tables of the extension values and key parameters.
#include "types/extension_values.h"

#include "asn/compiled.h"

namespace qel {

QEL_SEQUENCE(BasicConstraints,
             QEL_OPTIONAL(cA, BOOLEAN),
             QEL_OPTIONAL(pathLenConstraint, INTEGER))
QEL_SEQUENCE_OF(ExtKeyUsageSyntax, OBJECT_ID)
QEL_SEQUENCE(AuthorityKeyIdentifier,
             QEL_OPTIONAL(keyIdentifier, OCTET_STRING, 0x80),
             QEL_OPTIONAL(authorityCertIssuer, GeneralNames, 0xA1),
             QEL_OPTIONAL(authorityCertSerialNumber, INTEGER, 0x82))
QEL_SEQUENCE(AccessDescription,
             QEL_INLINE(accessMethod, OBJECT_ID),
             QEL_INLINE(accessLocation, GeneralName))
QEL_SEQUENCE_OF(AuthorityInfoAccessSyntax, AccessDescription)
QEL_SEQUENCE(PolicyInformation,
             QEL_INLINE(policyIdentifier, OBJECT_ID),
             QEL_OPTIONAL(policyQualifiers, UNDECODED_ASN_BLOCK))
QEL_SEQUENCE_OF(CertificatePolicies, PolicyInformation)
QEL_CHOICE(ECParameters,
           QEL_ALT(namedCurve, OBJECT_ID),
           QEL_ALT(implicitCurve, ASN_NULL))
QEL_CHOICE(CRLReason,
           QEL_ALT(reason, INTEGER, 0x0A))

QEL_EXTENSION_VALUE_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
