#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/ServerProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

// The real web server, on a loopback address, serving the files of a folder and taking new ones for it.
class NginxServer {
 public:
  // Null if it isn't installed or this process may not listen on the port (below 1024 that takes rights);
  // 0: any free port.
  [[nodiscard]] static std::unique_ptr<NginxServer> start(const std::filesystem::path& folder,
                                                          std::uint16_t port = 80);
  // On any free port, over TLS, with a certificate for its address that nobody but itself has signed. Null
  // also without the program that makes certificates.
  [[nodiscard]] static std::unique_ptr<NginxServer> startSelfSigned(const std::filesystem::path& folder);

  [[nodiscard]] const std::string& host() const { return host_; }
  // Of the folder, without a separator at its end.
  [[nodiscard]] const std::string& url() const { return url_; }

 private:
  NginxServer() = default;
  [[nodiscard]] static std::unique_ptr<NginxServer> start(const std::filesystem::path& folder,
                                                          std::uint16_t port, bool selfSigned);
  [[nodiscard]] bool makeCertificate(const std::string& file) const;

  std::string host_;
  std::string url_;
  TemporaryFolder prefix_;
  std::unique_ptr<ServerProcess> process_;
};

}  // namespace ZelmoraTevra
