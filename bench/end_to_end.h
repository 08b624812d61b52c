#pragma once
// zr-adjust run as a separate process on a generated network, as a surveyor runs it: its exit
// status, wall and processor time and peak resident memory, as the kernel reports them.

#include <cstdint>
#include <string>

#include "bench/network_generator.h"

struct EndToEndResult {
  std::uint32_t points = 0;
  std::uint32_t unknowns = 0;
  bool inverse = false;
  int exitStatus = -1;  // −signal when the process was killed, −1 when it could not run
  double wallSeconds = 0.0;
  double cpuSeconds = 0.0;  // user and system time of the process
  long peakResidentKiB = 0;
};

// Writes network into workDirectory, runs zrAdjust on it with `--inverse always` or `never`
// (its output discarded) and removes the file again. The peak memory is the child's own only
// when this process is still small: a child's reading starts from what it inherited at fork.
EndToEndResult RunZrAdjust(const std::string& zrAdjust, const GeneratedNetwork& network,
                           bool inverse, const std::string& workDirectory);
