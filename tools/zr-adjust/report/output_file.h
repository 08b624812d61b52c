#pragma once
// An output file that appears complete or not at all.
//
// Open creates a temporary file in the target's directory; Commit closes it and renames it to
// the target, which replaces an existing file in one step. A file that is not committed (an
// error, an exception, an early exit) is removed when the object goes, so a reader never sees
// a half-written result.

#include <fstream>
#include <string>

namespace zradjust {

class OutputFile {
 public:
  OutputFile() = default;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Creates the temporary file for path. On failure returns false with error set to
  // "PATH: cannot write: reason".
  bool Open(const std::string& path, std::string& error);
  std::ostream& Stream() { return stream; }
  // Flushes, closes and renames. On failure returns false with error set and removes the
  // temporary file.
  bool Commit(std::string& error);

 private:
  std::string target;
  std::string temporary;
  std::ofstream stream;
};

}  // namespace zradjust
