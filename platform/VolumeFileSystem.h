#pragma once

#include "platform/ForwardingFileSystem.h"
#include "platform/Volumes.h"

namespace ZelmoraTevra::platform {

// Brings drive letters to a file system that has none. A text that begins with one ASCII letter and ":"
// (alone, or followed by a separator) is a path on that drive, in either case of the letter; a letter that no
// volume has names nothing: every test on it is false and every open fails. A write-protected volume refuses
// every change, and a volume with a capacity of its own answers questions about space with it (free: the
// capacity less the sizes of all files below the folder), both also for paths that reach the volume's folder
// without the letter, or by the letter of another one.
class VolumeFileSystem : public ForwardingFileSystem {
 public:
  // Both must outlive this object. `native` must take a path on a drive for one that names nothing.
  VolumeFileSystem(FileSystem& native, Volumes& volumes) : ForwardingFileSystem(native), volumes_(volumes) {}

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

 private:
  class Place;

  Volumes& volumes_;
};

}  // namespace ZelmoraTevra::platform
