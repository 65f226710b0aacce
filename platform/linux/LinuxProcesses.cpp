#include "platform/linux/LinuxProcesses.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "platform/AsciiCase.h"
#include "platform/linux/NativePath.h"

namespace ZelmoraTevra::platform {

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

// Of the process with this folder in /proc. Empty if it can't be read.
std::string executablePath(const std::string& process) {
  // So the system marks a program whose file was replaced while it runs.
  constexpr std::string_view deleted = " (deleted)";
  std::string path(PATH_MAX, '\0');
  const ssize_t length = ::readlink((process + "/exe").c_str(), path.data(), path.size());
  path.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  if (path.ends_with(deleted)) path.resize(path.size() - deleted.size());
  return path;
}

// The text before the first NUL, empty if the file can't be read.
std::string firstArgument(const std::string& commandLineFile) {
  const int descriptor = ::open(commandLineFile.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return {};
  std::string text(PATH_MAX, '\0');
  const ssize_t length = ::read(descriptor, text.data(), text.size());
  ::close(descriptor);
  text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return text.substr(0, text.find('\0'));
}

std::string_view lastComponent(std::string_view path, const char* separators) {
  const std::size_t separator = path.find_last_of(separators);
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

bool isProcessNumber(std::string_view name) {
  return name.find_first_not_of("0123456789") == std::string_view::npos;
}

bool hasName(const std::string& process, std::string_view name) {
  return equalsIgnoringCase(lastComponent(executablePath(process), "/"), name) ||
         equalsIgnoringCase(lastComponent(firstArgument(process + "/cmdline"), "/\\"), name);
}

}  // namespace

bool LinuxProcesses::isRunning(const WideText& executableName) {
  const std::string name = toNativeText(executableName);
  if (name.empty()) return false;
  if (!found_.empty() && hasName(found_, name)) return true;
  const std::unique_ptr<DIR, CloseFolder> processes(::opendir("/proc"));
  if (processes == nullptr) return false;
  while (const dirent* const entry = ::readdir(processes.get())) {
    if (!isProcessNumber(entry->d_name)) continue;
    found_ = std::string("/proc/") + entry->d_name;
    if (hasName(found_, name)) return true;
  }
  found_.clear();
  return false;
}

WideText LinuxProcesses::modulePath() {
  return fromNativePath(executablePath("/proc/self"));
}

WideText LinuxProcesses::environment(const WideText& name) {
  const char* const value = std::getenv(toNativeText(name).c_str());
  return value == nullptr ? WideText() : fromNativeText(value);
}

void LinuxProcesses::showErrorBox(const WideText& caption, const WideText& text) {
  std::string line = caption.empty() ? std::string() : toNativeText(caption) + ": ";
  line += toNativeText(text);
  std::replace_if(
      line.begin(), line.end(), [](char unit) { return unit == '\n' || unit == '\r'; }, ' ');
  line += '\n';
  std::string_view left = line;
  while (!left.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, left.data(), left.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    left.remove_prefix(static_cast<std::size_t>(count));
  }
}

void LinuxProcesses::end(int exitValue) {
  std::exit(exitValue);
}

}  // namespace ZelmoraTevra::platform
