#include "tests/support/ScriptedServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace ZelmoraTevra {

namespace {

bool sendAll(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Empty if the client goes away before the head is complete.
std::string receiveHead(int connection) {
  std::string head;
  char byte = 0;
  // Byte by byte, so that nothing of a following request is taken.
  while (!head.ends_with("\r\n\r\n")) {
    if (::recv(connection, &byte, 1, 0) != 1) return {};
    head += byte;
  }
  return head;
}

std::string receiveBody(int connection, const std::string& head, std::size_t limit) {
  constexpr std::string_view name = "Content-Length: ";
  const std::size_t position = head.find(name);
  if (position == std::string::npos) return {};
  const std::size_t length = std::strtoull(head.c_str() + position + name.size(), nullptr, 10);
  if (limit > 0 && head.find("Expect: 100-continue") != std::string::npos)
    sendAll(connection, "HTTP/1.1 100 Continue\r\n\r\n");
  std::string body(std::min(length, limit), '\0');
  std::size_t taken = 0;
  while (taken < body.size()) {
    const ssize_t count = ::recv(connection, body.data() + taken, body.size() - taken, 0);
    if (count <= 0) break;
    taken += static_cast<std::size_t>(count);
  }
  body.resize(taken);
  return body;
}

// An unread byte would turn the end of the connection into a reset.
void closeInOrder(int connection) {
  ::shutdown(connection, SHUT_WR);
  char ignored[4096];
  while (::recv(connection, ignored, sizeof ignored, 0) > 0) {
  }
}

void resetAtClose(int connection) {
  const linger atOnce{1, 0};
  ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

}  // namespace

std::unique_ptr<ScriptedServer> ScriptedServer::start(Script script, std::uint16_t port) {
  LoopbackListener listener(port);
  if (!listener.isOpen()) return nullptr;
  return std::unique_ptr<ScriptedServer>(new ScriptedServer(std::move(listener), std::move(script)));
}

std::unique_ptr<ScriptedServer> ScriptedServer::start(std::vector<Reply> replies, std::uint16_t port) {
  auto script = [replies = std::move(replies), next = std::size_t{0}](const std::string&) mutable {
    const Reply& reply = replies[next];
    if (next + 1 < replies.size()) ++next;
    return reply;
  };
  return start(Script(std::move(script)), port);
}

ScriptedServer::ScriptedServer(LoopbackListener listener, Script script)
    : listener_(std::move(listener)), script_(std::move(script)), thread_([this] { serve(); }) {}

ScriptedServer::~ScriptedServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    ::shutdown(listener_.descriptor(), SHUT_RDWR);
    if (connection_ >= 0) ::shutdown(connection_, SHUT_RDWR);
  }
  thread_.join();
}

std::vector<std::string> ScriptedServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<std::string> ScriptedServer::bodies() const {
  const std::lock_guard lock(mutex_);
  return bodies_;
}

void ScriptedServer::serve() {
  for (;;) {
    const int connection = ::accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return;
    if (keep(connection)) answerRequests(connection);
    const std::lock_guard lock(mutex_);
    ::close(connection);
    connection_ = -1;
  }
}

bool ScriptedServer::keep(int connection) {
  const std::lock_guard lock(mutex_);
  connection_ = connection;
  return !stopping_;
}

void ScriptedServer::answerRequests(int connection) {
  for (;;) {
    const std::string request = receiveHead(connection);
    if (request.empty()) return;
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    const Reply reply = script_(request);
    std::string body = receiveBody(connection, request, reply.bodyBytes);
    {
      const std::lock_guard lock(mutex_);
      bodies_.push_back(std::move(body));
    }
    bool sent = sendAll(connection, reply.bytes);
    while (sent && !reply.repeated.empty()) sent = sendAll(connection, reply.repeated);
    if (reply.end == End::reset) resetAtClose(connection);
    if (reply.end == End::close) closeInOrder(connection);
    if (reply.end != End::nextRequest) return;
  }
}

std::string wholeReply(std::string_view body) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

std::string rangeReply(const std::string& request, std::string_view content) {
  const std::size_t start = std::min(rangeStart(request), content.size());
  const std::string_view rest = content.substr(start);
  return "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(start) + "-" +
         std::to_string(content.size() - 1) + "/" + std::to_string(content.size()) +
         "\r\nContent-Length: " + std::to_string(rest.size()) + "\r\n\r\n" + std::string(rest);
}

std::size_t rangeStart(const std::string& request) {
  constexpr std::string_view name = "Range: bytes=";
  const std::size_t position = request.find(name);
  if (position == std::string::npos) return 0;
  return std::strtoull(request.c_str() + position + name.size(), nullptr, 10);
}

}  // namespace ZelmoraTevra
