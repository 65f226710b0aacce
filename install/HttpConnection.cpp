#include "install/HttpConnection.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/asio/write.hpp>
#include <sstream>

namespace ZelmoraTevra {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

// One receive takes up to this. The socket library's own way takes 65,536 bytes at a time, and the large job
// then takes 3 % longer.
constexpr std::size_t maximalReceive = 524'288;
constexpr std::size_t maximalHead = 262'144;

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headEnd = "\r\n\r\n";

}  // namespace

WideText widenBytes(std::string_view bytes) {
  WideText text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return text;
}

struct HttpConnection::Socket {
  asio::io_service service;
  tcp::socket socket{service};
  asio::streambuf buffer{maximalHead + maximalReceive};
  error_code error;  // the first one of the receive loop

  [[nodiscard]] std::string_view buffered() const {
    const auto bytes = buffer.data();
    return {static_cast<const char*>(bytes.data()), bytes.size()};
  }
};

HttpConnection::HttpConnection(const std::string& host, const std::string& port)
    : socket_(std::make_unique<Socket>()) {
  tcp::resolver resolver(socket_->service);
  error_code error = asio::error::host_not_found;
  for (const auto& entry : resolver.resolve(host, port, tcp::resolver::address_configured)) {
    error_code ignored;
    socket_->socket.close(ignored);
    socket_->socket.connect(entry.endpoint(), error);
    if (!error) break;
  }
  if (error) throw boost::system::system_error(error);
  // Room for whole receives from the first one on; the library would begin with small ones.
  socket_->buffer.prepare(maximalReceive);
}

HttpConnection::~HttpConnection() = default;

bool HttpConnection::isServiceNotFound(const error_code& error) {
  return error == asio::error::service_not_found;
}

void HttpConnection::send(std::string_view bytes) {
  asio::write(socket_->socket, asio::buffer(bytes.data(), bytes.size()));
}

HttpStatusLine HttpConnection::readStatusLine() {
  const std::size_t length = asio::read_until(socket_->socket, socket_->buffer, std::string(lineEnd));
  std::istringstream line(std::string(socket_->buffered().substr(0, length)));
  std::string protocol;
  std::string message;
  HttpStatusLine status;
  line >> protocol >> status.code;
  std::getline(line, message);
  status.protocol = protocol.substr(0, 5);
  status.usable = line && status.protocol == "HTTP/";
  // The line's end stays: with a reply without headers it is a part of the head's end.
  socket_->buffer.consume(length - lineEnd.size());
  return status;
}

void HttpConnection::readHeaders() {
  asio::read_until(socket_->socket, socket_->buffer, std::string(headEnd));
  // A line that is only a carriage return ends the head, also behind a bare line feed.
  constexpr std::string_view emptyLine = "\n\r\n";
  socket_->buffer.consume(socket_->buffered().find(emptyLine) + emptyLine.size());
}

std::string_view HttpConnection::received() const {
  return socket_->buffered();
}

void HttpConnection::dropReceived() {
  socket_->buffer.consume(socket_->buffer.size());
}

std::size_t HttpConnection::receive() {
  std::size_t count = 0;
  // What came before an error is handed out first; the error ends the loop at the next call.
  if (!socket_->error) {
    const auto most = [](const error_code& error, std::size_t received) {
      return error || received >= minimalReceive ? 0 : maximalReceive;
    };
    count = asio::read(socket_->socket, socket_->buffer.prepare(maximalReceive), most, socket_->error);
    socket_->buffer.commit(count);
  }
  if (count == 0 && socket_->error != asio::error::eof) throw boost::system::system_error(socket_->error);
  return count;
}

}  // namespace ZelmoraTevra
