#pragma once

#include <string>

#include "install/HttpConnection.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// Asks the proxy at the other end of a connection for a tunnel to a host, and leaves the connection at the
// tunnel's beginning. All texts are UTF-8; an empty port, user or password is left out. False after a report
// with `downloadOffset`; throws as the connection does.
[[nodiscard]] bool proxyConnect(HttpConnection& connection, const std::string& host, const std::string& port,
                                const std::string& user, const std::string& password,
                                const WideText& downloadOffset);

}  // namespace ZelmoraTevra
