#include "tests/support/ProxyServer.h"

#include <unistd.h>

#include <fstream>

#include "tests/support/LoopbackListener.h"

namespace ZelmoraTevra {

std::unique_ptr<ProxyServer> ProxyServer::start(const std::string& user, const std::string& password) {
  constexpr const char* program = "/usr/bin/tinyproxy";
  LoopbackListener listener(0);
  if (!listener.isOpen() || ::access(program, X_OK) != 0) return nullptr;

  std::unique_ptr<ProxyServer> server(new ProxyServer);
  server->host_ = listener.host();
  server->port_ = std::to_string(listener.port());
  listener.close();
  const std::string file = server->folder_.native().string() + "/tinyproxy.conf";
  std::ofstream configuration(file);
  configuration << "Port " << server->port_ << "\nListen " << server->host_
                << "\nTimeout 60\nMaxClients 10\nLogLevel Info\nAllow 127.0.0.0/8\nConnectPort 80\n";
  if (!user.empty()) configuration << "BasicAuth " << user << ' ' << password << '\n';
  configuration.close();

  server->process_ = std::make_unique<ServerProcess>(std::vector<std::string>{program, "-d", "-c", file});
  if (!server->process_->waitForLine("Accepting connections")) return nullptr;
  return server;
}

}  // namespace ZelmoraTevra
