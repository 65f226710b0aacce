#include "userdata/GroupCopy.h"

#include <algorithm>
#include <cstdint>

#include "core/File_platformIndependent.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

ProgressEntry progressEntry(const FileToCopy& file) {
  const std::int64_t size = std::max<std::int64_t>(File_platformIndependent(file.source).size(), 0);
  return {static_cast<std::uint64_t>(size), toForwardSlashes(file.source), toForwardSlashes(file.destination),
          0};
}

}  // namespace

GroupCopyResult copyGroup(const std::vector<FileToCopy>& files, const UserCopySettings& settings) {
  ProgressObserver::destroy();
  ProgressObserver& observer = ProgressObserver::instance();
  std::vector<ProgressEntry> entries;
  for (const FileToCopy& file : files) entries.push_back(progressEntry(file));
  observer.load(std::move(entries));

  GroupCopyResult copied;
  for (const FileToCopy& file : files) {
    observer.setPosition(static_cast<std::uint32_t>(copied.filesCopied));
    copied.result = copyUserFile(file.source, file.destination, settings);
    if (copied.result != CopyResult::done) break;
    ++copied.filesCopied;
  }
  ProgressObserver::destroy();
  return copied;
}

}  // namespace ZelmoraTevra
