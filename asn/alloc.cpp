#include "asn/alloc.h"

namespace qel::detail {

long test_hook_fail_nth_allocation = 0;

}  // namespace qel::detail
