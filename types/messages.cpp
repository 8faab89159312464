// Tables of the PKCS#7 message types.
#include "types/messages.h"

namespace qel {

QEL_SEQUENCE(ContentInfo,
             QEL_INLINE(ContentInfo, contentType, 0x06, OBJECT_ID),
             QEL_EXPLICIT_OPTIONAL(ContentInfo, content, 0xA0, 0xFE, UNDECODED_ASN_BLOCK, 0))
QEL_SEQUENCE(IssuerAndSerialNumber,
             QEL_INLINE(IssuerAndSerialNumber, issuer, 0xFC, Name),
             QEL_INLINE(IssuerAndSerialNumber, serialNumber, 0x02, INTEGER))
QEL_SET_OF(DigestAlgorithmIdentifiers, AlgorithmIdentifier, 0x30)
QEL_SEQUENCE(ExtendedCertificateInfo,
             QEL_INLINE(ExtendedCertificateInfo, version, 0x02, INTEGER),
             QEL_INLINE(ExtendedCertificateInfo, certificate, 0x30, Certificate),
             QEL_INLINE(ExtendedCertificateInfo, attributes, 0x31, Attributes))
QEL_SEQUENCE(ExtendedCertificate,
             QEL_INLINE(ExtendedCertificate, extendedCertificateInfo, 0x30, ExtendedCertificateInfo),
             QEL_INLINE(ExtendedCertificate, signatureAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(ExtendedCertificate, signature, 0x03, BIT_STRING))
QEL_CHOICE(ExtendedCertificateOrCertificate,
           QEL_ALT(0x30, "certificate", Certificate),
           QEL_ALT(0xA0, "extendedCertificate", ExtendedCertificate))
QEL_SET_OF(ExtendedCertificatesAndCertificates, ExtendedCertificateOrCertificate, 0xFC)
QEL_SET_OF(CertificateRevocationLists, CertificateList, 0x30)

QEL_SEQUENCE(SignerInfo,
             QEL_INLINE(SignerInfo, version, 0x02, INTEGER),
             QEL_INLINE(SignerInfo, issuerAndSerialNumber, 0x30, IssuerAndSerialNumber),
             QEL_INLINE(SignerInfo, digestAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_OPTIONAL(SignerInfo, authenticatedAttributes, 0xA0, Attributes),
             QEL_INLINE(SignerInfo, digestEncryptionAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(SignerInfo, encryptedDigest, 0x04, OCTET_STRING),
             QEL_OPTIONAL(SignerInfo, unauthenticatedAttributes, 0xA1, Attributes))
QEL_SET_OF(SignerInfos, SignerInfo, 0x30)
QEL_SEQUENCE(SignedData,
             QEL_INLINE(SignedData, version, 0x02, INTEGER),
             QEL_INLINE(SignedData, digestAlgorithms, 0x31, DigestAlgorithmIdentifiers),
             QEL_INLINE(SignedData, contentInfo, 0x30, ContentInfo),
             QEL_OPTIONAL(SignedData, certificates, 0xA0, ExtendedCertificatesAndCertificates),
             QEL_OPTIONAL(SignedData, crls, 0xA1, CertificateRevocationLists),
             QEL_INLINE(SignedData, signerInfos, 0x31, SignerInfos))

QEL_SEQUENCE(RecipientInfo,
             QEL_INLINE(RecipientInfo, version, 0x02, INTEGER),
             QEL_INLINE(RecipientInfo, issuerAndSerialNumber, 0x30, IssuerAndSerialNumber),
             QEL_INLINE(RecipientInfo, keyEncryptionAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(RecipientInfo, encryptedKey, 0x04, OCTET_STRING))
QEL_SET_OF(RecipientInfos, RecipientInfo, 0x30)
QEL_SEQUENCE(EncryptedContentInfo,
             QEL_INLINE(EncryptedContentInfo, contentType, 0x06, OBJECT_ID),
             QEL_INLINE(EncryptedContentInfo, contentEncryptionAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_OPTIONAL(EncryptedContentInfo, encryptedContent, 0x80, OCTET_STRING))
QEL_SEQUENCE(EnvelopedData,
             QEL_INLINE(EnvelopedData, version, 0x02, INTEGER),
             QEL_INLINE(EnvelopedData, recipientInfos, 0x31, RecipientInfos),
             QEL_INLINE(EnvelopedData, encryptedContentInfo, 0x30, EncryptedContentInfo))

using SAED = SignedAndEnvelopedData;
QEL_SEQUENCE(SignedAndEnvelopedData,
             QEL_INLINE(SAED, version, 0x02, INTEGER),
             QEL_INLINE(SAED, recipientInfos, 0x31, RecipientInfos),
             QEL_INLINE(SAED, digestAlgorithms, 0x31, DigestAlgorithmIdentifiers),
             QEL_INLINE(SAED, encryptedContentInfo, 0x30, EncryptedContentInfo),
             QEL_OPTIONAL(SAED, certificates, 0xA0, ExtendedCertificatesAndCertificates),
             QEL_OPTIONAL(SAED, crls, 0xA1, CertificateRevocationLists),
             QEL_INLINE(SAED, signerInfos, 0x31, SignerInfos))
QEL_SEQUENCE(DigestedData,
             QEL_INLINE(DigestedData, version, 0x02, INTEGER),
             QEL_INLINE(DigestedData, digestAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(DigestedData, contentInfo, 0x30, ContentInfo),
             QEL_INLINE(DigestedData, digest, 0x04, OCTET_STRING))
QEL_SEQUENCE(DigestInfo,
             QEL_INLINE(DigestInfo, digestAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(DigestInfo, digest, 0x04, OCTET_STRING))
QEL_SEQUENCE(EncryptedData,
             QEL_INLINE(EncryptedData, version, 0x02, INTEGER),
             QEL_INLINE(EncryptedData, encryptedContentInfo, 0x30, EncryptedContentInfo))

QEL_STAMP_TYPE(ContentInfo)
QEL_STAMP_TYPE(IssuerAndSerialNumber)
QEL_STAMP_TYPE(DigestAlgorithmIdentifiers)
QEL_STAMP_TYPE(ExtendedCertificateInfo)
QEL_STAMP_TYPE(ExtendedCertificate)
QEL_STAMP_TYPE(ExtendedCertificateOrCertificate)
QEL_STAMP_TYPE(ExtendedCertificatesAndCertificates)
QEL_STAMP_TYPE(CertificateRevocationLists)
QEL_STAMP_TYPE(SignerInfo)
QEL_STAMP_TYPE(SignerInfos)
QEL_STAMP_TYPE(SignedData)
QEL_STAMP_TYPE(RecipientInfo)
QEL_STAMP_TYPE(RecipientInfos)
QEL_STAMP_TYPE(EncryptedContentInfo)
QEL_STAMP_TYPE(EnvelopedData)
QEL_STAMP_TYPE(SignedAndEnvelopedData)
QEL_STAMP_TYPE(DigestedData)
QEL_STAMP_TYPE(DigestInfo)
QEL_STAMP_TYPE(EncryptedData)

}  // namespace qel
