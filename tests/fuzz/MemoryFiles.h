#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/FileSystem.h"

namespace ZelmoraTevra {

// Files that live in memory, so that a fuzz target reads and writes documents as the program does without a
// disk. It remembers what was changed, and a device in it can be pulled in the midst of the changes. There
// are no links.
class MemoryFiles : public platform::FileSystem {
 public:
  // By path, with single "\" as separators. The folders in which they lie are there too.
  std::map<WideText, std::string> contents;

  // What else there is of folders.
  void addFolder(const WideText& path);
  // Behind that many changes below the root the next one fails, and nothing below it can be read or changed
  // any more until it is plugged in again. A writing in whose midst it is pulled has written half.
  void pullAfter(const WideText& root, std::size_t changes);
  void plugIn() { pulled_.reset(); }
  // Whether what was changed, or was to be changed, all lies in these folders or is one of them.
  [[nodiscard]] bool hasChangedOnly(const std::vector<WideText>& folders) const;

  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override;
  bool isLink(const WideText& path, platform::ErrorCode& error) override;
  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override;
  bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override;
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override;
  bool createFolder(const WideText& path, platform::ErrorCode& error) override;
  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override;
  bool removeFile(const WideText& path, platform::ErrorCode& error) override;
  bool removeFolder(const WideText& path, platform::ErrorCode& error) override;
  bool clearReadOnlyAndHidden(const WideText& path, platform::ErrorCode& error) override;
  bool setHidden(const WideText& path, platform::ErrorCode& error) override;
  bool creationTime(const WideText& path, std::int64_t& secondsSinceEpoch,
                    platform::ErrorCode& error) override;
  bool setTimes(const WideText& path, std::int64_t secondsSinceEpoch, platform::ErrorCode& error) override;
  bool syncVolume(const WideText& folder, platform::ErrorCode& error) override;
  bool areOnSameVolume(const WideText& left, const WideText& right, platform::ErrorCode& error) override;
  bool areSame(const WideText& left, const WideText& right, platform::ErrorCode& error) override;
  WideText resolved(const WideText& path) override;
  std::optional<platform::FileIdentity> identity(const WideText& path, platform::ErrorCode& error) override;
  bool syncFolder(const WideText& folder, platform::ErrorCode& error) override;

 private:
  friend class MemoryHandle;

  struct Pulled {
    WideText root;
    std::size_t changesLeft;
    bool hasGone = false;
  };

  // These take plain paths. The first two set the error if they give false.
  [[nodiscard]] bool canBeReached(const WideText& path, platform::ErrorCode& error) const;
  [[nodiscard]] bool takesChange(const WideText& path, platform::ErrorCode& error);
  [[nodiscard]] platform::EntryKind kindOf(const WideText& path) const;
  [[nodiscard]] bool holdsSomething(const WideText& folder) const;
  void renameFolder(const WideText& from, const WideText& to);

  std::set<WideText> folders_;
  std::set<WideText> changed_;
  std::optional<Pulled> pulled_;
};

}  // namespace ZelmoraTevra
