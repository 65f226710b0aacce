#include "core/Digest.h"

#include <algorithm>
#include <vector>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/MD5.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t chunkBytes = 262'144;  // stays in the processor's cache; 1 MiB takes 3 % longer

enum class From { memoryOrMedium, medium };

WideText digest(const WideText& path, std::uint64_t limit, std::size_t chunk, WideView errorEnd,
                From from = From::memoryOrMedium) {
  File_platformIndependent file(path, false);
  const std::int64_t size = file.size();
  if (size < 0 || !file.open()) return {};
  if (from == From::medium) file.forgetCached();

  setup2::MD5 md5;
  std::uint64_t left = std::min(static_cast<std::uint64_t>(size), limit);
  std::vector<unsigned char> buffer(static_cast<std::size_t>(std::min<std::uint64_t>(left, chunk)));
  while (left > 0) {
    std::int64_t count = 0;
    file.read(buffer.data(), static_cast<std::size_t>(std::min<std::uint64_t>(left, chunk)), count);
    if (count <= 0) {
      writeLog(u"Error on reading " + path + WideText(errorEnd));
      return {};
    }
    md5.add(buffer.data(), static_cast<std::size_t>(count));
    left -= static_cast<std::uint64_t>(count);
  }
  md5.finish();
  return md5.text();
}

}  // namespace

WideText fileDigest(const WideText& path) {
  return digest(path, UINT64_MAX, chunkBytes, u"!!!");
}

WideText fileDigestOnMedium(const WideText& path) {
  return digest(path, UINT64_MAX, chunkBytes, u"!!!", From::medium);
}

WideText fileStartDigest(const WideText& path, std::uint64_t bytes, std::size_t chunk) {
  return digest(path, bytes, chunk, u"!");
}

}  // namespace ZelmoraTevra
