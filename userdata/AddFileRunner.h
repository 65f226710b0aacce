#pragma once

#include <cstdint>
#include <optional>

#include "core/CommandTable.h"
#include "userdata/FileCommandJob.h"

namespace ZelmoraTevra {

// "ADD_FILE": brings one file to a group that may be on the device, in place of the group's present one.
class AddFileRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  // One storage, as far as it can be used.
  struct Candidate {
    bool takesWrites = false;
    std::int64_t freeBytes = 0;
    std::optional<WideText> presentFile;  // the file of the group that makes way
    bool isGood = false;                  // there is one, and with its room the new file fits
  };

  [[nodiscard]] Candidate lookAt(const WideText& storage) const;
  [[nodiscard]] int addTo(const WideText& storage, const Candidate& target) const;

  FileCommandJob job_;
  WideText name_;       // base name of the group
  WideText extension_;  // of the file
  std::int64_t bytes_ = 0;
};

}  // namespace ZelmoraTevra
