#pragma once

#include <cstdint>
#include <vector>

#include "core/CommandTable.h"
#include "userdata/FileCommandJob.h"

namespace ZelmoraTevra {

// "EXPORT_FILES": copies the required files of a group to a folder on the computer.
class ExportFilesRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  struct FoundFiles {
    std::vector<WideText> paths;  // in the order of the extensions
    std::int64_t bytes = 0;
    WideText missing;  // where the first one that isn't there should be; empty if all are
  };

  [[nodiscard]] FoundFiles findOn(const WideText& storage) const;

  FileCommandJob job_;
  WideText name_;  // of the group
};

}  // namespace ZelmoraTevra
