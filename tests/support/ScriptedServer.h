#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/LoopbackListener.h"

namespace ZelmoraTevra {

// A web server or proxy that answers each request with bytes of the test's choice, one connection after the
// other, in a thread of its own. It stops at the end of the scope, also in the middle of a reply.
class ScriptedServer {
 public:
  enum class End {
    close,        // in order, when everything has been sent
    reset,        // as a server does that breaks down
    nextRequest,  // the connection stays for another request
  };
  struct Reply {
    std::string bytes;
    std::string repeated = {};  // sent behind the bytes, again and again until the client goes away
    End end = End::close;
    std::size_t bodyBytes = 0;  // so much of the request's body is taken before the reply
  };
  static constexpr std::size_t wholeBody = SIZE_MAX;
  // Called in the server's thread with a request's head.
  using Script = std::function<Reply(const std::string& request)>;

  // Null if this process may not listen on the port.
  [[nodiscard]] static std::unique_ptr<ScriptedServer> start(Script script, std::uint16_t port = 80);
  // One reply for each request; the last one stays.
  [[nodiscard]] static std::unique_ptr<ScriptedServer> start(std::vector<Reply> replies,
                                                             std::uint16_t port = 80);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  [[nodiscard]] const std::string& host() const { return listener_.host(); }
  [[nodiscard]] std::uint16_t port() const { return listener_.port(); }
  // The heads of all requests so far, as sent.
  [[nodiscard]] std::vector<std::string> requests() const;
  // What was taken of their bodies, one for each request that has been answered.
  [[nodiscard]] std::vector<std::string> bodies() const;

 private:
  ScriptedServer(LoopbackListener listener, Script script);
  void serve();
  void answerRequests(int connection);
  [[nodiscard]] bool keep(int connection);

  LoopbackListener listener_;
  Script script_;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::vector<std::string> bodies_;
  int connection_ = -1;  // the open one
  bool stopping_ = false;
  std::thread thread_;  // the last member: it uses all others
};

// A whole reply: head and body.
[[nodiscard]] std::string wholeReply(std::string_view body);
// What a server sends that honours the range of a request: the rest of the content.
[[nodiscard]] std::string rangeReply(const std::string& request, std::string_view content);
// The first byte that a request asks for.
[[nodiscard]] std::size_t rangeStart(const std::string& request);

}  // namespace ZelmoraTevra
