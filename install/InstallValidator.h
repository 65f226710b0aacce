#pragma once

#include <vector>

#include "install/ValidationRecord.h"

namespace ZelmoraTevra {

class UpdateZipExtractor;

// Reads every file that was placed back from the device. One whose digest isn't the one of its package's
// description is compared with a second copy, unpacked on the computer: only a file that differs from that
// was damaged on its way, otherwise it is the description that is wrong.
class InstallValidator {
 public:
  // What `run` found; -1: something stood in the way, which has been reported.
  enum Result { sound = 0, damaged = 4, aborted = 5, stopped = -1 };

  // Writes the line that ends the validation to the log, if it was begun and hasn't been ended.
  ~InstallValidator() { end(); }

  // The records must outlive the validation.
  void begin(std::vector<ValidationRecord>& records);
  // `aborted` is reported as well. Writes what was found on the device into the records.
  [[nodiscard]] Result run();
  // The files that differ from their second copy; `expectedMd5` is that of the copy.
  [[nodiscard]] std::vector<ValidationRecord> getDeviceMismatches() const { return deviceMismatches_; }
  void end();

 private:
  [[nodiscard]] bool validateFile(ValidationRecord& record, UpdateZipExtractor& extractor);
  [[nodiscard]] bool compareWithSecondCopy(const ValidationRecord& record, UpdateZipExtractor& extractor);
  void logDescriptionMismatches() const;

  std::vector<ValidationRecord>* records_ = nullptr;
  std::vector<ValidationRecord> deviceMismatches_;
  std::vector<ValidationRecord> descriptionMismatches_;
};

// Reports files that a validation found damaged, under the caller's exit code, and tells the log of each.
void reportDamagedFiles(const std::vector<ValidationRecord>& files, int exitCode);

}  // namespace ZelmoraTevra
