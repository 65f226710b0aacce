#include <boost/system/system_error.hpp>

#include "install/ProxyConnect.h"
#include "tests/support/JobTest.h"
#include "tests/support/ScriptedServer.h"

namespace ZelmoraTevra {

namespace {

const ScriptedServer::Reply tunnel{"HTTP/1.0 200 Connection established\r\nProxy-agent: a\r\n\r\n", "",
                                   ScriptedServer::End::nextRequest};

}  // namespace

class ProxyConnectTest : public JobTest {
 protected:
  void start(std::vector<ScriptedServer::Reply> replies) {
    constexpr std::uint16_t anyPort = 0;
    proxy = ScriptedServer::start(std::move(replies), anyPort);
    connection = std::make_unique<HttpConnection>(proxy->host(), std::to_string(proxy->port()));
  }
  bool connectTo(const std::string& port, const std::string& user, const std::string& password) {
    return proxyConnect(*connection, "server", port, user, password, u"77");
  }
  // What the proxy has got, and a request behind it.
  std::string sentWith(const std::string& port, const std::string& user, const std::string& password) {
    start({tunnel, {"HTTP/1.1 200 OK\r\n\r\n"}});
    EXPECT_TRUE(connectTo(port, user, password));
    connection->send("GET\r\n\r\n");
    EXPECT_TRUE(connection->readStatusLine().usable);
    std::string sent;
    for (const std::string& request : proxy->requests()) sent += request;
    return sent;
  }

  std::unique_ptr<ScriptedServer> proxy;
  std::unique_ptr<HttpConnection> connection;
};

TEST_F(ProxyConnectTest, AsksForTheTunnelWithTheUsersName) {
  EXPECT_EQ(sentWith("80", "user", "pass"),
            "CONNECT server:80 HTTP/1.0\r\nProxy-Authorization: Basic dXNlcjpwYXNz\r\n\r\nGET\r\n\r\n");
}

TEST_F(ProxyConnectTest, LeavesTheHeaderOutWithoutAUserOrAPassword) {
  for (const auto& [user, password] : {std::pair("", ""), std::pair("user", ""), std::pair("", "pass")}) {
    EXPECT_EQ(sentWith("80", user, password), "CONNECT server:80 HTTP/1.0\r\n\r\n\r\nGET\r\n\r\n");
  }
}

TEST_F(ProxyConnectTest, LeavesAnEmptyPortOut) {
  EXPECT_EQ(sentWith("", "user", "pass"),
            "CONNECT server HTTP/1.0\r\nProxy-Authorization: Basic dXNlcjpwYXNz\r\n\r\nGET\r\n\r\n");
}

TEST_F(ProxyConnectTest, TakesTheHeadOfTheProxyAwayFromTheTunnel) {
  start({{tunnel.bytes, "", ScriptedServer::End::nextRequest}, {"HTTP/1.1 206 Partial\r\n\r\nbody"}});
  EXPECT_TRUE(connectTo("80", "user", "pass"));
  connection->send("GET\r\n\r\n");
  EXPECT_EQ(connection->readStatusLine().code, 206U);
}

TEST_F(ProxyConnectTest, AcceptsACode206) {
  start({{"HTTP/1.0 206 Partial\r\n\r\n", "", ScriptedServer::End::nextRequest}});
  EXPECT_TRUE(connectTo("80", "user", "pass"));
}

TEST_F(ProxyConnectTest, ReportsAReplyThatIsNotHttp) {
  start({{"SMTP/ hello\r\n"}});
  EXPECT_FALSE(connectTo("80", "user", "pass"));
  EXPECT_EQ(status().state, 16);
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"103", u"Failed to connect to proxy!",
                                   u"Expected \"HTTP/\" protocol support instead of [SMTP/] from proxy: "
                                   u"[server:80]"}));
  EXPECT_EQ(status().exitCode(), u"1141");
  EXPECT_EQ(status().attributes.at(u"downloadPackageOffset"), u"77");
  EXPECT_FALSE(status().attributes.contains(u"downloadPackageID"));
  EXPECT_FALSE(status().attributes.contains(u"downloadPackageSize"));
}

TEST_F(ProxyConnectTest, ReportsBytesThatAreNoText) {
  start({{"\xFF\xFE\x80zz\xC3 200 OK\r\n"}});
  EXPECT_FALSE(connectTo("80", "user", "pass"));
  EXPECT_EQ(status().exitCode(), u"1141");
  EXPECT_EQ(status().descriptions[2],
            u"Expected \"HTTP/\" protocol support instead of [\u00FF\u00FE\u0080zz] from proxy: [server:80]");
}

TEST_F(ProxyConnectTest, ReportsAStatusLineWithoutACode) {
  start({{"HTTP/1.0 none\r\n"}});
  EXPECT_FALSE(connectTo("80", "user", "pass"));
  EXPECT_EQ(status().exitCode(), u"1141");
}

TEST_F(ProxyConnectTest, ReportsARefusal) {
  start({{"HTTP/1.0 407 Proxy Authentication Required\r\n\r\n"}});
  EXPECT_FALSE(connectTo("80", "user", "pass"));
  EXPECT_EQ(status().state, 16);
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"103", u"407", u"Proxy [server:80] returned error status code: 407"}));
  EXPECT_EQ(status().exitCode(), u"1142");
  EXPECT_EQ(status().attributes.at(u"downloadPackageOffset"), u"77");
  EXPECT_FALSE(status().attributes.contains(u"downloadPackageID"));
}

TEST_F(ProxyConnectTest, ThrowsWhereTheProxyEndsWithinItsHead) {
  const std::string head = tunnel.bytes;
  for (std::size_t length = 0; length < head.size(); ++length) {
    start({{head.substr(0, length)}});
    EXPECT_THROW((void)connectTo("80", "user", "pass"), boost::system::system_error) << length;
  }
}

}  // namespace ZelmoraTevra
