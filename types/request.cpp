// Tables of the certification request types.
#include "types/request.h"

#include "asn/compiled.h"

namespace qel {

QEL_SEQUENCE(CertificationRequestInfo,
             QEL_INLINE(version, INTEGER),
             QEL_INLINE(subject, Name),
             QEL_INLINE(subjectPublicKeyInfo, SubjectPublicKeyInfo),
             QEL_INLINE(attributes, Attributes, 0xA0))
QEL_SEQUENCE(CertificationRequest,
             QEL_INLINE(certificationRequestInfo, CertificationRequestInfo),
             QEL_INLINE(signatureAlgorithm, AlgorithmIdentifier),
             QEL_INLINE(signature, BIT_STRING))

QEL_REQUEST_TYPES(QEL_STAMP_TYPE)

}  // namespace qel
