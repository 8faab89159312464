#pragma once

#include "asn/asn.h"

namespace qel {}  // namespace qel
