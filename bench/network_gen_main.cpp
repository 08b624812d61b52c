// zr-network-gen: writes a synthetic network file for zr-adjust.
//
//   zr-network-gen [--points N] [--seed S] [--free] [--grid-order] [--output FILE]
//
// Without --output the file goes to standard output. Exit status 0, or 2 for bad options.

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

#include "bench/network_generator.h"

namespace {

void PrintUsage(std::ostream& out) {
  out << "usage: zr-network-gen [--points N] [--seed S] [--free] [--grid-order] [--output FILE]\n"
         "  --points N     number of points (default 1000)\n"
         "  --seed S       seed of the random noise (default 1)\n"
         "  --free         free-network datum instead of one fixed point\n"
         "  --grid-order   declare the points row by row instead of in random order\n"
         "  --output FILE  write to FILE instead of standard output\n";
}

bool ParseUnsigned(const char* text, std::uint64_t maximum, std::uint64_t& value) {
  if (text == nullptr || *text == '\0' || *text == '-') {
    return false;
  }
  errno = 0;
  char* end = nullptr;
  const unsigned long long parsed = std::strtoull(text, &end, 10);
  if (errno != 0 || *end != '\0' || parsed > maximum) {
    return false;
  }
  value = parsed;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  NetworkGeneratorOptions options;
  std::string outputPath;
  for (int index = 1; index < argc; ++index) {
    const std::string argument = argv[index];
    const char* next = index + 1 < argc ? argv[index + 1] : nullptr;
    std::uint64_t number = 0;
    if (argument == "--points" && ParseUnsigned(next, UINT32_MAX / 3, number)) {
      options.pointCount = static_cast<std::uint32_t>(number);
      ++index;
    } else if (argument == "--seed" && ParseUnsigned(next, UINT64_MAX, number)) {
      options.seed = number;
      ++index;
    } else if (argument == "--free") {
      options.freeDatum = true;
    } else if (argument == "--grid-order") {
      options.shuffleDeclarations = false;
    } else if (argument == "--output" && next != nullptr) {
      outputPath = next;
      ++index;
    } else if (argument == "--help" || argument == "-h") {
      PrintUsage(std::cout);
      return 0;
    } else {
      std::cerr << "zr-network-gen: bad or incomplete option '" << argument << "'\n";
      PrintUsage(std::cerr);
      return 2;
    }
  }

  const GeneratedNetwork network = GenerateNetwork(options);
  if (outputPath.empty()) {
    WriteNetworkFile(network, std::cout);
    return std::cout.flush() ? 0 : 1;
  }
  std::ofstream file(outputPath, std::ios::binary);
  if (!file) {
    std::cerr << "zr-network-gen: cannot open " << outputPath << ": " << std::strerror(errno)
              << "\n";
    return 2;
  }
  WriteNetworkFile(network, file);
  file.close();
  if (!file) {
    std::cerr << "zr-network-gen: cannot write " << outputPath << "\n";
    return 1;
  }
  return 0;
}
