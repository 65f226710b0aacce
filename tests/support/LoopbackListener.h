#pragma once

#include <cstdint>
#include <string>

namespace ZelmoraTevra {

// A listening TCP socket on a loopback address that no other test uses. The programs under test always
// connect to port 80, so what is free is looked for among the 16 million addresses of the loopback network.
class LoopbackListener {
 public:
  // Not open if this process may not listen on the port (below 1024 that takes rights); 0: any free port.
  explicit LoopbackListener(std::uint16_t port);
  ~LoopbackListener();
  LoopbackListener(LoopbackListener&& other) noexcept;
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;

  [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] int descriptor() const { return descriptor_; }
  [[nodiscard]] const std::string& host() const { return host_; }
  [[nodiscard]] std::uint16_t port() const { return port_; }
  // Stops listening; the address stays free, as nobody else looks for it.
  void close();

 private:
  int descriptor_ = -1;
  std::string host_;
  std::uint16_t port_ = 0;
};

}  // namespace ZelmoraTevra
