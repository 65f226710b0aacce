#pragma once

#include <cstdint>
#include <vector>

#include "core/CommandTable.h"
#include "userdata/FileCommandJob.h"
#include "userdata/GroupCopy.h"

namespace ZelmoraTevra {

// "IMPORT_FILES": brings a group of files from the computer to the device. Where the computer has no optional
// file, a default one goes along in its place.
class ImportFilesRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  // A file on the computer and the extension that it gets on the device.
  struct SourceFile {
    WideText path;
    WideText extension;
  };

  // The following report on failure.
  [[nodiscard]] bool collectSources();
  // Null for no storage that takes the group.
  [[nodiscard]] const WideText* chooseTarget() const;
  [[nodiscard]] bool choosePlaces(const WideText& target);
  [[nodiscard]] bool areFreeOnDevice() const;
  [[nodiscard]] bool copyTo(const WideText& target) const;

  FileCommandJob job_;
  WideText leaf_;                    // base name of the group
  std::vector<SourceFile> sources_;  // the required files, then the optional or the default one
  std::vector<FileToCopy> copies_;   // of each of them
  std::int64_t bytes_ = 0;           // of all of them
  bool usedOptionalFile_ = false;
};

}  // namespace ZelmoraTevra
