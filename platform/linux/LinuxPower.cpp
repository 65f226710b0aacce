#include "platform/linux/LinuxPower.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>

#include "platform/linux/BusLibrary.h"

namespace ZelmoraTevra::platform {

namespace {

// How long the job's start may be held up by a bus or a login manager that doesn't answer.
constexpr std::chrono::milliseconds longestWait{1000};

struct Request {
  const BusLibrary& library;
  bool answered = false;
  int lock = -1;
};

int takeAnswer(sd_bus_message* answer, void* data, sd_bus_error*) {
  Request& request = *static_cast<Request*>(data);
  request.answered = true;
  int lock = -1;
  if (request.library.isMethodError(answer, nullptr) == 0 && request.library.read(answer, "h", &lock) > 0) {
    // The message closes its own descriptor.
    request.lock = ::fcntl(lock, F_DUPFD_CLOEXEC, 0);
  }
  return 0;
}

void waitForAnswer(sd_bus* bus, const Request& request) {
  const auto end = std::chrono::steady_clock::now() + longestWait;
  while (!request.answered) {
    const int result = request.library.process(bus, nullptr);
    if (result < 0) return;
    if (result > 0) continue;
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(end - std::chrono::steady_clock::now()).count();
    if (left <= 0 || request.library.wait(bus, static_cast<std::uint64_t>(left)) < 0) return;
  }
}

// The lock's descriptor, -1 if there is none to be had.
int requestLock(const BusLibrary& library) {
  sd_bus* bus = nullptr;
  if (library.openSystem(&bus) < 0) return -1;
  Request request{library};
  // A call that waits by itself would let an unresponsive bus decide how long.
  if (library.callMethodAsync(bus, nullptr, "org.freedesktop.login1", "/org/freedesktop/login1",
                              "org.freedesktop.login1.Manager", "Inhibit", takeAnswer, &request, "ssss",
                              "idle:sleep", "TevraCLI", "A device is being worked on", "block") >= 0) {
    waitForAnswer(bus, request);
  }
  library.close(bus);
  library.unref(bus);
  return request.lock;
}

}  // namespace

LinuxPower::~LinuxPower() {
  allowSleep();
}

bool LinuxPower::keepAwake(bool) {
  if (lock_ >= 0) return true;
  const BusLibrary* const library = busLibrary();
  if (library != nullptr) lock_ = requestLock(*library);
  return true;
}

void LinuxPower::allowSleep() {
  if (lock_ >= 0) ::close(lock_);
  lock_ = -1;
}

}  // namespace ZelmoraTevra::platform
