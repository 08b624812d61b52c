#pragma once
// An output file that appears complete or not at all, and a device or FIFO that is written as
// it is.
//
// Open looks at the target first. A path that exists and is not a regular file (a device such
// as /dev/null or /dev/full, a FIFO, a socket) is opened and written directly: replacing it
// would destroy it, and such a target cannot hold a half-written file anyway. Otherwise Open
// creates a temporary file in the directory of the target (of the file a symbolic link points
// to, so that the link stays a link); Commit closes it and renames it over the target, which
// replaces an existing file in one step. A file that is not committed (an error, an exception,
// an early exit) is removed when the object goes, so a reader never sees a half-written
// result. The document is held in memory until Commit writes it in one go, so that a failure
// is seen with its reason, where it happens.

#include <sstream>
#include <string>

namespace zradjust {

class OutputFile {
 public:
  OutputFile() = default;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Opens path for writing as above. On failure returns false with error set to
  // "PATH: cannot write: reason".
  bool Open(const std::string& path, std::string& error);
  // The document; written to the target only by Commit.
  std::ostream& Stream() { return stream; }
  // Flushes and closes; renames a temporary file over the target. On failure (a full disk, a
  // device that refuses the bytes) returns false with error set and removes the temporary
  // file.
  bool Commit(std::string& error);
  // True when the target is written directly (not a regular file).
  bool Direct() const { return direct; }

 private:
  bool OpenDirect(std::string& error);
  bool Fail(std::string& error, int reason);

  std::string target;
  // The file that is finally replaced: the target, or the file its symbolic link points to.
  std::string replaced;
  std::string temporary;
  bool direct = false;
  // The open target or temporary file; -1 when closed.
  int descriptor = -1;
  std::ostringstream stream;
};

}  // namespace zradjust
