#include "install/CheckFile.h"

#include "core/BackendLogger.h"
#include "core/Digest.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"

namespace ZelmoraTevra {

std::int64_t sizeOfOpenedFile(const WideText& path) {
  File_platformIndependent file(path);
  return file.open() ? file.openSize() : -1;
}

bool checkSize(const WideText& path, std::int64_t size) {
  const std::int64_t found = sizeOfOpenedFile(path);
  return found >= 0 && static_cast<std::uint32_t>(found) == static_cast<std::uint32_t>(size);
}

bool checkDigest(const WideText& computed, const WideText& expected) {
  const WideText wanted = toUpperAscii(expected);
  // A file that could not be read to its end has no digest, and is never the one that was expected.
  if (!computed.empty() && computed == wanted) return true;
  writeLog(u"MD5 NOT agree!!! ");
  writeLog(u"Server MD5: " + wanted);
  writeLog(u"Computed MD5: " + computed);
  return false;
}

bool checkFile(const WideText& path, std::int64_t size, const WideText& md5) {
  return checkSize(path, size) && checkDigest(fileDigest(path), md5);
}

}  // namespace ZelmoraTevra
