#include "tests/support/ServerProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ZelmoraTevra {

ServerProcess::ServerProcess(const std::vector<std::string>& arguments) {
  // Everything is made ready before the fork: behind it only system calls are safe.
  std::vector<char*> list;
  for (const std::string& each : arguments) list.push_back(const_cast<char*>(each.c_str()));
  list.push_back(nullptr);
  char* noEnvironment[] = {nullptr};

  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  // Nobody may read to the end, and a server that can print no more would stand still.
  ::fcntl(ends[0], F_SETPIPE_SZ, 1 << 20);
  const pid_t parent = ::getpid();
  id_ = ::fork();
  if (id_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (id_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(127);
    ::dup2(ends[1], STDOUT_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    ::execve(list[0], list.data(), noEnvironment);
    ::_exit(127);
  }
  ::close(ends[1]);
  pipe_ = ends[0];
}

ServerProcess::~ServerProcess() {
  ::kill(id_, SIGTERM);
  ::close(pipe_);
  while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

bool ServerProcess::waitForLine(const std::string& text) {
  char bytes[1024];
  while (output_.find(text) == std::string::npos) {
    const ssize_t count = ::read(pipe_, bytes, sizeof bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    output_.append(bytes, static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace ZelmoraTevra
