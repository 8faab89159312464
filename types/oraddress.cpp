// Tables of the O/R address types.
#include "types/oraddress.h"

namespace qel {

#define QEL_DOMAIN_CHOICE(X) \
  QEL_CHOICE(X, QEL_ALT(0x12, "numeric", NumericString), QEL_ALT(0x13, "printable", PrintableString))
QEL_DOMAIN_CHOICE(CountryName)
QEL_DOMAIN_CHOICE(AdministrationDomainName)
QEL_DOMAIN_CHOICE(PrivateDomainName)

QEL_SEQUENCE(PersonalNames,
             QEL_INLINE(PersonalNames, surname, 0x80, PrintableString),
             QEL_OPTIONAL(PersonalNames, givenName, 0x81, PrintableString),
             QEL_OPTIONAL(PersonalNames, initials, 0x82, PrintableString),
             QEL_OPTIONAL(PersonalNames, generationQualifier, 0x83, PrintableString))
QEL_SET_OF(PersonalName, PersonalNames, 0x30)
QEL_SEQUENCE_OF(OrganizationalUnitNames, PrintableString, 0x13)

using BSA = BuiltInStandardAttributes;
QEL_SEQUENCE(BuiltInStandardAttributes,
             QEL_OPTIONAL(BSA, countryName, 0xFC, CountryName),
             QEL_OPTIONAL(BSA, administrationDomainName, 0xFC, AdministrationDomainName),
             QEL_OPTIONAL(BSA, networkAddress, 0x80, NumericString),
             QEL_OPTIONAL(BSA, terminalIdentifier, 0x81, PrintableString),
             QEL_EXPLICIT_OPTIONAL(BSA, privateDomainName, 0xA2, 0xFC, PrivateDomainName, 0),
             QEL_OPTIONAL(BSA, organizationName, 0x83, PrintableString),
             QEL_OPTIONAL(BSA, numericUserIdentifier, 0x84, NumericString),
             QEL_OPTIONAL(BSA, personalName, 0xA5, PersonalName),
             QEL_OPTIONAL(BSA, organizationalUnitNames, 0xA6, OrganizationalUnitNames))

QEL_SEQUENCE(BuiltInDomainDefinedAttribute,
             QEL_INLINE(BuiltInDomainDefinedAttribute, type, 0x13, PrintableString),
             QEL_INLINE(BuiltInDomainDefinedAttribute, value, 0x13, PrintableString))
QEL_SEQUENCE_OF(BuiltInDomainDefinedAttributes, BuiltInDomainDefinedAttribute, 0x30)

QEL_SEQUENCE(EXTENSION_ATTRIBUTE,
             QEL_INLINE(EXTENSION_ATTRIBUTE, extensionAttributeType, 0x80, INTEGER),
             QEL_EXPLICIT(EXTENSION_ATTRIBUTE, extensionAttributeValue, 0xA1, 0xFE,
                          UNDECODED_ASN_BLOCK))
QEL_SET_OF(ExtensionAttributes, EXTENSION_ATTRIBUTE, 0x30)

QEL_SEQUENCE(ORAddress,
             QEL_INLINE(ORAddress, builtInStandardAttributes, 0x30, BuiltInStandardAttributes),
             QEL_OPTIONAL(ORAddress, builtInDomainDefinedAttributes, 0x30,
                          BuiltInDomainDefinedAttributes),
             QEL_OPTIONAL(ORAddress, extensionAttributes, 0x31, ExtensionAttributes))

QEL_STAMP_TYPE(CountryName)
QEL_STAMP_TYPE(AdministrationDomainName)
QEL_STAMP_TYPE(PrivateDomainName)
QEL_STAMP_TYPE(PersonalNames)
QEL_STAMP_TYPE(PersonalName)
QEL_STAMP_TYPE(OrganizationalUnitNames)
QEL_STAMP_TYPE(BuiltInStandardAttributes)
QEL_STAMP_TYPE(BuiltInDomainDefinedAttribute)
QEL_STAMP_TYPE(BuiltInDomainDefinedAttributes)
QEL_STAMP_TYPE(EXTENSION_ATTRIBUTE)
QEL_STAMP_TYPE(ExtensionAttributes)
QEL_STAMP_TYPE(ORAddress)

}  // namespace qel
