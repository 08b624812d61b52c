#include "iteration/normal_equations.h"

#include <gtest/gtest.h>

namespace {

// Writes the damping the way every other element is written: a sum of exactly zero removes
// the element, so zero damping never creates a diagonal that was not there.
TEST(AddDiagonalDamping, WritesEachDiagonalWithSetElement) {
  struct Case {
    double damping;
    bool hasFirst;
    double first;
    double second;
    bool hasThird;
    double third;
  };
  const Case cases[] = {
      {0.0, false, 0.0, 3.0, false, 0.0},
      {1.5, true, 1.5, 4.5, true, 1.5},
  };
  for (const Case& test : cases) {
    SparseMatrix N(3, 3);
    SetElement(N, 0, 1, 2.0);  // row 0 without its diagonal
    SetElement(N, 1, 1, 3.0);
    N.rows[2].Store(2, 0.0);  // a stored zero, as the products may leave one
    AddDiagonalDamping(N, test.damping);

    EXPECT_EQ(N.rows[0].Find(0) != nullptr, test.hasFirst) << test.damping;
    EXPECT_EQ(GetElement(N, 0, 0), test.first) << test.damping;
    EXPECT_EQ(GetElement(N, 0, 1), 2.0) << test.damping;
    EXPECT_EQ(GetElement(N, 1, 1), test.second) << test.damping;
    EXPECT_EQ(N.rows[2].Find(2) != nullptr, test.hasThird) << test.damping;
    EXPECT_EQ(GetElement(N, 2, 2), test.third) << test.damping;
  }
}

}  // namespace
