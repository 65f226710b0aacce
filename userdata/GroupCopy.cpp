#include "userdata/GroupCopy.h"

#include <algorithm>
#include <cstdint>

#include "core/File_platformIndependent.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "userdata/FileCopy.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t blockBytes = 0x40000;

ProgressEntry progressEntry(const FileToCopy& file) {
  const std::int64_t size = std::max<std::int64_t>(File_platformIndependent(file.source).size(), 0);
  return {static_cast<std::uint64_t>(size), toForwardSlashes(file.source), toForwardSlashes(file.destination),
          0};
}

}  // namespace

CopyResult copyGroup(const std::vector<FileToCopy>& files, Status state) {
  ProgressObserver::destroy();
  ProgressObserver& observer = ProgressObserver::instance();
  std::vector<ProgressEntry> entries;
  for (const FileToCopy& file : files) entries.push_back(progressEntry(file));
  observer.load(std::move(entries));

  CopyResult result = CopyResult::done;
  for (std::uint32_t index = 0; index < files.size() && result == CopyResult::done; ++index) {
    observer.setPosition(index);
    result = copyUserFile(files[index].source, files[index].destination, blockBytes, state);
  }
  ProgressObserver::destroy();
  return result;
}

}  // namespace ZelmoraTevra
