#pragma once

#include <boost/system/error_code.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// One character for each byte: what a server sends, and the socket library's error texts, may be in any
// encoding or in none.
[[nodiscard]] WideText widenBytes(std::string_view bytes);

// The first line of a reply.
struct HttpStatusLine {
  bool usable = false;   // three parts, of which the first begins with "HTTP/" and the second is a number
  std::string protocol;  // first five characters of the line's first word, as sent
  unsigned code = 0;     // 0 if none was read
};

// One connection to a web server or a proxy on a blocking socket. There are no time-outs: an operation takes
// as long as the other side. Every operation throws boost::system::system_error when the socket fails or the
// connection ends too early. A reply's head may have at most 768 KiB, so that memory stays small whatever is
// sent.
class HttpConnection {
 public:
  static constexpr std::size_t minimalReceive = 131'072;  // bytes, but at the end

  // Tries all addresses of the host. The port may be the name of a service.
  HttpConnection(const std::string& host, const std::string& port);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  // True for the error of a port that is no number and no known service.
  [[nodiscard]] static bool isServiceNotFound(const boost::system::error_code& error);

  void send(std::string_view bytes);

  // The two parts of a reply's head, to be read in this order. The headers' content is passed over: the end
  // of the connection is the end of the data.
  [[nodiscard]] HttpStatusLine readStatusLine();
  void readHeaders();

  // What has arrived behind the head and hasn't been dropped. Valid until the next operation.
  [[nodiscard]] std::string_view received() const;
  void dropReceived();
  // Adds to what has been received, which must have been dropped: at least 131,072 and at most 524,288
  // bytes, fewer only at the end. Gives their number, 0 at the end.
  std::size_t receive();

 private:
  struct Socket;

  std::unique_ptr<Socket> socket_;
};

}  // namespace ZelmoraTevra
