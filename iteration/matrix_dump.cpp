#include "iteration/matrix_dump.h"

#include <cstdint>

namespace {

// The dump format prints every count and index as a 32-bit unsigned decimal, whatever the
// width of long on the platform.
unsigned long AsDumpCount(std::size_t count) {
  return static_cast<unsigned long>(static_cast<std::uint32_t>(count));
}

}  // namespace

void DumpSparseMatrix(const SparseMatrix& matrix, std::FILE* stream) {
  std::fprintf(stream, "%lu %lu \n", AsDumpCount(matrix.rows.size()),
               AsDumpCount(matrix.columnCount));
  for (const SparseRow& row : matrix.rows) {
    std::fprintf(stream, "\n%lu   ", AsDumpCount(row.EntryCount()));
    for (const auto& [column, value] : row) {
      std::fprintf(stream, "%lu %lg   ", AsDumpCount(column), value);
    }
  }
}

void DumpVector(const DenseVector& vector, std::FILE* stream) {
  std::fprintf(stream, "%lu\n ", AsDumpCount(vector.size()));
  for (std::size_t index = 0; index < vector.size(); ++index) {
    std::fprintf(stream, "\n%lg ", vector[index]);
  }
}
