#include "tools/zr-adjust/report/output_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace zradjust {

OutputFile::~OutputFile() {
  if (!temporary.empty()) {
    stream.close();
    std::remove(temporary.c_str());
  }
}

bool OutputFile::Open(const std::string& path, std::string& error) {
  target = path;
  // Beside the target, so that the final rename stays within one file system.
  std::size_t slash = path.rfind('/');
  std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  std::string pattern = directory + "." + name + ".tmp-XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  int descriptor = mkstemp(buffer.data());
  if (descriptor < 0) {
    error = path + ": cannot write: " + std::strerror(errno);
    return false;
  }
  close(descriptor);
  temporary = buffer.data();
  stream.open(temporary, std::ios::binary | std::ios::trunc);
  if (!stream) {
    error = path + ": cannot write: " + std::strerror(errno);
    std::remove(temporary.c_str());
    temporary.clear();
    return false;
  }
  return true;
}

bool OutputFile::Commit(std::string& error) {
  stream.flush();
  bool written = static_cast<bool>(stream);
  stream.close();
  if (!written || stream.fail()) {
    error = target + ": cannot write: " + std::strerror(errno ? errno : EIO);
    std::remove(temporary.c_str());
    temporary.clear();
    return false;
  }
  // mkstemp creates the file readable by its owner only; give it the usual permissions.
  mode_t mask = umask(0);
  umask(mask);
  chmod(temporary.c_str(), 0666 & ~mask);
  if (std::rename(temporary.c_str(), target.c_str()) != 0) {
    error = target + ": cannot write: " + std::strerror(errno);
    std::remove(temporary.c_str());
    temporary.clear();
    return false;
  }
  temporary.clear();
  return true;
}

}  // namespace zradjust
