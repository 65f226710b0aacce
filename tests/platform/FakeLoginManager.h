#pragma once

#include <sys/types.h>

#include <string>

namespace ZelmoraTevra::platform {

// A process that answers requests for sleep locks on a bus as the login manager does.
class FakeLoginManager {
 public:
  enum class Answer { grant, refuse, notADescriptor, none };

  // Returns when the manager can be reached.
  FakeLoginManager(const std::string& busAddress, Answer answer);
  ~FakeLoginManager();
  FakeLoginManager(const FakeLoginManager&) = delete;
  FakeLoginManager& operator=(const FakeLoginManager&) = delete;

  // False if the D-Bus library isn't installed or the bus doesn't take the manager.
  [[nodiscard]] bool isReachable() const { return reachable_; }

  // The arguments of the next request, each with a "|" behind it. Waits until there is one.
  [[nodiscard]] std::string nextRequest();

  // Waits until no one holds the lock any more. False if that takes longer than any test should.
  [[nodiscard]] bool isReleased() const;
  // True if someone holds the lock.
  [[nodiscard]] bool isHeld() const;

 private:
  pid_t process_ = -1;
  bool reachable_ = false;
  int messages_ = -1;  // one line for each thing that happens in the process
  int lock_ = -1;      // the end of the pipe whose other end is the lock
};

}  // namespace ZelmoraTevra::platform
