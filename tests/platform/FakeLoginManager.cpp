#include "tests/platform/FakeLoginManager.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdint>
#include <string_view>

namespace ZelmoraTevra::platform {

namespace {

// What runs in the process of the manager.
class Service {
 public:
  Service(int messages, int lock, FakeLoginManager::Answer answer)
      : library_(::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL)),
        messages_(messages),
        lock_(lock),
        answer_(answer) {}

  void run(const std::string& address) {
    if (library_ == nullptr) return;
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    sd_bus* bus = nullptr;
    if (call<decltype(&sd_bus_open_system)>("sd_bus_open_system")(&bus) < 0 ||
        call<decltype(&sd_bus_add_object)>("sd_bus_add_object")(bus, nullptr, "/org/freedesktop/login1",
                                                                handle, this) < 0 ||
        call<decltype(&sd_bus_request_name)>("sd_bus_request_name")(bus, "org.freedesktop.login1", 0) < 0) {
      return;
    }
    tell("ready\n");
    const auto process = call<decltype(&sd_bus_process)>("sd_bus_process");
    const auto wait = call<decltype(&sd_bus_wait)>("sd_bus_wait");
    while (true) {
      const int result = process(bus, nullptr);
      if (result < 0 || (result == 0 && wait(bus, UINT64_MAX) < 0)) return;
    }
  }

 private:
  template <typename Function>
  [[nodiscard]] Function call(const char* name) const {
    return reinterpret_cast<Function>(::dlsym(library_, name));
  }

  void tell(std::string_view line) const {
    if (::write(messages_, line.data(), line.size()) < 0) ::_exit(1);
  }

  static int handle(sd_bus_message* message, void* service, sd_bus_error*) {
    return static_cast<Service*>(service)->inhibit(message);
  }

  int inhibit(sd_bus_message* message) {
    const auto isCall = call<decltype(&sd_bus_message_is_method_call)>("sd_bus_message_is_method_call");
    if (isCall(message, "org.freedesktop.login1.Manager", "Inhibit") <= 0) return 0;
    const char* what = "";
    const char* who = "";
    const char* why = "";
    const char* mode = "";
    call<decltype(&sd_bus_message_read)>("sd_bus_message_read")(message, "ssss", &what, &who, &why, &mode);
    std::string line;
    for (const char* const argument : {what, who, why, mode}) line.append(argument).append("|");
    tell(line + "\n");
    const auto reply = call<decltype(&sd_bus_reply_method_return)>("sd_bus_reply_method_return");
    switch (answer_) {
      case FakeLoginManager::Answer::grant: {
        const int result = reply(message, "h", lock_);
        ::close(lock_);
        return result;
      }
      case FakeLoginManager::Answer::refuse:
        return call<decltype(&sd_bus_reply_method_errorf)>("sd_bus_reply_method_errorf")(
            message, "org.freedesktop.DBus.Error.AccessDenied", "Not you");
      case FakeLoginManager::Answer::notADescriptor:
        return reply(message, "s", "lock");
      case FakeLoginManager::Answer::none:
        break;
    }
    return 1;
  }

  void* library_;
  int messages_;
  int lock_;
  FakeLoginManager::Answer answer_;
};

bool isHungUp(int descriptor, int longestMilliseconds) {
  pollfd entry{descriptor, POLLIN, 0};
  return ::poll(&entry, 1, longestMilliseconds) == 1 && (entry.revents & POLLHUP) != 0;
}

}  // namespace

FakeLoginManager::FakeLoginManager(const std::string& busAddress, Answer answer) {
  int messages[2] = {};
  int lock[2] = {};
  if (::pipe2(messages, O_CLOEXEC) != 0 || ::pipe2(lock, O_CLOEXEC) != 0) return;
  process_ = ::fork();
  if (process_ == 0) {
    ::close(lock[0]);
    Service(messages[1], lock[1], answer).run(busAddress);
    ::_exit(0);
  }
  ::close(messages[1]);
  ::close(lock[1]);
  messages_ = messages[0];
  lock_ = lock[0];
  reachable_ = nextRequest() == "ready";
}

FakeLoginManager::~FakeLoginManager() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  if (messages_ >= 0) ::close(messages_);
  if (lock_ >= 0) ::close(lock_);
}

std::string FakeLoginManager::nextRequest() {
  std::string line;
  char unit = 0;
  while (::read(messages_, &unit, 1) == 1 && unit != '\n') line.push_back(unit);
  return line;
}

bool FakeLoginManager::isReleased() const {
  return isHungUp(lock_, 30'000);
}

bool FakeLoginManager::isHeld() const {
  return !isHungUp(lock_, 0);
}

}  // namespace ZelmoraTevra::platform
