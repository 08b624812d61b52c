#pragma once
// What the HTML report's header says about the run beyond the results: the network file and
// the SHA-256 of its bytes, when the report was written, the program's version and every
// option that differs from its default.

#include <ctime>
#include <string>
#include <vector>

#include "tools/zr-adjust/options.h"
#include "tools/zr-adjust/report/html_report.h"

namespace zradjust {

// The options that differ from a default-constructed Options, as a command line writes them
// ("--tolerance 0.001", "--adaptive-weights"), in the order of the usage text. Numbers are
// written in their shortest form that reads back to the same double. The network file is not
// an option.
std::vector<std::string> ChangedOptions(const Options& options);

// The context for a run under options at time now. The network file is read once more for its
// SHA-256 (standard input cannot be: the hash is then left empty, as is one of a file that can
// no longer be read).
HtmlContext MakeHtmlContext(const Options& options, const std::string& programVersion,
                            std::time_t now);

}  // namespace zradjust
