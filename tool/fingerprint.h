#pragma once

namespace qel {}  // namespace qel
