#include "core/CopyFile.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

platform::FileSystem& disk() {
  return *platform::machine().files;
}

// Most places are free: to find that out in the one step of making the file costs half of what looking at the
// place first does. Opening what stands there for writing would empty the file that is to be copied, or one
// outside of a device to which a link on it leads, or feed a pipe.
bool openDestination(const File_platformIndependent& source, File_platformIndependent& destination,
                     bool isNew) {
  if (destination.openForWriting(platform::OpenMode::createNew)) return true;
  if (isNew || source.isSameAs(destination.path())) return false;
  platform::ErrorCode error;
  if (isLinkAt(destination.path()))
    disk().removeFile(destination.path(), error);
  else if (destination.isCertainlyMissing())
    return false;
  if (disk().kind(destination.path(), error) == platform::EntryKind::other) return false;
  // A link that stays is no place for the copy.
  return destination.openForWriting(platform::OpenMode::truncateEntry);
}

// By the time that the system has set up a copy of its own, so many bytes have come and gone.
constexpr std::size_t smallBytes = 0x10000;

// The number of bytes copied, 0 behind the last; -1 if they can't be written. An empty block lets the system
// copy by itself, and gets its size where it can't.
std::int64_t copyBlock(File_platformIndependent& source, File_platformIndependent& destination,
                       std::size_t blockBytes, std::vector<char>& block) {
  if (block.empty()) {
    if (const std::optional<std::int64_t> count = destination.writeFrom(source, blockBytes)) return *count;
    block.resize(blockBytes);
  }
  std::int64_t count = 0;
  source.read(block.data(), block.size(), count);
  if (count <= 0) return 0;
  return destination.write(block.data(), static_cast<std::size_t>(count)) == count ? count : -1;
}

CopyResult copyBlocks(File_platformIndependent& source, File_platformIndependent& destination,
                      const CopySettings& settings) {
  const std::int64_t size = source.openSize();
  const bool isExpected =
      !settings.expectedBytes || *settings.expectedBytes == static_cast<std::uint64_t>(size);
  if (size < 0 || !isExpected) return CopyResult::failed;
  const std::size_t blockBytes =
      std::clamp<std::size_t>(static_cast<std::size_t>(size), 1, settings.blockBytes);
  std::vector<char> block(blockBytes <= smallBytes ? blockBytes : 0);
  const bool* const abortRequested = StatusXml::instance().abortRequested();
  std::int64_t copied = 0;
  for (;;) {
    if (settings.state && *abortRequested) return CopyResult::aborted;
    const std::int64_t count = copyBlock(source, destination, blockBytes, block);
    if (count < 0) return CopyResult::failed;
    if (count == 0) break;
    copied += count;
    if (!settings.state) continue;
    // A device that has gone shows within one block, and what is told as done is on its way.
    if (!destination.flush()) return CopyResult::failed;
    ProgressObserver::instance().addProgress(static_cast<std::uint64_t>(count), *settings.state);
    StatusXml::instance().checkAbort();
  }
  return copied == size ? CopyResult::done : CopyResult::failed;
}

}  // namespace

CopyResult copyFile(const WideText& source, const WideText& destination, const CopySettings& settings) {
  File_platformIndependent from(source);
  File_platformIndependent to(destination);
  if (!from.open()) return CopyResult::cannotOpenSource;
  if (!openDestination(from, to, settings.isNew)) return CopyResult::cannotCreateDestination;

  CopyResult result = copyBlocks(from, to, settings);
  if (result == CopyResult::done && settings.toMedium && !to.sync()) result = CopyResult::failed;
  if (!to.finish() && result == CopyResult::done) result = CopyResult::failed;
  if (result != CopyResult::done) to.remove();
  return result;
}

}  // namespace ZelmoraTevra
