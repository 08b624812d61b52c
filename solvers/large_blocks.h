#pragma once
// Large arrays of the solvers (the compact values, the scratch of the compact routines) are
// written once from start to end right after they are taken. Touched in 4 KiB pages, a
// gigabyte costs a quarter of a million page faults every adjustment step; backed by 2 MiB
// pages, five hundred.

#include <cstddef>

// Asks the kernel to back the whole 2 MiB pages inside block with huge pages. Advice only: the
// block is still taken and given back as its owner does it (malloc/free, new[]/delete[]), its
// contents are untouched, and a kernel that declines changes nothing but speed. Blocks under
// two huge pages are left alone.
void AdviseHugePages(void* block, std::size_t bytes);
