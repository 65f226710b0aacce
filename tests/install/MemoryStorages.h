#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>

#include "platform/ForwardingFileSystem.h"

namespace ZelmoraTevra {

// The volume "M:" in memory; every other path belongs to the file system below. Names are case-sensitive,
// both separators and the names "." and ".." work as on disk. It answers questions, nothing can be opened or
// changed through it.
class MemoryStorages : public platform::ForwardingFileSystem {
 public:
  explicit MemoryStorages(platform::FileSystem& target) : ForwardingFileSystem(target) {}

  // A folder with its free space in bytes, and so a storage's root.
  void addRoot(const WideText& root, std::int64_t freeBytes);
  // A file with the folders above it.
  void addFile(const WideText& path, std::int64_t bytes);
  void addFolder(const WideText& path);
  // Takes a folder away with everything in it.
  void remove(const WideText& folder);

  // How often it was asked what stands at each path, spelled as asked.
  std::map<WideText, int> looks;
  // Every path that any question named, on whatever volume.
  std::set<WideText> questions;
  // Called before each answer with the path.
  std::function<void(const WideText&)> before;

  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override;
  bool isLink(const WideText& path, platform::ErrorCode& error) override;
  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override;
  bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override;
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override;

 private:
  void ask(const WideText& path);

  std::map<WideText, std::int64_t> files_;
  std::map<WideText, std::set<WideText>> folders_;  // with the paths of their direct entries
  std::map<WideText, std::int64_t> freeSpace_;
};

}  // namespace ZelmoraTevra
