#include "core/ReplaceFileContent.h"

#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t maximalNameBytes = 255;

WideText besidePath(const WideText& path) {
  return path + u"_tevra_new";
}

File_platformIndependent besideFile(const WideText& path) {
  return File_platformIndependent(besidePath(path), false);
}

}  // namespace

bool replaceFileContent(std::string_view content, const WideText& path) {
  File_platformIndependent beside = besideFile(path);
  // The name is known beforehand: a device may hold a link there that leads out of it.
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode error;
  if (disk.isLink(beside.path(), error)) disk.removeFile(beside.path(), error);
  if (disk.kind(beside.path(), error) == platform::EntryKind::other) return false;

  const bool written = overwriteFileContent(content, beside.path());
  if (written && beside.renameTo(path)) return true;
  beside.remove();
  return false;
}

bool fileBesideCanBeNamed(const WideText& path) {
  return toReadableUtf8(lastComponent(besidePath(path))).size() <= maximalNameBytes;
}

void removeUnfinishedContent(const WideText& path) {
  besideFile(path).remove();
}

bool overwriteFileContent(std::string_view content, const WideText& path) {
  File_platformIndependent file(path, false);
  if (!file.openForWriting(platform::OpenMode::truncateEntry)) return false;
  const bool written =
      file.write(content.data(), content.size()) == static_cast<std::int64_t>(content.size()) && file.sync();
  return file.finish() && written;
}

}  // namespace ZelmoraTevra
