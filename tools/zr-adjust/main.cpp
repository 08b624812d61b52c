// zr-adjust: reads a network file, adjusts it with the library's Iterate and reports the result.
// main only wires the stages together and maps the outcome to the exit status.

#include <iostream>
#include <string>

#include "tools/zr-adjust/memory_reuse.h"
#include "tools/zr-adjust/network/network_reader.h"
#include "tools/zr-adjust/options.h"
#include "tools/zr-adjust/program.h"
#include "tools/zr-adjust/run_outputs.h"

namespace {

int Fail(const std::string& message) {
  std::cerr << "zr-adjust: " << message << "\n";
  return zradjust::exitBadInput;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace zradjust;
  KeepFreedMemoryInProcess();
  ParsedOptions parsed = ParseOptions(argc, argv);
  if (parsed.help) return std::cout << UsageText(), exitConverged;
  if (parsed.version) return std::cout << "zr-adjust " ZR_VERSION "\n", exitConverged;
  if (!parsed.error.empty()) return Fail(parsed.error + "\nTry 'zr-adjust --help'.");
  const Options& options = parsed.options;

  ReadResult read = ReadNetworkFile(options.networkFile);
  for (const std::string& error : read.errors)
    std::cerr << error << "\n";
  if (!read.Ok()) return exitBadInput;

  RunOutputs outputs;
  std::string error;
  if (!outputs.Open(options, error)) return Fail(error);
  Outcome outcome = AdjustNetwork(options, read, std::cerr, outputs.Log(), outputs.Dump());
  if (!outcome.report) return outcome.exitStatus;
  // The report on standard output (or the document sent there with "-"), then the files.
  if (!outputs.Finish(*outcome.report, error)) return Fail(error);
  return outcome.exitStatus;
}
