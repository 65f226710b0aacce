#include "platform/AbsolutePath.h"

#include <boost/filesystem/operations.hpp>
#include <string>

#include "platform/linux/NativePath.h"

namespace ZelmoraTevra::platform {

WideText absolutePath(const WideText& path) {
  namespace fs = boost::filesystem;
  std::string native;
  boost::system::error_code error;
  if (!toNativePath(path, native, error)) return path;
  const fs::path here = fs::current_path(error);
  if (error) return path;
  const fs::path result = fs::weakly_canonical(fs::absolute(native, here), error);
  return error ? path : fromNativePath(result.native());
}

WideText absolutePathOfEntry(const WideText& path) {
  const WideView entry = withoutSeparatorsAtEnd(path);
  const std::size_t separator = entry.find_last_of(u"/\\");
  const WideText parent(separator == WideView::npos ? u"." : entry.substr(0, separator + 1));
  return absolutePath(parent).append(u"/").append(entry.substr(separator + 1));
}

}  // namespace ZelmoraTevra::platform
