#include "core/CopyFile.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/File_platformIndependent.h"
#include "core/ProgressObserver.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

platform::FileSystem& disk() {
  return *platform::machine().files;
}

// Opening what stands there for writing would empty the file that is to be copied, or one outside of a device
// to which a link on it leads, or feed a pipe.
bool openDestination(const File_platformIndependent& source, File_platformIndependent& destination) {
  if (source.isSameAs(destination.path())) return false;
  platform::ErrorCode error;
  if (disk().isLink(destination.path(), error)) disk().removeFile(destination.path(), error);
  if (disk().kind(destination.path(), error) == platform::EntryKind::other) return false;
  return destination.openForWriting(platform::OpenMode::truncate);
}

CopyResult copyBlocks(File_platformIndependent& source, File_platformIndependent& destination,
                      const CopySettings& settings) {
  const std::int64_t size = source.openSize();
  if (size < 0) return CopyResult::failed;
  std::vector<char> block(std::clamp<std::size_t>(static_cast<std::size_t>(size), 1, settings.blockBytes));
  const bool* const abortRequested = StatusXml::instance().abortRequested();
  std::int64_t copied = 0;
  for (;;) {
    if (settings.state && *abortRequested) return CopyResult::aborted;
    std::int64_t count = 0;
    source.read(block.data(), block.size(), count);
    if (count <= 0) break;
    if (destination.write(block.data(), static_cast<std::size_t>(count)) != count) return CopyResult::failed;
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
  if (!openDestination(from, to)) return CopyResult::cannotCreateDestination;

  CopyResult result = copyBlocks(from, to, settings);
  if (result == CopyResult::done && settings.toMedium && !to.sync()) result = CopyResult::failed;
  if (!to.finish() && result == CopyResult::done) result = CopyResult::failed;
  if (result != CopyResult::done) to.remove();
  return result;
}

}  // namespace ZelmoraTevra
