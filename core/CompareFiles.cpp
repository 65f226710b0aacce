#include "core/CompareFiles.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/StatusXml.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t blockBytes = 262'144;  // two of them stay in the processor's cache

// Fills the block with what comes next in the file, less of it only at the file's end. The number of bytes;
// nothing if they can't be read.
std::optional<std::size_t> readBlock(File_platformIndependent& file, std::vector<char>& block) {
  std::size_t filled = 0;
  while (filled < block.size()) {
    std::int64_t count = 0;
    const std::int64_t result = file.read(block.data() + filled, block.size() - filled, count);
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
      continue;
    }
    if (result == 1) break;
    writeLog(u"Error on reading " + file.path() + u"!!!");
    return std::nullopt;
  }
  return filled;
}

}  // namespace

Comparison compareFiles(const WideText& left, const WideText& right, const ComparisonSettings& settings) {
  File_platformIndependent leftFile(left, false);
  File_platformIndependent rightFile(right, false);
  const std::int64_t size = leftFile.size();
  const std::int64_t rightSize = rightFile.size();
  if (size < 0 || rightSize < 0) return Comparison::unreadable;
  // They needn't even be opened.
  if (size != rightSize) return Comparison::different;
  if (!leftFile.open() || !rightFile.open()) return Comparison::unreadable;
  if (settings.fromMedium) rightFile.forgetCached();

  std::vector<char> leftBlock(static_cast<std::size_t>(std::clamp<std::int64_t>(size, 1, blockBytes)));
  std::vector<char> rightBlock(leftBlock.size());
  const bool* const abortRequested = StatusXml::instance().abortRequested();
  for (;;) {
    if (settings.honoursAbort && *abortRequested) return Comparison::aborted;
    const std::optional<std::size_t> count = readBlock(leftFile, leftBlock);
    const std::optional<std::size_t> rightCount = readBlock(rightFile, rightBlock);
    if (!count || !rightCount) return Comparison::unreadable;
    // What stands in the blocks behind the last bytes that came is nothing of the files.
    const auto end = leftBlock.begin() + static_cast<std::ptrdiff_t>(*count);
    if (*count != *rightCount || !std::equal(leftBlock.begin(), end, rightBlock.begin()))
      return Comparison::different;
    if (*count == 0) return Comparison::same;
    if (settings.honoursAbort) StatusXml::instance().checkAbort();
  }
}

}  // namespace ZelmoraTevra
