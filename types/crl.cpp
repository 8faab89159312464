// Tables of the revocation list types.
#include "types/crl.h"

namespace qel {

QEL_SEQUENCE(RevokedCertificate,
             QEL_INLINE(RevokedCertificate, userCertificate, 0x02, INTEGER),
             QEL_INLINE(RevokedCertificate, revocationDate, 0xFC, CertificateValidityDate),
             QEL_OPTIONAL(RevokedCertificate, crlEntryExtensions, 0x30, Extensions))
QEL_SEQUENCE_OF(RevokedCertificates, RevokedCertificate, 0x30)
QEL_SEQUENCE(TBSCertList,
             QEL_OPTIONAL(TBSCertList, version, 0x02, INTEGER),
             QEL_INLINE(TBSCertList, signature, 0x30, AlgorithmIdentifier),
             QEL_INLINE(TBSCertList, issuer, 0xFC, Name),
             QEL_INLINE(TBSCertList, thisUpdate, 0xFC, CertificateValidityDate),
             QEL_MAYBE_ABSENT(TBSCertList, nextUpdate, 0xFC, CertificateValidityDate),
             QEL_OPTIONAL(TBSCertList, revokedCertificates, 0x30, RevokedCertificates),
             QEL_EXPLICIT_OPTIONAL(TBSCertList, crlExtensions, 0xA0, 0x30, Extensions,
                                   FIELD_WRAPPER_FORCED))
QEL_SEQUENCE(CertificateList,
             QEL_INLINE(CertificateList, tbsCertList, 0x30, TBSCertList),
             QEL_INLINE(CertificateList, signatureAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(CertificateList, signatureValue, 0x03, BIT_STRING))

QEL_STAMP_TYPE(RevokedCertificate)
QEL_STAMP_TYPE(RevokedCertificates)
QEL_STAMP_TYPE(TBSCertList)
QEL_STAMP_TYPE(CertificateList)

}  // namespace qel
