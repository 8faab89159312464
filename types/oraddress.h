// X.400 originator/recipient addresses, as reached through the x400Address
// alternative of a general name.
#pragma once

#include "../asn/engine.h"

// The types of this family, in the catalogue's order.
#define QEL_ORADDRESS_TYPES(F) \
  F(CountryName) F(AdministrationDomainName) F(PrivateDomainName) F(PersonalNames) \
  F(PersonalName) F(OrganizationalUnitNames) F(BuiltInStandardAttributes) \
  F(BuiltInDomainDefinedAttribute) F(BuiltInDomainDefinedAttributes) F(EXTENSION_ATTRIBUTE) \
  F(ExtensionAttributes) F(ORAddress)

#pragma GCC visibility push(default)
namespace qel {

// CountryName, AdministrationDomainName, PrivateDomainName ::=
//   CHOICE { numeric NumericString, printable PrintableString }
// On the wire they are the bare string element.
QEL_CHOICE_RECORD(CountryName);
QEL_CHOICE_RECORD(AdministrationDomainName);
QEL_CHOICE_RECORD(PrivateDomainName);

// PersonalNames ::= SEQUENCE { surname [0] PrintableString, givenName [1] ... OPTIONAL,
//   initials [2] ... OPTIONAL, generationQualifier [3] ... OPTIONAL }
struct PersonalNames {
  PrintableString surname;
  PrintableString* givenName;
  PrintableString* initials;
  PrintableString* generationQualifier;
};

// PersonalName ::= SET OF PersonalNames
QEL_LIST_RECORD(PersonalName, PersonalNames, 32);
// OrganizationalUnitNames ::= SEQUENCE OF PrintableString
QEL_LIST_RECORD(OrganizationalUnitNames, PrintableString, 32);

// BuiltInStandardAttributes ::= SEQUENCE { every field OPTIONAL }
struct BuiltInStandardAttributes {
  CountryName* countryName;
  AdministrationDomainName* administrationDomainName;
  NumericString* networkAddress;
  PrintableString* terminalIdentifier;
  PrivateDomainName* privateDomainName;
  PrintableString* organizationName;
  NumericString* numericUserIdentifier;
  PersonalName* personalName;
  OrganizationalUnitNames* organizationalUnitNames;
};

// BuiltInDomainDefinedAttribute ::= SEQUENCE { type PrintableString, value PrintableString }
struct BuiltInDomainDefinedAttribute {
  PrintableString type;
  PrintableString value;
};
// BuiltInDomainDefinedAttributes ::= SEQUENCE OF BuiltInDomainDefinedAttribute
QEL_LIST_RECORD(BuiltInDomainDefinedAttributes, BuiltInDomainDefinedAttribute, 32);

// EXTENSION_ATTRIBUTE ::= SEQUENCE { extensionAttributeType [0] INTEGER,
//   extensionAttributeValue [1] EXPLICIT ANY }
struct EXTENSION_ATTRIBUTE {
  INTEGER extensionAttributeType;
  UNDECODED_ASN_BLOCK extensionAttributeValue;
};
// ExtensionAttributes ::= SET OF EXTENSION_ATTRIBUTE
QEL_LIST_RECORD(ExtensionAttributes, EXTENSION_ATTRIBUTE, 256);

// ORAddress ::= SEQUENCE { builtInStandardAttributes BuiltInStandardAttributes,
//   builtInDomainDefinedAttributes ... OPTIONAL, extensionAttributes ... OPTIONAL }
struct ORAddress {
  BuiltInStandardAttributes builtInStandardAttributes;
  BuiltInDomainDefinedAttributes* builtInDomainDefinedAttributes;
  ExtensionAttributes* extensionAttributes;
};

QEL_ORADDRESS_TYPES(QEL_DECLARE_TYPE)

}  // namespace qel
#pragma GCC visibility pop
