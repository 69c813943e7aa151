#include "core/refuse.h"

#ifdef BRIX_TRACE_REFUSALS
namespace brix {
thread_local const char* last_refusal = "";
}  // namespace brix
#endif
