#include "platform/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace ZelmoraTevra::platform {

void prepareStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest free number, which is this one. Without the null device a folder keeps it: no file gets it,
    // and nothing can be written there.
    if (::open("/dev/null", O_RDWR) < 0) static_cast<void>(::open("/", O_RDONLY));
  }
  struct sigaction ignoring = {};
  ignoring.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &ignoring, nullptr);
}

}  // namespace ZelmoraTevra::platform
