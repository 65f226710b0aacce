#include "tests/platform/PrivateBus.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace ZelmoraTevra::platform {

PrivateBus::PrivateBus(const std::filesystem::path& folder) {
  const std::string configuration = (folder / "bus.conf").string();
  std::ofstream(configuration)
      << "<busconfig><listen>unix:path=" << (folder / "bus").string()
      << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
         "<allow own=\"*\"/><allow send_destination=\"*\" eavesdrop=\"true\"/><allow "
         "eavesdrop=\"true\"/></policy></busconfig>";
  int output[2] = {};
  if (::pipe(output) != 0) return;
  process_ = ::fork();
  if (process_ == 0) {
    ::dup2(output[1], STDOUT_FILENO);
    ::close(output[0]);
    ::close(output[1]);
    // It complains about limits that it may not raise.
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    ::execlp("dbus-daemon", "dbus-daemon", "--nofork", "--print-address=1",
             ("--config-file=" + configuration).c_str(), nullptr);
    ::_exit(127);
  }
  ::close(output[1]);
  // The daemon tells its address when it takes connections.
  char unit = 0;
  while (::read(output[0], &unit, 1) == 1 && unit != '\n') address_.push_back(unit);
  ::close(output[0]);
}

PrivateBus::~PrivateBus() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

}  // namespace ZelmoraTevra::platform
