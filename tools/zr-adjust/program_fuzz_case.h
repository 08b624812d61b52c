#pragma once
// One input of the whole-road fuzz target: a network file's text run through AdjustNetwork
// (reading, datum analysis, a few iterations, statistics) and every report writer into
// memory. Shared by the libFuzzer target and the regression test that replays what it found.

#include <cstddef>
#include <string_view>

namespace zradjust {

// Inputs beyond these sizes are skipped, so that every run stays short: the fuzzer looks for
// degenerate geometry, not for large networks.
inline constexpr std::size_t fuzzMaximumBytes = 4096;
inline constexpr std::size_t fuzzMaximumPoints = 24;
inline constexpr std::size_t fuzzMaximumObservations = 96;
inline constexpr int fuzzIterations = 4;

// Runs one input; a first line "#! OPTIONS" sets zr-adjust's options for it (iterations
// capped at fuzzIterations, no files written). Returns normally for every input, accepted or not;
// aborts (so that the fuzzer reports it) when the outcome breaks the program's promises: an exit
// status outside 0..3, a report with indices outside its own tables, or a report on a failed run.
void RunWholeRoad(std::string_view text);

}  // namespace zradjust
