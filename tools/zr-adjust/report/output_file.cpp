#include "tools/zr-adjust/report/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace zradjust {
namespace {

// Writes all of text to descriptor, resuming after a signal or a partial write. Returns 0 or
// the errno of the failure.
int WriteAll(int descriptor, std::string_view text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t written = write(descriptor, text.data() + done, text.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? errno : EIO;
    done += static_cast<std::size_t>(written);
  }
  return 0;
}

// The path whose file the final rename replaces: a symbolic link's target, so that the link
// survives; the path itself when it is no link or its target does not exist yet.
std::string ReplacedPath(const std::string& path) {
  struct stat link;
  if (lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) return path;
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

}  // namespace

OutputFile::~OutputFile() {
  if (descriptor >= 0) close(descriptor);
  if (!temporary.empty()) std::remove(temporary.c_str());
}

bool OutputFile::Fail(std::string& error, int reason) {
  error = target + ": cannot write: " + std::strerror(reason ? reason : EIO);
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
  if (!temporary.empty()) std::remove(temporary.c_str());
  temporary.clear();
  return false;
}

bool OutputFile::OpenDirect(std::string& error) {
  direct = true;
  descriptor = open(target.c_str(), O_WRONLY | O_CLOEXEC);
  return descriptor >= 0 ? true : Fail(error, errno);
}

bool OutputFile::Open(const std::string& path, std::string& error) {
  target = path;
  struct stat status;
  if (stat(path.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return Fail(error, EISDIR);
    if (!S_ISREG(status.st_mode)) return OpenDirect(error);
  }
  replaced = ReplacedPath(path);
  // Beside the file it replaces, so that the final rename stays within one file system.
  std::size_t slash = replaced.rfind('/');
  std::string directory = slash == std::string::npos ? "" : replaced.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? replaced : replaced.substr(slash + 1);
  std::string pattern = directory + "." + name + ".tmp-XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  descriptor = mkstemp(buffer.data());
  if (descriptor < 0) return Fail(error, errno);
  temporary = buffer.data();
  return true;
}

bool OutputFile::Commit(std::string& error) {
  if (descriptor < 0) return Fail(error, EBADF);
  // Written from the stream's own buffer: a copy of a report of hundreds of megabytes would
  // cost as much memory again.
  if (int reason = WriteAll(descriptor, stream.view())) return Fail(error, reason);
  int closed = close(descriptor);
  descriptor = -1;
  if (closed != 0) return Fail(error, errno);
  if (direct) return true;
  // mkstemp creates the file readable by its owner only; give it the usual permissions.
  mode_t mask = umask(0);
  umask(mask);
  chmod(temporary.c_str(), 0666 & ~mask);
  if (std::rename(temporary.c_str(), replaced.c_str()) != 0) return Fail(error, errno);
  temporary.clear();
  return true;
}

}  // namespace zradjust
