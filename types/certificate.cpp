// Tables of the certificate types.
#include "types/certificate.h"

#include "asn/compiled.h"
#include "types/certificate_tables.h"

namespace qel {

QEL_SEQUENCE(AlgorithmIdentifier,
             QEL_INLINE(algorithm, OBJECT_ID),
             QEL_OPTIONAL(parameters, UNDECODED_ASN_BLOCK))
QEL_SHARED_DESC(CertificateValidityDate)
QEL_SEQUENCE(Validity,
             QEL_INLINE(notBefore, CertificateValidityDate),
             QEL_INLINE(notAfter, CertificateValidityDate))
QEL_SEQUENCE(SubjectPublicKeyInfo,
             QEL_INLINE(algorithm, AlgorithmIdentifier),
             QEL_INLINE(subjectPublicKey, BIT_STRING))
QEL_SHARED_DESC(Extension)
QEL_SHARED_DESC(Extensions)
QEL_SEQUENCE(TBSCertificate,
             QEL_EXPLICIT_OPTIONAL(version, INTEGER, 0xA0),
             QEL_INLINE(serialNumber, INTEGER),
             QEL_INLINE(signature, AlgorithmIdentifier),
             QEL_INLINE(issuer, Name),
             QEL_INLINE(validity, Validity),
             QEL_INLINE(subject, Name),
             QEL_INLINE(subjectPublicKeyInfo, SubjectPublicKeyInfo),
             QEL_OPTIONAL(issuerUniqueID, BIT_STRING, 0x81),
             QEL_OPTIONAL(subjectUniqueID, BIT_STRING, 0x82),
             QEL_EXPLICIT_OPTIONAL(extensions, Extensions, 0xA3, FIELD_WRAPPER_FORCED))
QEL_SEQUENCE(Certificate,
             QEL_INLINE(tbsCertificate, TBSCertificate),
             QEL_INLINE(signatureAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(signatureValue, BIT_STRING))
QEL_SEQUENCE(RSAKey,
             QEL_INLINE(modulus, INTEGER),
             QEL_INLINE(publicExponent, INTEGER))

QEL_CERTIFICATE_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
