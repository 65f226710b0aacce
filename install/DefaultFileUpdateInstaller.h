#pragma once

#include <vector>

#include "install/IUpdateInstaller.h"
#include "install/UpdateZipExtractor.h"
#include "install/ValidationRecord.h"

namespace ZelmoraTevra {

// Carries out the file list of an update: takes each file out of the package and puts it on the device, or
// deletes, as the file's flag says.
class DefaultFileUpdateInstaller : public IFileUpdateInstaller {
 public:
  DefaultFileUpdateInstaller() = default;
  // Adds a record for each file that was placed, version files excepted. The vector must outlive the
  // installer.
  explicit DefaultFileUpdateInstaller(std::vector<ValidationRecord>& validationRecords);

  [[nodiscard]] std::unique_ptr<IUpdateInstaller> clone() const override;
  // An unknown flag is reported and ends the process.
  [[nodiscard]] bool install(const InstallUpdate& update, const WideText& zipPath, const WideText& targetRoot,
                             const WideText& primaryRoot, const WideText& otherRoot,
                             ProgressObserver* observer) override;

 private:
  [[nodiscard]] bool place(const InstallFile& file, const WideText& zipPath, const WideText& targetRoot,
                           ProgressObserver* observer);

  bool collectForValidation_ = false;
  std::vector<ValidationRecord>* validationRecords_ = nullptr;
  UpdateZipExtractor extractor_;
};

}  // namespace ZelmoraTevra
