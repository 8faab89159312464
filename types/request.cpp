// Tables of the certification request types.
#include "types/request.h"

namespace qel {

QEL_SEQUENCE(CertificationRequestInfo,
             QEL_INLINE(CertificationRequestInfo, version, 0x02, INTEGER),
             QEL_INLINE(CertificationRequestInfo, subject, 0xFC, Name),
             QEL_INLINE(CertificationRequestInfo, subjectPublicKeyInfo, 0x30, SubjectPublicKeyInfo),
             QEL_INLINE(CertificationRequestInfo, attributes, 0xA0, Attributes))
QEL_SEQUENCE(CertificationRequest,
             QEL_INLINE(CertificationRequest, certificationRequestInfo, 0x30,
                        CertificationRequestInfo),
             QEL_INLINE(CertificationRequest, signatureAlgorithm, 0x30, AlgorithmIdentifier),
             QEL_INLINE(CertificationRequest, signature, 0x03, BIT_STRING))

QEL_STAMP_TYPE(CertificationRequestInfo)
QEL_STAMP_TYPE(CertificationRequest)

}  // namespace qel
