#include "core/ReplaceDeviceFile.h"

#include <algorithm>
#include <vector>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t blockBytes = 1 << 18;
constexpr WideView unfinishedEnding = u"_new";

// Different for each call of a process, and for most processes.
WideText uniqueNumber() {
  static std::uint32_t counter = 0;
  return numberText(platform::machine().clock->tickMilliseconds()) + numberText(counter++);
}

bool renameFile(const WideText& from, const WideText& to, WideView logName) {
  if (File_platformIndependent(from, false).renameTo(to)) return true;
  writeLog(WideText(logName) + u": rename from " + from + u" to " + to + u" fail!");
  return false;
}

void syncFolderOf(const WideText& path) {
  platform::ErrorCode error;
  platform::machine().files->syncFolder(parentFolder(path), error);
}

bool isNumber(WideView text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; });
}

// A later set-aside file has the larger number: longer, or later in the order of the digits.
bool isOlder(const WideText& left, const WideText& right) {
  return left.size() != right.size() ? left.size() < right.size() : left < right;
}

}  // namespace

bool replaceDeviceFile(const WideText& source, const WideText& destination, WideView logName) {
  if (!File_platformIndependent(source).exists()) return false;
  File_platformIndependent target(destination);
  File_platformIndependent unfinished(target.path() + WideText(unfinishedEnding));
  const WideText number = uniqueNumber();
  File_platformIndependent setAside(target.path() + number);

  const bool hadOld = target.exists();
  if (hadOld && !renameFile(target.path(), setAside.path(), logName)) return false;

  if (copyFileContent(source, unfinished.path(), true) && unfinished.renameTo(target.path())) {
    syncFolderOf(target.path());
    setAside.remove();
    return true;
  }
  unfinished.remove();
  if (hadOld) renameFile(setAside.path(), target.path(), logName);
  return false;
}

void recoverDeviceFile(const WideText& path) {
  File_platformIndependent target(path);
  const WideText beginning = lastComponent(target.path());
  std::vector<WideText> paths;
  if (!Directory_new(parentFolder(target.path())).files(paths, false)) return;

  std::vector<WideText> setAside;
  for (const WideText& found : paths) {
    const WideText name = lastComponent(found);
    if (!name.starts_with(beginning)) continue;
    const WideView ending = WideView(name).substr(beginning.size());
    if (ending == unfinishedEnding) File_platformIndependent(found).remove();
    if (isNumber(ending)) setAside.push_back(found);
  }
  if (setAside.empty() || target.exists()) return;
  const WideText newest = *std::max_element(setAside.begin(), setAside.end(), isOlder);
  renameFile(newest, target.path(), u"Device file");
}

bool copyFileContent(const WideText& source, const WideText& destination, bool toMedium) {
  File_platformIndependent from(source);
  File_platformIndependent to(destination);
  const std::int64_t size = from.size();
  if (size < 0 || !from.open() || !to.openForWriting(platform::OpenMode::truncate)) return false;

  std::vector<char> block(static_cast<std::size_t>(std::clamp<std::int64_t>(size, 1, blockBytes)));
  std::int64_t copied = 0;
  for (;;) {
    std::int64_t count = 0;
    from.read(block.data(), block.size(), count);
    if (count <= 0) break;
    if (to.write(block.data(), static_cast<std::size_t>(count)) != count) return false;
    copied += count;
  }
  if (copied != size) return false;
  if (toMedium && !to.sync()) return false;
  return to.finish();
}

}  // namespace ZelmoraTevra
