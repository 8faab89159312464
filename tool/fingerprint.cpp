// Fingerprints of the certificate file.
#include "tool/fingerprint.h"
