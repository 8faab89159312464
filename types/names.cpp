// Tables of the name and attribute types.
#include "types/names.h"

namespace qel {

QEL_SEQUENCE(AttributeValueAssertion,
             QEL_INLINE(AttributeValueAssertion, attributeType, 0x06, OBJECT_ID),
             QEL_INLINE(AttributeValueAssertion, attributeValue, 0xFE, UNDECODED_ASN_BLOCK))
QEL_SET_OF(RelativeDistinguishedName, AttributeValueAssertion, 0x30)
QEL_SEQUENCE_OF(RDNSequence, RelativeDistinguishedName, 0x31)
QEL_CHOICE(Name, QEL_ALT(0x30, "rdnSequence", RDNSequence))

QEL_SET_OF(AttributeValues, UNDECODED_ASN_BLOCK, 0xFE)
QEL_SEQUENCE(Attribute,
             QEL_INLINE(Attribute, type, 0x06, OBJECT_ID),
             QEL_INLINE(Attribute, values, 0x31, AttributeValues))
QEL_SET_OF(Attributes, Attribute, 0x30)

QEL_CHOICE(DirectoryString,
           QEL_ALT(0x14, "teletexString", T61String),
           QEL_ALT(0x13, "printableString", PrintableString))

QEL_STAMP_TYPE(AttributeValueAssertion)
QEL_STAMP_TYPE(RelativeDistinguishedName)
QEL_STAMP_TYPE(RDNSequence)
QEL_STAMP_TYPE(Name)
QEL_STAMP_TYPE(AttributeValues)
QEL_STAMP_TYPE(Attribute)
QEL_STAMP_TYPE(Attributes)
QEL_STAMP_TYPE(DirectoryString)

}  // namespace qel
