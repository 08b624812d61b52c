#include "tools/zr-adjust/memory_reuse.h"

#include <malloc.h>

namespace zradjust {

void KeepFreedMemoryInProcess() {
  // Large blocks come from the heap as well, not from mappings of their own that a free
  // returns to the system at once.
  mallopt(M_MMAP_MAX, 0);
  // The heap's free top is never given back (-1: no trimming at all).
  mallopt(M_TRIM_THRESHOLD, -1);
}

}  // namespace zradjust
