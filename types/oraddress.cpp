// Tables of the O/R address types.
#include "types/oraddress.h"

#include "asn/compiled.h"

namespace qel {

#define QEL_DOMAIN_CHOICE(X) \
  QEL_CHOICE(X, QEL_ALT(numeric, NumericString), QEL_ALT(printable, PrintableString))
QEL_DOMAIN_CHOICE(CountryName)
QEL_DOMAIN_CHOICE(AdministrationDomainName)
QEL_DOMAIN_CHOICE(PrivateDomainName)

QEL_SEQUENCE(PersonalNames,
             QEL_INLINE(surname, PrintableString, 0x80),
             QEL_OPTIONAL(givenName, PrintableString, 0x81),
             QEL_OPTIONAL(initials, PrintableString, 0x82),
             QEL_OPTIONAL(generationQualifier, PrintableString, 0x83))
QEL_SET_OF(PersonalName, PersonalNames)
QEL_SEQUENCE_OF(OrganizationalUnitNames, PrintableString)

QEL_SEQUENCE(BuiltInStandardAttributes,
             QEL_OPTIONAL(countryName, CountryName),
             QEL_OPTIONAL(administrationDomainName, AdministrationDomainName),
             QEL_OPTIONAL(networkAddress, NumericString, 0x80),
             QEL_OPTIONAL(terminalIdentifier, PrintableString, 0x81),
             QEL_EXPLICIT_OPTIONAL(privateDomainName, PrivateDomainName, 0xA2),
             QEL_OPTIONAL(organizationName, PrintableString, 0x83),
             QEL_OPTIONAL(numericUserIdentifier, NumericString, 0x84),
             QEL_OPTIONAL(personalName, PersonalName, 0xA5),
             QEL_OPTIONAL(organizationalUnitNames, OrganizationalUnitNames, 0xA6))

QEL_SEQUENCE(BuiltInDomainDefinedAttribute,
             QEL_INLINE(type, PrintableString),
             QEL_INLINE(value, PrintableString))
QEL_SEQUENCE_OF(BuiltInDomainDefinedAttributes, BuiltInDomainDefinedAttribute)

QEL_SEQUENCE(EXTENSION_ATTRIBUTE,
             QEL_INLINE(extensionAttributeType, INTEGER, 0x80),
             QEL_EXPLICIT(extensionAttributeValue, UNDECODED_ASN_BLOCK, 0xA1))
QEL_SET_OF(ExtensionAttributes, EXTENSION_ATTRIBUTE)

QEL_SEQUENCE(ORAddress,
             QEL_INLINE(builtInStandardAttributes, BuiltInStandardAttributes),
             QEL_OPTIONAL(builtInDomainDefinedAttributes, BuiltInDomainDefinedAttributes),
             QEL_OPTIONAL(extensionAttributes, ExtensionAttributes))

QEL_ORADDRESS_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
