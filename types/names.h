// Distinguished names and attributes. Attribute values stay raw elements
// (tag, length and content); the toolkit reads inside them.
#pragma once

#include "../asn/engine.h"

// The types of this family, in the catalogue's order.
#define QEL_NAME_TYPES(F) \
  F(AttributeValueAssertion) F(RelativeDistinguishedName) F(RDNSequence) F(Name) \
  F(AttributeValues) F(Attribute) F(Attributes) F(DirectoryString)

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

QEL_NAME_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
