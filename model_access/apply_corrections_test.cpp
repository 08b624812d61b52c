#include "model_access/apply_corrections.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "model_access/test_value_objects.h"

namespace {

// Everything that write puts on a stream, byte for byte.
std::string Written(const std::function<void(std::FILE*)>& write) {
  char* buffer = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&buffer, &size);
  write(stream);
  std::fclose(stream);
  std::string bytes(buffer, size);
  std::free(buffer);
  return bytes;
}

// Columns 0, 1, ... for ids given in ascending order; every cache empty.
UnknownIndex Index(std::initializer_list<ObjectId> ids) {
  UnknownIndex unknowns;
  std::uint32_t column = 0;
  for (const ObjectId id : ids) {
    unknowns.emplace(ValueHandle{nullptr, id}, column++);
  }
  return unknowns;
}

TEST(ApplyCorrections, ScalesClampsAddsAndReportsEachCorrection) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double factor;
    double limit;
    double solution;
    double newValue;  // from 10.0
    const char* line;
  } cases[] = {
      {0.5, 1.0, 4.0, 11.0, "Verbesserung f\xFCr 7 ist 1.000000\n"},
      {0.5, 1.0, -4.0, 9.0, "Verbesserung f\xFCr 7 ist -1.000000\n"},
      {1.0, 1e10, 0.25, 10.25, "Verbesserung f\xFCr 7 ist 0.250000\n"},
      // A zero limit still touches and reports every unknown; −0.0 keeps its sign.
      {1.0, 0.0, -4.0, 10.0, "Verbesserung f\xFCr 7 ist -0.000000\n"},
      {1.0, 0.0, 4.0, 10.0, "Verbesserung f\xFCr 7 ist 0.000000\n"},
      // A negative limit is taken as it is: the clamps swap over.
      {1.0, -1.0, 0.5, 9.0, "Verbesserung f\xFCr 7 ist -1.000000\n"},
      {1.0, -1.0, -3.0, 11.0, "Verbesserung f\xFCr 7 ist 1.000000\n"},
      {1.0, 1.0, nan, nan, "Verbesserung f\xFCr 7 ist nan\n"},
  };
  for (const auto& c : cases) {
    RegisteredValues values({{7, 10.0}});
    const DenseVector x(1, c.solution);
    const std::string line = Written([&](std::FILE* stream) {
      ApplyCorrections(Index({7}), {}, x, &c.factor, &c.limit, stream);
    });
    EXPECT_EQ(line, c.line) << c.line;
    if (std::isnan(c.newValue)) {
      EXPECT_TRUE(std::isnan(values[7].Value));
    } else {
      EXPECT_EQ(std::bit_cast<std::uint64_t>(values[7].Value),
                std::bit_cast<std::uint64_t>(c.newValue))
          << c.line;
    }
    EXPECT_EQ(values.changes, std::vector<uint64>{7});
  }
  // The umlaut is the single Latin-1 byte.
  const std::string line = cases[2].line;
  ASSERT_EQ(line.size(), 32u);
  EXPECT_EQ(static_cast<unsigned char>(line[14]), 0xFCu);
}

TEST(ApplyCorrections, VisitsUnknownsInIdOrderAndPassesOverFixedOnes) {
  RegisteredValues values({{3, 0.0}, {8, 0.0}, {12, 0.0}, {1u << 31, 0.0}});
  // The index predates the fixing of 12, which must still be protected.
  const UnknownIndex unknowns = Index({3, 8, 12, 1u << 31});
  const std::set<ValueHandle> fixed = RegisteredValues::Handles({12, 99});
  const DenseVector x = [] {
    DenseVector x(4);
    x[0] = 1.0;
    x[1] = 2.0;
    x[2] = 3.0;
    x[3] = 4.0;
    return x;
  }();
  const double factor = 1.0;
  const double limit = 100.0;

  const std::string report = Written(
      [&](std::FILE* stream) { ApplyCorrections(unknowns, fixed, x, &factor, &limit, stream); });
  EXPECT_EQ(report,
            "Verbesserung f\xFCr 3 ist 1.000000\n"
            "Verbesserung f\xFCr 8 ist 2.000000\n"
            "Verbesserung f\xFCr 2147483648 ist 4.000000\n");
  EXPECT_EQ(values.changes, (std::vector<uint64>{3, 8, 1u << 31}));

  // Without a stream the values still change and every object is told.
  ApplyCorrections(unknowns, fixed, x, &factor, &limit, nullptr);
  EXPECT_EQ(values.changes, (std::vector<uint64>{3, 8, 1u << 31, 3, 8, 1u << 31}));
  EXPECT_EQ(values[3].Value, 2.0);
  EXPECT_EQ(values[8].Value, 4.0);
  EXPECT_EQ(values[12].Value, 0.0);
  EXPECT_EQ(values[1u << 31].Value, 8.0);
  EXPECT_EQ(x[0], 1.0);
}

TEST(ApplyCorrections, UsesCachedPointersButLeavesEmptyCachesEmpty) {
  RegisteredValues values({{5, 1.0}, {6, 1.0}});
  ZR::VOValue cached(6, 100.0);
  UnknownIndex unknowns;
  unknowns.emplace(ValueHandle{nullptr, 5}, 0u);
  unknowns.emplace(ValueHandle{&cached, 6}, 1u);
  const DenseVector x(2, 0.5);
  const double factor = 1.0;
  const double limit = 1.0;

  ApplyCorrections(unknowns, {}, x, &factor, &limit, nullptr);

  EXPECT_EQ(values[5].Value, 1.5);
  EXPECT_EQ(unknowns.begin()->first.object, nullptr);
  EXPECT_EQ(cached.Value, 100.5);
  EXPECT_EQ(values[6].Value, 1.0);
}

}  // namespace
