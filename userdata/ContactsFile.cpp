#include "userdata/ContactsFile.h"

#include <algorithm>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/ReplaceFileContent.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView folderBelowStorage = u"ZELMORA\\Contacts";
constexpr WideView fileBelowStorage = u"ZELMORA\\Contacts\\contacts.txt";

std::optional<std::string> readUpTo(std::int64_t maximalBytes, const WideText& path) {
  File_platformIndependent file(path, false);
  if (!file.open()) return std::nullopt;
  const std::int64_t size = file.openSize();
  if (size < 0 || size > maximalBytes) return std::nullopt;
  std::string content(static_cast<std::size_t>(size), '\0');
  if (content.empty()) return content;
  std::int64_t count = 0;
  file.read(content.data(), content.size(), count);
  if (count != size) return std::nullopt;
  return content;
}

}  // namespace

ContactsFile::ContactsFile(WideText storage) : storage_(std::move(storage)) {}

bool ContactsFile::deviceTakesContacts() const {
  if (Directory_new(storage_).takesWrites()) return true;
  ErrorReport(1282, u"Flash cannot be accessed. Was it ejected or is it write protected?")
      .description(storage_)
      .save();
  return false;
}

std::int64_t ContactsFile::size() const {
  const std::optional<WideText> path = PathBelowRoot(storage_).joinExisting(WideText(fileBelowStorage));
  return path ? std::max<std::int64_t>(File_platformIndependent(*path, false).size(), 0) : 0;
}

std::optional<std::string> ContactsFile::read() const {
  const std::optional<WideText> path = PathBelowRoot(storage_).joinExisting(WideText(fileBelowStorage));
  if (!path) return std::nullopt;
  std::optional<std::string> content = readUpTo(maximalBytes, *path);
  if (!content) writeLog(u"The contacts file can't be read: " + *path);
  return content;
}

void ContactsFile::removeUnfinished() const {
  if (const auto folder = PathBelowRoot(storage_).join(WideText(folderBelowStorage)))
    removeUnfinishedContent(storage_ + u'\\' + WideText(fileBelowStorage));
}

bool ContactsFile::replace(const std::string& content) const {
  const std::optional<WideText> folder = PathBelowRoot(storage_).join(WideText(folderBelowStorage));
  if (!folder || !Directory_new(*folder).create()) return false;
  const WideText path = storage_ + u'\\' + WideText(fileBelowStorage);
  File_platformIndependent old(path, false);
  const std::int64_t oldSize = size();
  if (oldSize > 0) old.clearMarks();
  const std::int64_t freeBytes = Directory_new(storage_).freeSpace();
  // Room of which nothing can be learned is no reason to give up the old file.
  const bool hasRoomForBoth =
      oldSize == 0 || freeBytes < 0 || freeBytes >= static_cast<std::int64_t>(content.size());
  const bool replaced =
      hasRoomForBoth ? replaceFileContent(content, path) : overwriteFileContent(content, path);
  // Half a list would pass for the user's whole one.
  if (!replaced && !hasRoomForBoth) old.remove();
  return replaced && Directory_new(*folder).syncEntries();
}

}  // namespace ZelmoraTevra
