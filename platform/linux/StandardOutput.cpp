#include "platform/StandardOutput.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace ZelmoraTevra::platform {

namespace {

// A front end may have made its end of the pipe one that doesn't wait.
void waitForRoom() {
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  ::poll(&output, 1, -1);
}

}  // namespace

void writeToStandardOutput(std::string_view utf8) {
  // A front end that has closed its end of the pipe would otherwise end the job by the signal.
  struct sigaction previous = {};
  struct sigaction ignoring = {};
  ignoring.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignoring, &previous);
  while (!utf8.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, utf8.data(), utf8.size());
    if (count > 0) utf8.remove_prefix(static_cast<std::size_t>(count));
    if (count < 0 && errno == EAGAIN) {
      waitForRoom();
    } else if (count < 0 && errno != EINTR) {
      break;
    }
  }
  sigaction(SIGPIPE, &previous, nullptr);
}

}  // namespace ZelmoraTevra::platform
