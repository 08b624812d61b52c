// row_container_bench: candidate containers for one row of the sparse store, timed on the access
// patterns that an adjustment step produces, with the heap bytes each keeps per stored entry.
//
// Candidates: the standard ordered map, a B-tree (when the Abseil headers are installed), a
// sorted flat array of (column, value) pairs, and a sorted flat array that keeps columns and
// values in two runs of one block (the layout of SparseRow). Every candidate accumulates with
// the same rule: an existing entry becomes v + old, an absent one is created holding v.
//
// Output: one line per pattern and candidate, nanoseconds per operation and bytes per entry.

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#if __has_include(<absl/container/btree_map.h>)
#include <absl/container/btree_map.h>
#define ROW_BENCH_HAS_BTREE 1
#endif

namespace {

using Column = std::uint32_t;

template <class Map>
struct MapRow {
  Map entries;
  void Accumulate(Column column, double value) {
    const auto [place, inserted] = entries.try_emplace(column, value);
    if (!inserted) place->second = value + place->second;
  }
  void Append(Column column, double value) { entries.emplace_hint(entries.end(), column, value); }
  const double* Find(Column column) const {
    const auto found = entries.find(column);
    return found == entries.end() ? nullptr : &found->second;
  }
  double Sum() const {
    double sum = 0.0;
    for (const auto& [column, value] : entries)
      sum += value;
    return sum;
  }
  std::size_t Size() const { return entries.size(); }
};

struct FlatPairRow {
  std::vector<std::pair<Column, double>> entries;
  void Accumulate(Column column, double value) {
    if (entries.empty() || entries.back().first < column) {
      entries.emplace_back(column, value);
      return;
    }
    const auto place =
        std::lower_bound(entries.begin(), entries.end(), column,
                         [](const auto& entry, Column c) { return entry.first < c; });
    if (place->first == column) {
      place->second = value + place->second;
      return;
    }
    entries.emplace(place, column, value);
  }
  void Append(Column column, double value) { entries.emplace_back(column, value); }
  const double* Find(Column column) const {
    const auto place =
        std::lower_bound(entries.begin(), entries.end(), column,
                         [](const auto& entry, Column c) { return entry.first < c; });
    return place != entries.end() && place->first == column ? &place->second : nullptr;
  }
  double Sum() const {
    double sum = 0.0;
    for (const auto& [column, value] : entries)
      sum += value;
    return sum;
  }
  std::size_t Size() const { return entries.size(); }
};

// Values then columns in one block, grown by half: twelve bytes per entry plus the slack.
struct SplitRow {
  double* values = nullptr;
  Column* columns = nullptr;
  std::size_t count = 0;
  std::size_t capacity = 0;

  SplitRow() = default;
  SplitRow(const SplitRow&) = delete;
  SplitRow(SplitRow&& other) noexcept
      : values(std::exchange(other.values, nullptr)),
        columns(std::exchange(other.columns, nullptr)),
        count(std::exchange(other.count, 0)),
        capacity(std::exchange(other.capacity, 0)) {}
  ~SplitRow() { std::free(values); }

  void Grow() {
    const std::size_t wanted = capacity < 4 ? 4 : capacity + capacity / 2;
    auto* block = static_cast<double*>(std::malloc(wanted * (sizeof(double) + sizeof(Column))));
    auto* newColumns = reinterpret_cast<Column*>(block + wanted);
    if (count != 0) {
      std::memcpy(block, values, count * sizeof(double));
      std::memcpy(newColumns, columns, count * sizeof(Column));
    }
    std::free(values);
    values = block;
    columns = newColumns;
    capacity = wanted;
  }
  void InsertAt(std::size_t position, Column column, double value) {
    if (count == capacity) Grow();
    std::memmove(values + position + 1, values + position, (count - position) * sizeof(double));
    std::memmove(columns + position + 1, columns + position, (count - position) * sizeof(Column));
    values[position] = value;
    columns[position] = column;
    ++count;
  }
  void Accumulate(Column column, double value) {
    if (count == 0 || columns[count - 1] < column) {
      Append(column, value);
      return;
    }
    const std::size_t position = std::lower_bound(columns, columns + count, column) - columns;
    if (columns[position] == column) {
      values[position] = value + values[position];
      return;
    }
    InsertAt(position, column, value);
  }
  void Append(Column column, double value) {
    if (count == capacity) Grow();
    values[count] = value;
    columns[count] = column;
    ++count;
  }
  const double* Find(Column column) const {
    const std::size_t position = std::lower_bound(columns, columns + count, column) - columns;
    return position != count && columns[position] == column ? values + position : nullptr;
  }
  double Sum() const {
    double sum = 0.0;
    for (std::size_t k = 0; k < count; ++k)
      sum += values[k];
    return sum;
  }
  std::size_t Size() const { return count; }
};

double Seconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::size_t HeapInUse() {
  return mallinfo2().uordblks;
}

volatile double sink;

struct Result {
  double nanoseconds;
  double bytesPerEntry;
};

void Print(const char* pattern, const char* candidate, const Result& result) {
  std::printf("%-34s %-10s %9.1f ns/op %7.1f B/entry\n", pattern, candidate, result.nanoseconds,
              result.bytesPerEntry);
}

// rowCount rows of length ascending columns each (stride apart), by Accumulate or Append.
template <class Row>
Result AscendingAppends(std::size_t rowCount, std::size_t length, bool append) {
  const std::size_t heap = HeapInUse();
  const auto start = std::chrono::steady_clock::now();
  std::vector<Row> rows(rowCount);
  for (std::size_t r = 0; r < rowCount; ++r) {
    for (std::size_t k = 0; k < length; ++k) {
      const Column column = static_cast<Column>(r + 3 * k);
      if (append) {
        rows[r].Append(column, 1.0 + k);
      } else {
        rows[r].Accumulate(column, 1.0 + k);
      }
    }
  }
  const double seconds = Seconds(start);
  const double entries = static_cast<double>(rowCount * length);
  return {seconds * 1e9 / entries, (HeapInUse() - heap) / entries};
}

// Every row takes touches accumulations over distinct random columns, in random order.
template <class Row>
Result ScatteredAccumulation(std::size_t rowCount, std::size_t distinct, std::size_t touches,
                             std::vector<Row>& rows) {
  std::mt19937 random(11);
  std::vector<std::vector<Column>> sequences(rowCount);
  for (std::size_t r = 0; r < rowCount; ++r) {
    std::vector<Column> columns(distinct);
    for (auto& column : columns)
      column = static_cast<Column>(random() % 60000);
    for (std::size_t t = 0; t < touches; ++t) {
      sequences[r].push_back(columns[t < distinct ? t : random() % distinct]);
    }
    std::shuffle(sequences[r].begin(), sequences[r].end(), random);
  }
  const std::size_t heap = HeapInUse();
  const auto start = std::chrono::steady_clock::now();
  rows = std::vector<Row>(rowCount);
  std::size_t entries = 0;
  for (std::size_t r = 0; r < rowCount; ++r) {
    for (const Column column : sequences[r])
      rows[r].Accumulate(column, 0.5);
    entries += rows[r].Size();
  }
  const double seconds = Seconds(start);
  return {seconds * 1e9 / static_cast<double>(rowCount * touches),
          (HeapInUse() - heap) / static_cast<double>(entries)};
}

template <class Row>
Result Search(const std::vector<Row>& rows, std::size_t probes) {
  std::mt19937 random(5);
  double sum = 0.0;
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t p = 0; p < probes; ++p) {
    const Row& row = rows[random() % rows.size()];
    const double* found = row.Find(static_cast<Column>(random() % 60000));
    if (found != nullptr) sum += *found;
  }
  const double seconds = Seconds(start);
  sink = sum;
  return {seconds * 1e9 / static_cast<double>(probes), 0.0};
}

template <class Row>
Result Iterate(const std::vector<Row>& rows) {
  std::size_t entries = 0;
  double sum = 0.0;
  const auto start = std::chrono::steady_clock::now();
  for (const Row& row : rows) {
    sum += row.Sum();
    entries += row.Size();
  }
  const double seconds = Seconds(start);
  sink = sum;
  return {seconds * 1e9 / static_cast<double>(entries), 0.0};
}

// The Gram matrix of a seven-row datum matrix over unknowns columns, in the plain loop order:
// pass i adds row i's columns into every row it touches, so later passes insert between the
// entries of earlier ones.
template <class Row>
Result GramInterleaved(Column unknowns) {
  std::vector<std::vector<Column>> g(7);
  for (Column c = 0; c < unknowns; ++c) {
    const Column axis = c % 3;
    g[axis].push_back(c);              // translations
    if (axis != 0) g[3].push_back(c);  // rotation about X: Y and Z
    if (axis != 1) g[4].push_back(c);  // rotation about Y: X and Z
    if (axis != 2) g[5].push_back(c);  // rotation about Z: X and Y
    g[6].push_back(c);                 // scale
  }
  const std::size_t heap = HeapInUse();
  const auto start = std::chrono::steady_clock::now();
  std::vector<Row> rows(unknowns);
  std::size_t operations = 0;
  for (const auto& gRow : g) {
    for (const Column j : gRow) {
      for (const Column k : gRow)
        rows[j].Accumulate(k, 0.25);
      operations += gRow.size();
    }
  }
  const double seconds = Seconds(start);
  std::size_t entries = 0;
  for (const Row& row : rows)
    entries += row.Size();
  return {seconds * 1e9 / static_cast<double>(operations),
          (HeapInUse() - heap) / static_cast<double>(entries)};
}

// One row receives length distinct columns in random order.
template <class Row>
Result RandomInserts(std::size_t length) {
  std::vector<Column> columns(length);
  std::iota(columns.begin(), columns.end(), 0u);
  std::shuffle(columns.begin(), columns.end(), std::mt19937(3));
  const auto start = std::chrono::steady_clock::now();
  Row row;
  for (const Column column : columns)
    row.Accumulate(column, 1.0);
  const double seconds = Seconds(start);
  sink = row.Sum();
  return {seconds * 1e9 / static_cast<double>(length), 0.0};
}

template <class Row>
void RunAll(const char* name) {
  Print("ascending appends, 20000 x 50", name, AscendingAppends<Row>(20000, 50, false));
  Print("ascending append path, 20000 x 50", name, AscendingAppends<Row>(20000, 50, true));
  Print("ascending appends, 300 x 3000", name, AscendingAppends<Row>(300, 3000, false));
  std::vector<Row> rows;
  Print("scattered accumulation, 50 of 300", name,
        ScatteredAccumulation<Row>(20000, 50, 300, rows));
  Print("search in rows of 50", name, Search<Row>(rows, 2000000));
  Print("iterate rows of 50", name, Iterate<Row>(rows));
  Print("Gram interleaved, 3000 unknowns", name, GramInterleaved<Row>(3000));
  Print("random inserts, row of 3000", name, RandomInserts<Row>(3000));
  Print("random inserts, row of 20000", name, RandomInserts<Row>(20000));
  Print("random inserts, row of 60000", name, RandomInserts<Row>(60000));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string only = argc > 1 ? argv[1] : "";
  if (only.empty() || only == "map") RunAll<MapRow<std::map<Column, double>>>("map");
#ifdef ROW_BENCH_HAS_BTREE
  if (only.empty() || only == "btree") RunAll<MapRow<absl::btree_map<Column, double>>>("btree");
#endif
  if (only.empty() || only == "pairs") RunAll<FlatPairRow>("pairs");
  if (only.empty() || only == "split") RunAll<SplitRow>("split");
  return 0;
}
