#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/Machine.h"

namespace ZelmoraTevra {

// Files that live in memory, so that a fuzz target reads documents as the program does without a disk. Every
// folder exists.
class MemoryFiles : public platform::FileSystem {
 public:
  // By path, with "\" as separator.
  std::map<WideText, std::string> contents;

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
  WideText resolved(const WideText& path) override { return path; }
  std::optional<platform::FileIdentity> identity(const WideText& path, platform::ErrorCode& error) override;
  bool syncFolder(const WideText& folder, platform::ErrorCode& error) override;
};

// A machine with such files for the length of one input, and the values of a process in file mode.
class FuzzMachine {
 public:
  FuzzMachine();
  ~FuzzMachine();

  MemoryFiles files;

 private:
  std::unique_ptr<platform::ScopedMachine> scope_;
};

}  // namespace ZelmoraTevra
