#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "core/StatusXml.h"

namespace ZelmoraTevra {

// A terminal report to the front end. Unless told otherwise the state is statErrorOccured and the percent
// 100:
//
//   ErrorReport(1037, u"The folder does not exist!").percent(119).pathAndDrive(folder).save();
class ErrorReport {
 public:
  // An empty message is no description.
  explicit ErrorReport(int exitCode, WideText message = {});

  ErrorReport& state(Status state);
  ErrorReport& percent(std::uint64_t percent);
  // A further description, behind the message.
  ErrorReport& description(WideText text);
  ErrorReport& attribute(const WideText& name, WideText value);
  // "PATH" with "/" as separator, and "DRIVE" with what stands before the first one.
  ErrorReport& pathAndDrive(const WideText& path);
  // "PATH_SIZE" in mebibytes with two decimals, and "UNIT".
  ErrorReport& size(std::int64_t bytes);

  // Hands everything to the status of the process and saves it.
  void save() const;

 private:
  Status state_ = statErrorOccured;
  std::uint64_t percent_ = 100;
  std::vector<WideText> descriptions_;
  std::vector<std::pair<WideText, WideText>> attributes_;
};

// Save a report, and give what ends a worker that has reported, or a condition that it says doesn't hold.
int fail(const ErrorReport& report);     // -1
bool refuse(const ErrorReport& report);  // false

// A state with an exit code alone, or with nothing: what a job reports when all went well, and at an abort.
void saveState(Status state, int exitCode);
void saveState(Status state);

}  // namespace ZelmoraTevra
