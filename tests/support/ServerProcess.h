#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace ZelmoraTevra {

// A server program that a test starts, without a shell, and stops by its process id at the end of the scope.
// It also ends when the test's process dies.
class ServerProcess {
 public:
  // Begins with the program's path. The environment of the server is empty.
  explicit ServerProcess(const std::vector<std::string>& arguments);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  // Reads what the server prints until a line holds the text. False if the server ends before.
  [[nodiscard]] bool waitForLine(const std::string& text);
  // What it has printed, as far as it was read.
  [[nodiscard]] const std::string& output() const { return output_; }
  [[nodiscard]] pid_t id() const { return id_; }

 private:
  pid_t id_ = -1;
  int pipe_ = -1;
  std::string output_;
};

}  // namespace ZelmoraTevra
