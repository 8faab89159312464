// Tables of the PKCS#7 message types.
#include "types/messages.h"

#include "asn/compiled.h"

namespace qel {

QEL_SEQUENCE(ContentInfo,
             QEL_INLINE(contentType, OBJECT_ID),
             QEL_EXPLICIT_OPTIONAL(content, UNDECODED_ASN_BLOCK, 0xA0))
QEL_SEQUENCE(IssuerAndSerialNumber,
             QEL_INLINE(issuer, Name),
             QEL_INLINE(serialNumber, INTEGER))
QEL_SET_OF(DigestAlgorithmIdentifiers, AlgorithmIdentifier)
QEL_SEQUENCE(ExtendedCertificateInfo,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(certificate, Certificate),
             QEL_INLINE(attributes, Attributes))
QEL_SEQUENCE(ExtendedCertificate,
             QEL_INLINE(extendedCertificateInfo, ExtendedCertificateInfo),
             QEL_INLINE(signatureAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(signature, BIT_STRING))
QEL_CHOICE(ExtendedCertificateOrCertificate,
           QEL_ALT(certificate, Certificate),
           QEL_ALT(extendedCertificate, ExtendedCertificate, 0xA0))
QEL_SET_OF(ExtendedCertificatesAndCertificates, ExtendedCertificateOrCertificate)
QEL_SET_OF(CertificateRevocationLists, CertificateList)

QEL_SEQUENCE(SignerInfo,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(issuerAndSerialNumber, IssuerAndSerialNumber),
             QEL_INLINE(digestAlgorithm, AlgorithmIdentifier),
             QEL_OPTIONAL(authenticatedAttributes, Attributes, 0xA0),
             QEL_INLINE(digestEncryptionAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(encryptedDigest, OCTET_STRING),
             QEL_OPTIONAL(unauthenticatedAttributes, Attributes, 0xA1))
QEL_SET_OF(SignerInfos, SignerInfo)
QEL_SEQUENCE(SignedData,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(digestAlgorithms, DigestAlgorithmIdentifiers),
             QEL_INLINE(contentInfo, ContentInfo),
             QEL_OPTIONAL(certificates, ExtendedCertificatesAndCertificates, 0xA0),
             QEL_OPTIONAL(crls, CertificateRevocationLists, 0xA1),
             QEL_INLINE(signerInfos, SignerInfos))

QEL_SEQUENCE(RecipientInfo,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(issuerAndSerialNumber, IssuerAndSerialNumber),
             QEL_INLINE(keyEncryptionAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(encryptedKey, OCTET_STRING))
QEL_SET_OF(RecipientInfos, RecipientInfo)
QEL_SEQUENCE(EncryptedContentInfo,
             QEL_INLINE(contentType, OBJECT_ID),
             QEL_INLINE(contentEncryptionAlgorithm, AlgorithmIdentifier),
             QEL_OPTIONAL(encryptedContent, OCTET_STRING, 0x80))
QEL_SEQUENCE(EnvelopedData,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(recipientInfos, RecipientInfos),
             QEL_INLINE(encryptedContentInfo, EncryptedContentInfo))

QEL_SEQUENCE(SignedAndEnvelopedData,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(recipientInfos, RecipientInfos),
             QEL_INLINE(digestAlgorithms, DigestAlgorithmIdentifiers),
             QEL_INLINE(encryptedContentInfo, EncryptedContentInfo),
             QEL_OPTIONAL(certificates, ExtendedCertificatesAndCertificates, 0xA0),
             QEL_OPTIONAL(crls, CertificateRevocationLists, 0xA1),
             QEL_INLINE(signerInfos, SignerInfos))
QEL_SEQUENCE(DigestedData,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(digestAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(contentInfo, ContentInfo),
             QEL_INLINE(digest, OCTET_STRING))
QEL_SEQUENCE(DigestInfo,
             QEL_INLINE(digestAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(digest, OCTET_STRING))
QEL_SEQUENCE(EncryptedData,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(encryptedContentInfo, EncryptedContentInfo))

QEL_MESSAGE_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
