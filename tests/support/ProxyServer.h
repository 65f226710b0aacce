#pragma once

#include <memory>
#include <string>

#include "tests/support/ServerProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

// A real web proxy on a free port of a loopback address. It opens tunnels to port 80 only.
class ProxyServer {
 public:
  // With an empty user everybody is served. Null if the proxy isn't installed or doesn't start.
  [[nodiscard]] static std::unique_ptr<ProxyServer> start(const std::string& user = {},
                                                          const std::string& password = {});

  [[nodiscard]] const std::string& host() const { return host_; }
  [[nodiscard]] const std::string& port() const { return port_; }
  // Waits until it has told of a request whose first line begins so. False if it ends before.
  [[nodiscard]] bool wasAskedTo(const std::string& request) { return process_->waitForLine("): " + request); }

 private:
  ProxyServer() = default;

  std::string host_;
  std::string port_;
  TemporaryFolder folder_;
  std::unique_ptr<ServerProcess> process_;
};

}  // namespace ZelmoraTevra
