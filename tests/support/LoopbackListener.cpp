#include "tests/support/LoopbackListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <random>
#include <utility>

namespace ZelmoraTevra {

LoopbackListener::LoopbackListener(std::uint16_t port) {
  constexpr int attempts = 100;
  constexpr std::uint32_t firstAddress = 0x7F010001;  // 127.1.0.1: none that a program takes by itself
  constexpr std::uint32_t lastAddress = 0x7FFFFFFE;
  std::random_device source;
  std::uniform_int_distribution<std::uint32_t> anyAddress(firstAddress, lastAddress);
  for (int attempt = 0; attempt < attempts; ++attempt) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(anyAddress(source));
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(descriptor, generic, size) == 0 && ::listen(descriptor, SOMAXCONN) == 0 &&
        ::getsockname(descriptor, generic, &size) == 0) {
      char text[INET_ADDRSTRLEN];
      descriptor_ = descriptor;
      host_ = ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
      port_ = ntohs(address.sin_port);
      return;
    }
    const bool taken = errno == EADDRINUSE;
    ::close(descriptor);
    if (!taken) return;
  }
}

LoopbackListener::~LoopbackListener() {
  close();
}

LoopbackListener::LoopbackListener(LoopbackListener&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), host_(std::move(other.host_)), port_(other.port_) {}

void LoopbackListener::close() {
  if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

}  // namespace ZelmoraTevra
