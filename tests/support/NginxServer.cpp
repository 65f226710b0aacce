#include "tests/support/NginxServer.h"

#include <unistd.h>

#include <fstream>

#include "tests/support/LoopbackListener.h"

namespace ZelmoraTevra {

std::unique_ptr<NginxServer> NginxServer::start(const std::filesystem::path& folder) {
  constexpr const char* program = "/usr/sbin/nginx";
  LoopbackListener listener(80);
  if (!listener.isOpen() || ::access(program, X_OK) != 0) return nullptr;

  std::unique_ptr<NginxServer> server(new NginxServer);
  server->host_ = listener.host();
  listener.close();
  const std::string prefix = server->prefix_.native().string();
  const std::string file = prefix + "/nginx.conf";
  std::ofstream configuration(file);
  // The folders of a test are closed to other users.
  if (::geteuid() == 0) configuration << "user root;\n";
  configuration << "daemon off;\nmaster_process off;\npid " << prefix << "/nginx.pid;\n"
                << "error_log stderr notice;\nevents {}\nhttp {\n  access_log off;\n  sendfile on;\n";
  for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
    configuration << "  " << kind << "_temp_path " << prefix << '/' << kind << ";\n";
  configuration
      << "  server {\n    listen " << server->host_ << ":80;\n    root " << folder
      << ";\n    dav_methods PUT;\n    create_full_put_path on;\n    client_max_body_size 0;\n  }\n}\n";
  configuration.close();

  server->process_ = std::make_unique<ServerProcess>(
      std::vector<std::string>{program, "-p", prefix, "-c", file, "-e", "stderr"});
  // Printed when the server listens already: a client can connect from then on.
  if (!server->process_->waitForLine("getrlimit(RLIMIT_NOFILE)")) return nullptr;
  return server;
}

}  // namespace ZelmoraTevra
