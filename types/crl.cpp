// Tables of the revocation list types.
#include "types/crl.h"

#include "asn/compiled.h"
#include "types/certificate_tables.h"

namespace qel {

QEL_SEQUENCE(RevokedCertificate,
             QEL_INLINE(userCertificate, INTEGER),
             QEL_INLINE(revocationDate, CertificateValidityDate),
             QEL_OPTIONAL(crlEntryExtensions, Extensions))
QEL_SEQUENCE_OF(RevokedCertificates, RevokedCertificate)
QEL_SEQUENCE(TBSCertList,
             QEL_OPTIONAL(version, INTEGER),
             QEL_INLINE(signature, AlgorithmIdentifier),
             QEL_INLINE(issuer, Name),
             QEL_INLINE(thisUpdate, CertificateValidityDate),
             QEL_MAYBE_ABSENT(nextUpdate, CertificateValidityDate),
             QEL_OPTIONAL(revokedCertificates, RevokedCertificates),
             QEL_EXPLICIT_OPTIONAL(crlExtensions, Extensions, 0xA0, FIELD_WRAPPER_FORCED))
QEL_SEQUENCE(CertificateList,
             QEL_INLINE(tbsCertList, TBSCertList),
             QEL_INLINE(signatureAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(signatureValue, BIT_STRING))

QEL_CRL_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
