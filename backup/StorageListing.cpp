#include "backup/StorageListing.h"

#include <algorithm>
#include <utility>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView configurationName = u".DeviceConfigurationBackupFile";

bool isTaken(WideView name) {
  return !name.starts_with(u'.') || name == configurationName;
}

// A device takes a name without the dots and blanks at its end, so that of blanks alone nothing is left.
bool canBeRestored(WideView name) {
  return name.find_first_not_of(u". ") != WideView::npos;
}

bool holdsOneOf(const WideText& path, const std::vector<WideText>& fragments) {
  return std::any_of(fragments.begin(), fragments.end(),
                     [&](const WideText& fragment) { return path.find(fragment) != WideText::npos; });
}

bool isPersonal(const WideText& path, const PersonalFilter& filter) {
  return holdsOneOf(path, filter.files) || holdsOneOf(path, filter.folders);
}

bool failAt(const WideText& path) {
  writeLog(u"File not exist! " + path);
  return false;
}

}  // namespace

bool listStorage(const WideText& folder, const PersonalFilter* filter, BackupFiles& files) {
  std::vector<WideText> pending{toBackslashes(folder)};
  std::vector<platform::FolderEntry> entries;
  while (!pending.empty()) {
    const WideText parent = std::move(pending.back());
    pending.pop_back();
    entries.clear();
    platform::ErrorCode error;
    if (!platform::machine().files->list(parent, entries, error)) return failAt(parent);
    for (const platform::FolderEntry& entry : entries) {
      if (!isTaken(entry.name)) continue;
      WideText path = parent + u'\\' + entry.name;
      if (entry.kind != platform::EntryKind::other && !canBeRestored(entry.name)) return failAt(path);
      if (entry.kind == platform::EntryKind::folder) {
        pending.push_back(std::move(path));
        continue;
      }
      if (entry.kind != platform::EntryKind::file || (filter != nullptr && !isPersonal(path, *filter)))
        continue;
      const std::int64_t size = File_platformIndependent(path, false).size();
      if (size < 0) return failAt(path);
      files.insert_or_assign(path, BackupFileEntry{path, static_cast<std::uint64_t>(size)});
    }
  }
  return true;
}

std::uint64_t sumOfSizes(const BackupFiles& files) {
  std::uint64_t sum = 0;
  for (const auto& [key, file] : files) sum += file.size;
  return sum;
}

}  // namespace ZelmoraTevra
