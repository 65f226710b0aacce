#include "platform/StandardOutput.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace ZelmoraTevra::platform {

void writeToStandardOutput(std::string_view utf8) {
  // A front end that has closed its end of the pipe would otherwise end the job by the signal.
  struct sigaction previous = {};
  struct sigaction ignoring = {};
  ignoring.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignoring, &previous);
  while (!utf8.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, utf8.data(), utf8.size());
    if (count < 0 && errno != EINTR) break;
    if (count > 0) utf8.remove_prefix(static_cast<std::size_t>(count));
  }
  sigaction(SIGPIPE, &previous, nullptr);
}

}  // namespace ZelmoraTevra::platform
