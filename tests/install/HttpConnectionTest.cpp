#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>

#include "install/HttpConnection.h"
#include "tests/support/ScriptedServer.h"

namespace ZelmoraTevra {

namespace {

constexpr std::uint16_t anyPort = 0;

// A connection to a server that has answered with these bytes.
class Answer {
 public:
  explicit Answer(ScriptedServer::Reply reply)
      : server_(ScriptedServer::start({std::move(reply)}, anyPort)),
        connection(server_->host(), std::to_string(server_->port())) {
    connection.send("GET / HTTP/1.1\r\n\r\n");
  }
  explicit Answer(const std::string& bytes) : Answer(ScriptedServer::Reply{bytes}) {}

 private:
  std::unique_ptr<ScriptedServer> server_;

 public:
  HttpConnection connection;
};

HttpStatusLine statusLineOf(const std::string& bytes) {
  return Answer(bytes).connection.readStatusLine();
}

// Head and body, until the server ends.
std::string bodyOf(const std::string& bytes) {
  Answer answer(bytes);
  EXPECT_TRUE(answer.connection.readStatusLine().usable);
  answer.connection.readHeaders();
  std::string body(answer.connection.received());
  answer.connection.dropReceived();
  while (answer.connection.receive() > 0) {
    body += answer.connection.received();
    answer.connection.dropReceived();
  }
  return body;
}

}  // namespace

TEST(HttpConnectionTest, ReadsTheStatusLine) {
  const HttpStatusLine status = statusLineOf("HTTP/1.1 206 Partial Content\r\n\r\n");
  EXPECT_TRUE(status.usable);
  EXPECT_EQ(status.protocol, "HTTP/");
  EXPECT_EQ(status.code, 206U);
  EXPECT_TRUE(statusLineOf("HTTP/1.0 404\r\n").usable);
}

TEST(HttpConnectionTest, TellsAnUnusableStatusLine) {
  EXPECT_EQ(statusLineOf("ICY 200 OK\r\n").protocol, "ICY");
  for (const char* line :
       {"ICY 200 OK\r\n", "\r\n", "HTTP/1.1\r\n", "HTTP/1.1 abc\r\n", "HTTP/1.1 \r\n200 OK\r\n",
        "http/1.1 200 OK\r\n", "HTTP/1.1 99999999999999999999 OK\r\n", "200 OK\r\n"})
    EXPECT_FALSE(statusLineOf(line).usable) << line;
  EXPECT_EQ(statusLineOf("HTTP/1.1 abc\r\n").code, 0U);
}

TEST(HttpConnectionTest, HandsOutTheBodyBehindTheHead) {
  EXPECT_EQ(bodyOf("HTTP/1.1 200 OK\r\nServer: a\r\nContent-Length: 2\r\n\r\nbody"), "body");
  EXPECT_EQ(bodyOf("HTTP/1.1 200 OK\r\n\r\nbody\r\n\r\nmore"), "body\r\n\r\nmore");
  EXPECT_EQ(bodyOf("HTTP/1.1 200 OK\r\nno header\r\n: \r\n\r\n\r\n"), "\r\n");
  EXPECT_EQ(bodyOf("HTTP/1.1 200 OK\r\nServer: a\n\r\nbody\r\n\r\n"), "body\r\n\r\n");
  EXPECT_EQ(bodyOf("HTTP/1.1 200 OK\r\n\r\n"), "");
}

TEST(HttpConnectionTest, HandsOutALongBodyInBoundedPieces) {
  const std::string content(3'000'000, 'x');
  Answer answer("HTTP/1.1 200 OK\r\n\r\n" + content);
  EXPECT_TRUE(answer.connection.readStatusLine().usable);
  answer.connection.readHeaders();
  std::size_t total = answer.connection.received().size();
  answer.connection.dropReceived();
  for (;;) {
    const std::size_t count = answer.connection.receive();
    if (count == 0) break;
    EXPECT_EQ(count, answer.connection.received().size());
    EXPECT_LE(count, 524'288U);
    total += count;
    EXPECT_TRUE(count >= 131'072U || total == content.size());
    answer.connection.dropReceived();
  }
  EXPECT_EQ(total, content.size());
  EXPECT_EQ(answer.connection.receive(), 0U);
}

TEST(HttpConnectionTest, AnEndWithinTheHeadIsAnError) {
  EXPECT_THROW(statusLineOf("HTTP/1.1 200 OK\r"), boost::system::system_error);
  EXPECT_THROW(bodyOf("HTTP/1.1 200 OK\r\nServer: a\r\n"), boost::system::system_error);
}

TEST(HttpConnectionTest, AHeadWithoutAnEndIsGivenUp) {
  EXPECT_THROW((void)Answer(ScriptedServer::Reply{"HTTP/1.1 200 ", "a"}).connection.readStatusLine(),
               boost::system::system_error);
  Answer headers(ScriptedServer::Reply{"HTTP/1.1 200 OK\r\n", "Name: value\r\n"});
  EXPECT_TRUE(headers.connection.readStatusLine().usable);
  EXPECT_THROW(headers.connection.readHeaders(), boost::system::system_error);
}

TEST(HttpConnectionTest, AResetIsAnErrorBehindWhatCameBefore) {
  Answer answer(ScriptedServer::Reply{"HTTP/1.1 200 OK\r\n\r\n", "", ScriptedServer::End::reset});
  const auto readAll = [&answer] {
    EXPECT_TRUE(answer.connection.readStatusLine().usable);
    answer.connection.readHeaders();
    answer.connection.dropReceived();
    while (answer.connection.receive() > 0) answer.connection.dropReceived();
  };
  EXPECT_THROW(readAll(), boost::system::system_error);
}

TEST(HttpConnectionTest, NobodyListeningIsAnError) {
  LoopbackListener listener(anyPort);
  listener.close();
  EXPECT_THROW(HttpConnection(listener.host(), std::to_string(listener.port())), boost::system::system_error);
}

TEST(HttpConnectionTest, APortThatIsNoServiceIsToldApart) {
  try {
    const HttpConnection connection("127.0.0.1", "no-such-service");
    ADD_FAILURE();
  } catch (const boost::system::system_error& error) {
    EXPECT_TRUE(HttpConnection::isServiceNotFound(error.code()));
  }
}

TEST(HttpConnectionTest, BytesBecomeOneCharacterEach) {
  EXPECT_EQ(widenBytes("a\xFF\xC3"), u"a\u00FF\u00C3");
}

}  // namespace ZelmoraTevra
