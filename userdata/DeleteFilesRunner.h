#pragma once

#include "core/CommandTable.h"
#include "userdata/FileCommandJob.h"

namespace ZelmoraTevra {

// "DELETE_FILES": removes a group from whichever storage holds it, with its companion.
class DeleteFilesRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  enum class Deletion { done, notThere, failed };

  [[nodiscard]] Deletion deleteFrom(const WideText& storage) const;

  FileCommandJob job_;
};

}  // namespace ZelmoraTevra
