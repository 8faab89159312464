// Every type of the catalogue in one list, for code that does the same thing
// for each of them: QEL_CATALOGUE applies the macro it is given to the name of
// every type, in the order of the families of types/. Each family's header
// keeps its own list, which also declares its types and stamps their
// operations; a new type goes into that list.
#pragma once

#include "names.h"
#include "certificate.h"
#include "general_names.h"
#include "oraddress.h"
#include "crl.h"
#include "messages.h"
#include "request.h"
#include "extension_values.h"

#define QEL_CATALOGUE(F)                                                                  \
  QEL_NAME_TYPES(F) QEL_CERTIFICATE_TYPES(F) QEL_GENERAL_NAME_TYPES(F) QEL_ORADDRESS_TYPES(F) \
  QEL_CRL_TYPES(F) QEL_MESSAGE_TYPES(F) QEL_REQUEST_TYPES(F) \
  QEL_EXTENSION_VALUE_TYPES(F)
