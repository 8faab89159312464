// Tables of the certificate types.
#include "types/certificate.h"

namespace qel {

QEL_SEQUENCE(AlgorithmIdentifier,
             QEL_INLINE(AlgorithmIdentifier, algorithm, 0x06, OBJECT_ID),
             QEL_OPTIONAL(AlgorithmIdentifier, parameters, 0xFE, UNDECODED_ASN_BLOCK))
QEL_CHOICE(CertificateValidityDate,
           QEL_ALT(0x17, "utcTime", UTCTime),
           QEL_ALT(0x18, "generalTime", GeneralizedTime))
QEL_SEQUENCE(Validity,
             QEL_INLINE(Validity, notBefore, 0xFC, CertificateValidityDate),
             QEL_INLINE(Validity, notAfter, 0xFC, CertificateValidityDate))
QEL_SEQUENCE(SubjectPublicKeyInfo,
             QEL_INLINE(SubjectPublicKeyInfo, algorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(SubjectPublicKeyInfo, subjectPublicKey, 0x03, BIT_STRING))
QEL_SEQUENCE(Extension,
             QEL_INLINE(Extension, extnID, 0x06, OBJECT_ID),
             QEL_OPTIONAL(Extension, critical, 0x01, BOOLEAN),
             QEL_INLINE(Extension, extnValue, 0x04, OCTET_STRING))
QEL_SEQUENCE_OF(Extensions, Extension, 0x30)
QEL_SEQUENCE(TBSCertificate,
             QEL_EXPLICIT_OPTIONAL(TBSCertificate, version, 0xA0, 0x02, INTEGER, 0),
             QEL_INLINE(TBSCertificate, serialNumber, 0x02, INTEGER),
             QEL_INLINE(TBSCertificate, signature, 0x30, AlgorithmIdentifier),
             QEL_INLINE(TBSCertificate, issuer, 0xFC, Name),
             QEL_INLINE(TBSCertificate, validity, 0x30, Validity),
             QEL_INLINE(TBSCertificate, subject, 0xFC, Name),
             QEL_INLINE(TBSCertificate, subjectPublicKeyInfo, 0x30, SubjectPublicKeyInfo),
             QEL_OPTIONAL(TBSCertificate, issuerUniqueID, 0x81, BIT_STRING),
             QEL_OPTIONAL(TBSCertificate, subjectUniqueID, 0x82, BIT_STRING),
             QEL_EXPLICIT_OPTIONAL(TBSCertificate, extensions, 0xA3, 0x30, Extensions,
                                   FIELD_WRAPPER_FORCED))
QEL_SEQUENCE(Certificate,
             QEL_INLINE(Certificate, tbsCertificate, 0x30, TBSCertificate),
             QEL_INLINE(Certificate, signatureAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(Certificate, signatureValue, 0x03, BIT_STRING))
QEL_SEQUENCE(RSAKey,
             QEL_INLINE(RSAKey, modulus, 0x02, INTEGER),
             QEL_INLINE(RSAKey, publicExponent, 0x02, INTEGER))

QEL_STAMP_TYPE(AlgorithmIdentifier)
QEL_STAMP_TYPE(CertificateValidityDate)
QEL_STAMP_TYPE(Validity)
QEL_STAMP_TYPE(SubjectPublicKeyInfo)
QEL_STAMP_TYPE(Extension)
QEL_STAMP_TYPE(Extensions)
QEL_STAMP_TYPE(TBSCertificate)
QEL_STAMP_TYPE(Certificate)
QEL_STAMP_TYPE(RSAKey)

}  // namespace qel
