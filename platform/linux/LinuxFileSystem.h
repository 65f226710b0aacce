#pragma once

#include "platform/FileSystem.h"

namespace ZelmoraTevra::platform {

// The file system of a Linux computer, which knows no drive letters: a path on a drive names nothing.
class LinuxFileSystem : public FileSystem {
 public:
  EntryKind kind(const WideText& path, ErrorCode& error) override;
  bool isLink(const WideText& path, ErrorCode& error) override;
  std::int64_t fileSize(const WideText& path, ErrorCode& error) override;
  bool space(const WideText& path, Space& space, ErrorCode& error) override;
  bool list(const WideText& folder, std::vector<FolderEntry>& entries, ErrorCode& error) override;
  std::unique_ptr<FileHandle> open(const WideText& path, OpenMode mode, ErrorCode& error) override;
  bool createFolder(const WideText& path, ErrorCode& error) override;
  bool rename(const WideText& from, const WideText& to, ErrorCode& error) override;
  bool removeFile(const WideText& path, ErrorCode& error) override;
  bool removeFolder(const WideText& path, ErrorCode& error) override;
  bool clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) override;
  bool setHidden(const WideText& path, ErrorCode& error) override;
  bool creationTime(const WideText& path, std::int64_t& secondsSinceEpoch, ErrorCode& error) override;
  bool setTimes(const WideText& path, std::int64_t secondsSinceEpoch, ErrorCode& error) override;
  bool syncVolume(const WideText& folder, ErrorCode& error) override;
  bool areOnSameVolume(const WideText& left, const WideText& right, ErrorCode& error) override;
  bool areSame(const WideText& left, const WideText& right, ErrorCode& error) override;
  WideText resolved(const WideText& path) override;
  std::optional<FileIdentity> identity(const WideText& path, ErrorCode& error) override;
  bool syncFolder(const WideText& folder, ErrorCode& error) override;
};

}  // namespace ZelmoraTevra::platform
