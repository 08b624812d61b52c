// libFuzzer target for the whole road: any byte string as a network file, read, analysed,
// adjusted for a few iterations, its statistics computed and every report written to memory.
// Degenerate geometry (coincident or collinear points, tiny and huge coordinates, networks
// whose datum is missing) must give a message and an exit status, never a crash or a hang.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tools/zr-adjust/program_fuzz_case.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zradjust::RunWholeRoad(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
