#include "iteration/matrix_dump.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace {

std::string Capture(const std::function<void(std::FILE*)>& write) {
  char* buffer = nullptr;
  std::size_t length = 0;
  std::FILE* stream = open_memstream(&buffer, &length);
  write(stream);
  std::fclose(stream);
  std::string text(buffer, length);
  std::free(buffer);
  return text;
}

TEST(DumpSparseMatrix, WritesRowsInStorageOrder) {
  SparseMatrix example(2, 3);
  SetElement(example, 0, 1, 2.5);
  SetElement(example, 1, 0, -1.0);
  SetElement(example, 1, 2, 0.0000001);

  // A stored zero, as the products leave them, is written like any other entry.
  SparseMatrix storedZero(1, 2);
  storedZero.rows[0].Store(1, 0.0);

  struct Case {
    const char* what;
    SparseMatrix matrix;
    std::string expected;
  };
  const Case cases[] = {
      {"entries and an exponent", example, "2 3 \n\n1   1 2.5   \n2   0 -1   2 1e-07   "},
      {"no rows", SparseMatrix(0, 4), "0 4 \n"},
      {"empty rows", SparseMatrix(2, 0), "2 0 \n\n0   \n0   "},
      {"a stored zero", storedZero, "1 2 \n\n1   1 0   "},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(Capture([&](std::FILE* stream) { DumpSparseMatrix(test.matrix, stream); }),
              test.expected)
        << test.what;
  }
}

TEST(DumpVector, WritesTheLengthThenOneElementPerLine) {
  DenseVector example(2);
  example[0] = 1.5;
  example[1] = 2.0;
  EXPECT_EQ(Capture([&](std::FILE* stream) { DumpVector(example, stream); }), "2\n \n1.5 \n2 ");
  EXPECT_EQ(Capture([](std::FILE* stream) { DumpVector(DenseVector(), stream); }), "0\n ");
}

}  // namespace
