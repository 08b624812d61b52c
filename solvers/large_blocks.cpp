#include "solvers/large_blocks.h"

#include <sys/mman.h>

#include <cstdint>

namespace {

constexpr std::uintptr_t hugePageBytes = std::uintptr_t{2} << 20;

}  // namespace

void AdviseHugePages(void* block, std::size_t bytes) {
  if (block == nullptr || bytes < 2 * hugePageBytes) {
    return;
  }
  std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(block);
  std::uintptr_t end = begin + bytes;
  // madvise takes whole pages: only the huge pages that lie inside the block.
  begin = (begin + hugePageBytes - 1) & ~(hugePageBytes - 1);
  end &= ~(hugePageBytes - 1);
  if (end > begin) {
    // The result is ignored on purpose: declined advice leaves the block as it was.
    madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
  }
}
