#include "tests/support/NginxServer.h"

#include <unistd.h>

#include <fstream>

#include "tests/support/LoopbackListener.h"

namespace ZelmoraTevra {

std::unique_ptr<NginxServer> NginxServer::start(const std::filesystem::path& folder, std::uint16_t port) {
  return start(folder, port, false);
}

std::unique_ptr<NginxServer> NginxServer::startSelfSigned(const std::filesystem::path& folder) {
  return start(folder, 0, true);
}

std::unique_ptr<NginxServer> NginxServer::start(const std::filesystem::path& folder, std::uint16_t port,
                                                bool selfSigned) {
  constexpr const char* program = "/usr/sbin/nginx";
  LoopbackListener listener(port);
  if (!listener.isOpen() || ::access(program, X_OK) != 0) return nullptr;

  std::unique_ptr<NginxServer> server(new NginxServer);
  server->host_ = listener.host();
  const std::string place = server->host_ + ":" + std::to_string(listener.port());
  server->url_ = (selfSigned ? "https://" : "http://") + place;
  listener.close();
  const std::string prefix = server->prefix_.native().string();
  const std::string certificate = prefix + "/certificate";
  if (selfSigned && !server->makeCertificate(certificate)) return nullptr;
  const std::string file = prefix + "/nginx.conf";
  std::ofstream configuration(file);
  // The folders of a test are closed to other users.
  if (::geteuid() == 0) configuration << "user root;\n";
  configuration << "daemon off;\nmaster_process off;\npid " << prefix << "/nginx.pid;\n"
                << "error_log stderr notice;\nevents {}\nhttp {\n  access_log off;\n  sendfile on;\n";
  for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
    configuration << "  " << kind << "_temp_path " << prefix << '/' << kind << ";\n";
  configuration << "  server {\n    listen " << place << (selfSigned ? " ssl" : "") << ";\n";
  if (selfSigned)
    configuration << "    ssl_certificate " << certificate << ".pem;\n    ssl_certificate_key " << certificate
                  << ".key;\n";
  configuration
      << "    root " << folder
      << ";\n    dav_methods PUT;\n    create_full_put_path on;\n    client_max_body_size 0;\n  }\n}\n";
  configuration.close();

  server->process_ = std::make_unique<ServerProcess>(
      std::vector<std::string>{program, "-p", prefix, "-c", file, "-e", "stderr"});
  // Printed when the server listens already: a client can connect from then on.
  if (!server->process_->waitForLine("getrlimit(RLIMIT_NOFILE)")) return nullptr;
  return server;
}

bool NginxServer::makeCertificate(const std::string& file) const {
  constexpr const char* program = "/usr/bin/openssl";
  if (::access(program, X_OK) != 0) return false;
  ServerProcess maker({program, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                       "-nodes", "-days", "2", "-subj", "/CN=" + host_, "-addext",
                       "subjectAltName=IP:" + host_, "-keyout", file + ".key", "-out", file + ".pem"});
  static_cast<void>(maker.waitForLine("a line that it never prints"));  // until it ends
  return ::access((file + ".pem").c_str(), R_OK) == 0;
}

}  // namespace ZelmoraTevra
