#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/ServerProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

// The real web server, on port 80 of a loopback address, serving the files of a folder and taking new ones
// for it.
class NginxServer {
 public:
  // Null if it isn't installed or this process may not listen on port 80.
  [[nodiscard]] static std::unique_ptr<NginxServer> start(const std::filesystem::path& folder);

  [[nodiscard]] const std::string& host() const { return host_; }

 private:
  NginxServer() = default;

  std::string host_;
  TemporaryFolder prefix_;
  std::unique_ptr<ServerProcess> process_;
};

}  // namespace ZelmoraTevra
