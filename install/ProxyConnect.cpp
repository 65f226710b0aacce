#include "install/ProxyConnect.h"

#include "core/Base64.h"
#include "core/ErrorReport.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

constexpr std::uint64_t failedPercent = 103;

std::string connectRequest(const std::string& host, const std::string& port, const std::string& user,
                           const std::string& password) {
  std::string request = "CONNECT " + host;
  if (!port.empty()) request += ':' + port;
  request += " HTTP/1.0\r\n";
  if (!user.empty() && !password.empty()) {
    const std::string credentials = encodeBase64(user + ':' + password);
    if (credentials.size() > 1) request += "Proxy-Authorization: Basic " + credentials;
  }
  // Ends the header line and the head. Without a header the head has an empty line more than it needs.
  return request + "\r\n\r\n";
}

}  // namespace

bool proxyConnect(HttpConnection& connection, const std::string& host, const std::string& port,
                  const std::string& user, const std::string& password, const WideText& downloadOffset) {
  connection.send(connectRequest(host, port, user, password));
  const HttpStatusLine status = connection.readStatusLine();
  const WideText target = toWide(std::string("[").append(host).append(":").append(port).append("]"));
  if (!status.usable) {
    ErrorReport(1141, u"Failed to connect to proxy!")
        .state(statConnectionLost)
        .percent(failedPercent)
        .description(u"Expected \"HTTP/\" protocol support instead of [" + widenBytes(status.protocol) +
                     u"] from proxy: " + target)
        .attribute(u"downloadPackageOffset", downloadOffset)
        .save();
    return false;
  }
  if (status.code != 200 && status.code != 206) {
    ErrorReport(1142, numberText(status.code))
        .state(statConnectionLost)
        .percent(failedPercent)
        .description(u"Proxy " + target + u" returned error status code: " + numberText(status.code))
        .attribute(u"downloadPackageOffset", downloadOffset)
        .save();
    return false;
  }
  connection.readHeaders();
  // Nothing has been asked of the server yet, so what came with the proxy's head is no part of its reply.
  connection.dropReceived();
  return true;
}

}  // namespace ZelmoraTevra
