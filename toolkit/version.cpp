// The library's own version, fixed when it was built.
#include "version.h"

namespace qel {

const char* version() { return QEL_VERSION_STRING; }

}  // namespace qel
