#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace ZelmoraTevra::platform {

// A D-Bus daemon of the test's own, which everyone may use for everything.
class PrivateBus {
 public:
  // `folder` is where its socket and configuration go.
  explicit PrivateBus(const std::filesystem::path& folder);
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  // Empty if the daemon isn't installed or didn't start.
  [[nodiscard]] const std::string& address() const { return address_; }

 private:
  std::string address_;
  pid_t process_ = -1;
};

}  // namespace ZelmoraTevra::platform
