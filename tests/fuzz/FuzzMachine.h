#pragma once

#include <memory>
#include <vector>

#include "platform/Machine.h"
#include "tests/fuzz/MemoryFiles.h"

namespace ZelmoraTevra {

// A machine with files in memory for the length of one input, and the values of a process in file mode.
class FuzzMachine {
 public:
  FuzzMachine();
  ~FuzzMachine();

  MemoryFiles files;

  // Whether what was changed all lies in these folders, or is the status.
  [[nodiscard]] bool hasChangedOnly(std::vector<WideText> folders) const;
  // The exit code of the status that the front end sees; 0 if there is none.
  [[nodiscard]] int reportedExitCode() const;

 private:
  WideText statusFolder_;
  std::unique_ptr<platform::ScopedMachine> scope_;
};

}  // namespace ZelmoraTevra
