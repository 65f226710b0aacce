// Deflated data are unpacked in small pieces, each in memory of its own, and give what zlib makes of them.
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "install/Inflater.h"
#include "tests/fuzz/Must.h"

namespace {

constexpr std::size_t limit = 1 << 20;

// Empty if the data are damaged or cut short.
std::string unpackedByZlib(std::string_view data) {
  std::string text(limit, '\0');
  z_stream stream{};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) std::abort();
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(text.size());
  const bool whole = inflate(&stream, Z_FINISH) == Z_STREAM_END;
  text.resize(whole ? limit - stream.avail_out : 0);
  inflateEnd(&stream);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  if (size < 2) return 0;
  // The first two bytes choose the pieces.
  const std::size_t offered = 1 + data[0] * std::size_t{17};
  const std::size_t room = 1 + data[1] * std::size_t{313};
  std::string_view left(reinterpret_cast<const char*>(data) + 2, size - 2);
  const std::string expected = unpackedByZlib(left);

  Inflater inflater;
  std::string text;
  while (inflater.state() == Inflater::State::unpacking && text.size() < limit) {
    const std::vector<char> piece(left.begin(),
                                  left.begin() + static_cast<std::ptrdiff_t>(std::min(offered, left.size())));
    std::vector<char> output(std::min(room, limit - text.size()));
    std::string_view input(piece.data(), piece.size());
    const std::size_t count = inflater.unpack(input, output.data(), output.size());
    text.append(output.data(), count);
    left.remove_prefix(piece.size() - input.size());
    if (count == 0 && input.size() == piece.size()) break;
  }
  must(expected.empty() || (text == expected && inflater.state() == Inflater::State::atEnd));
  return 0;
}
