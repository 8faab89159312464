// Distinguished names and attributes. Attribute values stay raw elements
// (tag, length and content); the toolkit reads inside them.
#pragma once

#include "../asn/engine.h"

#pragma GCC visibility push(default)
namespace qel {

// AttributeValueAssertion ::= SEQUENCE { attributeType OBJECT IDENTIFIER, attributeValue ANY }
struct AttributeValueAssertion {
  OBJECT_ID attributeType;
  UNDECODED_ASN_BLOCK attributeValue;
};

// RelativeDistinguishedName ::= SET OF AttributeValueAssertion
QEL_LIST_RECORD(RelativeDistinguishedName, AttributeValueAssertion, 32);
// RDNSequence ::= SEQUENCE OF RelativeDistinguishedName
QEL_LIST_RECORD(RDNSequence, RelativeDistinguishedName, 32);
// Name ::= CHOICE { rdnSequence RDNSequence }
QEL_CHOICE_RECORD(Name);

// AttributeValues ::= SET OF ANY -- one value is kept
QEL_LIST_RECORD(AttributeValues, UNDECODED_ASN_BLOCK, 1);
// Attribute ::= SEQUENCE { type OBJECT IDENTIFIER, values SET OF ANY }
struct Attribute {
  OBJECT_ID type;
  AttributeValues values;
};
// Attributes ::= SET OF Attribute
QEL_LIST_RECORD(Attributes, Attribute, 32);

// DirectoryString ::= CHOICE { teletexString T61String, printableString PrintableString }
QEL_CHOICE_RECORD(DirectoryString);

QEL_DECLARE_TYPE(AttributeValueAssertion)
QEL_DECLARE_TYPE(RelativeDistinguishedName)
QEL_DECLARE_TYPE(RDNSequence)
QEL_DECLARE_TYPE(Name)
QEL_DECLARE_TYPE(AttributeValues)
QEL_DECLARE_TYPE(Attribute)
QEL_DECLARE_TYPE(Attributes)
QEL_DECLARE_TYPE(DirectoryString)

}  // namespace qel
#pragma GCC visibility pop
