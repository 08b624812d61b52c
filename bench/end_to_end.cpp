#include "bench/end_to_end.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>

EndToEndResult RunZrAdjust(const std::string& zrAdjust, const GeneratedNetwork& network,
                           bool inverse, const std::string& workDirectory) {
  EndToEndResult result;
  result.points = static_cast<std::uint32_t>(network.points.size());
  result.inverse = inverse;
  result.unknowns = UnknownCount(network);
  const std::string path = workDirectory + "/zr-macro-bench-" + std::to_string(getpid()) + "-" +
                           std::to_string(result.points) + ".net";
  {
    std::ofstream file(path, std::ios::binary);
    WriteNetworkFile(network, file);
    if (!file) {
      std::cerr << "zr-macro-bench: cannot write " << path << "\n";
      return result;
    }
  }
  const std::string inverseChoice = inverse ? "always" : "never";
  const char* arguments[] = {zrAdjust.c_str(), "--inverse", inverseChoice.c_str(), path.c_str(),
                             nullptr};
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    std::freopen("/dev/null", "w", stdout);
    std::freopen("/dev/null", "w", stderr);
    execv(arguments[0], const_cast<char* const*>(arguments));
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child > 0 && wait4(child, &status, 0, &usage) == child) {
    result.wallSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    result.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                        1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    result.peakResidentKiB = usage.ru_maxrss;
  }
  std::remove(path.c_str());
  return result;
}
