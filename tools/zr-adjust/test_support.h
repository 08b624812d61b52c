#pragma once
// Code shared by the zr-adjust tests.

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tools/zr-adjust/network/network_reader.h"

namespace zradjust {

inline bool SameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

inline Network Read(const std::string& text) {
  ReadResult result = ReadNetwork(text, "t.net");
  EXPECT_TRUE(result.Ok()) << (result.errors.empty() ? "" : result.errors[0]);
  return result.network;
}

// The whole content of the file at path, byte for byte; empty when it cannot be read.
inline std::string Slurp(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// A file name in the temporary folder of its own for every process and test, prefix first:
// ctest runs the tests in parallel, and other checkouts may run them at the same time in the
// same folder. Call it from inside a test.
inline std::string ScratchPath(const std::string& prefix, const std::string& name) {
  return ::testing::TempDir() + "/" + prefix + std::to_string(getpid()) + "_" +
         ::testing::UnitTest::GetInstance()->current_test_info()->name() + "_" + name;
}

inline std::size_t CountOf(const std::string& text, const std::string& needle) {
  std::size_t count = 0;
  for (std::size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
    ++count;
  return count;
}

// Every number that follows "key": in a JSON text, in order; null reads as NaN.
inline std::vector<double> NumbersOf(const std::string& text, const std::string& key) {
  std::vector<double> numbers;
  std::regex pattern("\"" + key + "\": (null|[-+0-9.eE]+)");
  for (auto match = std::sregex_iterator(text.begin(), text.end(), pattern);
       match != std::sregex_iterator(); ++match) {
    std::string value = (*match)[1];
    numbers.push_back(value == "null" ? NAN : std::strtod(value.c_str(), nullptr));
  }
  return numbers;
}

// Known true coordinates (declaration order) and observations simulated from them with normal
// noise of their sigma: controlCount pillars fixed at their true place, the others up to
// approximationError off; distances, vectors from P00, levelling.
struct SimulatedNetwork {
  std::string text;
  std::vector<std::array<double, 3>> truth;
};

inline SimulatedNetwork SimulateNetwork(unsigned seed, int controlCount, int newCount,
                                        double approximationError) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> across(0.0, 300.0), up(95.0, 110.0),
      offset(-approximationError, approximationError);
  std::normal_distribution<double> noise(0.0, 1.0);
  SimulatedNetwork network;
  std::vector<std::array<double, 3>>& t = network.truth;
  auto add = [&](const char* format, auto... values) {
    char line[256];
    std::snprintf(line, sizeof line, format, values...);
    network.text += line;
  };
  const int count = controlCount + newCount;
  for (int p = 0; p < count; ++p) {
    t.push_back({across(random), across(random), up(random)});
    double a[3];
    for (int axis = 0; axis < 3; ++axis)
      a[axis] = t[p][axis] + (p < controlCount ? 0.0 : offset(random));
    add("point P%02d %.17g %.17g %.17g\n", p, a[0], a[1], a[2]);
  }
  for (int p = 0; p < controlCount; ++p)
    add("fix P%02d\n", p);
  for (int a = 0; a < count; ++a) {
    for (int b = a + 1; b < count; ++b) {
      double dx = t[b][0] - t[a][0], dy = t[b][1] - t[a][1], dz = t[b][2] - t[a][2];
      double distance = std::sqrt(dx * dx + dy * dy + dz * dz);
      if (distance <= 180.0)
        add("dist P%02d P%02d %.6f 0.001\n", a, b, distance + 0.001 * noise(random));
    }
  }
  for (int b = 1; b < count; ++b) {
    double d[3];
    for (int axis = 0; axis < 3; ++axis)
      d[axis] = t[b][axis] - t[0][axis] + 0.003 * noise(random);
    add("vector P00 P%02d %.6f %.6f %.6f 0.003\n", b, d[0], d[1], d[2]);
  }
  for (int b = 1; b < count; ++b)
    add("level P%02d P%02d %.6f 0.0005\n", b - 1, b,
        t[b][2] - t[b - 1][2] + 0.0005 * noise(random));
  return network;
}

}  // namespace zradjust
