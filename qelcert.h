// The certificate library's whole public API: the DER runtime, the type
// catalogue and the toolkit. Everything lives in namespace qel.
//
// Threads: any number may use the library at once, each on trees of its own;
// a record may be released on another thread than the one that decoded it.
// Released records, the encoder's size memo, the result slots of
// tc_extension_table and the trace settings are per thread.
#pragma once

#include "version.h"

#include "asn/asn.h"
#include "asn/engine.h"

#include "types/names.h"
#include "types/certificate.h"
#include "types/general_names.h"
#include "types/crl.h"
#include "types/request.h"
#include "types/extension_values.h"
#include "types/oraddress.h"
#include "types/messages.h"
#include "types/catalogue.h"

#include "toolkit/codes.h"
#include "toolkit/md5.h"
#include "toolkit/sha.h"
#include "toolkit/pem.h"
#include "toolkit/base64.h"
#include "toolkit/timeconv.h"
#include "toolkit/dname.h"
#include "toolkit/compare.h"
#include "toolkit/extensions.h"

#include "view/view.h"

