// Tables of the certificate types that the revocation list's tables use:
// defined here so that their compiled operations are called directly there.
// Not part of the API.
#pragma once

#include "asn/compiled.h"
#include "types/certificate.h"

namespace qel {

QEL_SHARED_CHOICE(CertificateValidityDate,
                  QEL_ALT(utcTime, UTCTime),
                  QEL_ALT(generalTime, GeneralizedTime))
QEL_SHARED_SEQUENCE(Extension,
                    QEL_INLINE(extnID, OBJECT_ID),
                    QEL_OPTIONAL(critical, BOOLEAN),
                    QEL_INLINE(extnValue, OCTET_STRING))
QEL_SHARED_SEQUENCE_OF(Extensions, Extension)

}  // namespace qel
