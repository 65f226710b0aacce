#include "platform/StandardOutput.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace ZelmoraTevra::platform {

namespace {

// A front end may have made its end of the pipe one that doesn't wait.
void waitForRoom() {
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  ::poll(&output, 1, -1);
}

}  // namespace

void writeToStandardOutput(std::string_view utf8) {
  while (!utf8.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, utf8.data(), utf8.size());
    if (count > 0) utf8.remove_prefix(static_cast<std::size_t>(count));
    if (count < 0 && errno == EAGAIN) {
      waitForRoom();
    } else if (count < 0 && errno != EINTR) {
      break;
    }
  }
}

}  // namespace ZelmoraTevra::platform
