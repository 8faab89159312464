// Tables of the name and attribute types.
#include "types/names.h"

#include "asn/compiled.h"

namespace qel {

QEL_SEQUENCE(AttributeValueAssertion,
             QEL_INLINE(attributeType, OBJECT_ID),
             QEL_INLINE(attributeValue, UNDECODED_ASN_BLOCK))
QEL_SET_OF(RelativeDistinguishedName, AttributeValueAssertion)
QEL_SEQUENCE_OF(RDNSequence, RelativeDistinguishedName)
QEL_CHOICE(Name, QEL_ALT(rdnSequence, RDNSequence))

QEL_SET_OF(AttributeValues, UNDECODED_ASN_BLOCK)
QEL_SEQUENCE(Attribute,
             QEL_INLINE(type, OBJECT_ID),
             QEL_INLINE(values, AttributeValues))
QEL_SET_OF(Attributes, Attribute)

QEL_CHOICE(DirectoryString,
           QEL_ALT(teletexString, T61String),
           QEL_ALT(printableString, PrintableString))

QEL_NAME_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
