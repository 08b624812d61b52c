#pragma once
// The files a run writes besides standard output.
//
// Open creates all of them before anything is adjusted, so that a path that cannot be written
// is reported as bad input and not after a long run. The library's correction log and matrix
// dump are written while it runs; the JSON, SVG and HTML results appear only at Finish,
// complete, or not at all.

#include <cstdio>
#include <memory>
#include <string>

#include "tools/zr-adjust/options.h"
#include "tools/zr-adjust/report/adjustment_report.h"
#include "tools/zr-adjust/report/html_report.h"
#include "tools/zr-adjust/report/output_file.h"

namespace zradjust {

class RunOutputs {
 public:
  // On failure returns false with error set to "PATH: cannot write: reason".
  bool Open(const Options& options, std::string& error);
  // The streams for the model's correctionLog and matrixDump; null when not asked for.
  std::FILE* Log() const { return log.get(); }
  std::FILE* Dump() const { return dump.get(); }
  // Writes and commits the JSON, SVG and HTML files and closes the log and dump.
  bool Finish(const AdjustmentReport& report, std::string& error);

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, FileCloser> log;
  std::unique_ptr<std::FILE, FileCloser> dump;
  std::unique_ptr<OutputFile> json;
  std::unique_ptr<OutputFile> svg;
  std::unique_ptr<OutputFile> html;
  HtmlContext htmlContext;
};

}  // namespace zradjust
