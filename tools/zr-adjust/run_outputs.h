#pragma once
// Everything a run writes: the report on standard output and the files besides it.
//
// Open creates all files before anything is adjusted, so that a path that cannot be written is
// reported as bad input and not after a long run. The library's correction log and matrix
// dump are written while it runs. Finish writes the report to standard output first (the text
// report, or the JSON, SVG or HTML document whose path is "-"), then the JSON, SVG and HTML
// files; a file appears complete or not at all, and none appears when standard output could
// not be written.

#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "tools/zr-adjust/options.h"
#include "tools/zr-adjust/report/adjustment_report.h"
#include "tools/zr-adjust/report/html_report.h"
#include "tools/zr-adjust/report/output_file.h"

namespace zradjust {

// The path that stands for standard output in --json, --svg and --html.
inline constexpr const char* standardOutputPath = "-";

class RunOutputs {
 public:
  // On failure returns false with error set to "PATH: cannot write: reason", or saying that
  // two documents were sent to standard output.
  bool Open(const Options& options, std::string& error);
  // The streams for the model's correctionLog and matrixDump; null when not asked for.
  std::FILE* Log() const { return log.get(); }
  std::FILE* Dump() const { return dump.get(); }
  // Writes the report to standard output and commits the JSON, SVG and HTML files, then
  // closes the log and dump. On failure returns false with error set, e.g. "standard output:
  // cannot write: No space left on device".
  bool Finish(const AdjustmentReport& report, std::string& error);

 private:
  // Which document goes to standard output instead of the text report.
  enum class Document { Text, Json, Svg, Html };

  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, FileCloser> log;
  std::unique_ptr<std::FILE, FileCloser> dump;
  std::unique_ptr<OutputFile> json;
  std::unique_ptr<OutputFile> svg;
  std::unique_ptr<OutputFile> html;
  HtmlContext htmlContext;
  Document standardOutput = Document::Text;
};

// Writes text to stdout and flushes it. On failure returns false with error set to
// "standard output: cannot write: reason".
bool WriteStandardOutput(std::string_view text, std::string& error);

}  // namespace zradjust
