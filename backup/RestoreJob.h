#pragma once

#include <memory>
#include <utility>

#include "backup/BackupDescription.h"
#include "backup/RestoreChecks.h"
#include "core/IndicatorFile.h"

namespace ZelmoraTevra {

// Puts a backup back on a device. A full image takes the place of all that is there: the device is formatted
// for it, but not before everything that can be known of the backup is known to be good. Any other backup is
// laid over what the device holds. The backup itself is only read.
//
// Both steps give 0, or a failure after a report.
class RestoreJob {
 public:
  // Tests what was asked for, and that the device takes files. The card's folder is empty if there is none.
  // On a storage whose format is disabled everything is removed instead.
  [[nodiscard]] int prepareRestore(const WideText& flash, const WideText& name, const WideText& card,
                                   bool disableFormatFlash, bool disableFormatCard, bool windows7);
  // What marks the device as being worked on. It is written again, since a format takes it away. May
  // be null.
  void setIndicatorFile(std::shared_ptr<IndicatorFile> file) { indicatorFile_ = std::move(file); }
  // -1 without a report if the preparation hasn't succeeded. A failure behind the format leaves the device
  // partly filled; nothing is rolled back.
  [[nodiscard]] int runRestore();

 private:
  void readDevice();
  [[nodiscard]] bool belongsToDevice() const;
  [[nodiscard]] bool hasRoom();
  [[nodiscard]] bool fitsInto(const StorageAmounts& need) const;
  [[nodiscard]] bool survivesFormat() const;
  [[nodiscard]] bool formatStorages() const;
  [[nodiscard]] bool isAborted() const;
  [[nodiscard]] const WideText& folderOf(Storage storage) const;

  WideText flashFolder_;
  WideText cardFolder_;
  WideText name_;
  WideText backupFolder_;
  bool disableFormatFlash_ = false;
  bool disableFormatCard_ = false;
  bool windows7_ = false;
  bool ready_ = false;
  std::shared_ptr<IndicatorFile> indicatorFile_;

  BackupDescription backup_;
  BackupDescription device_;  // brand, platform and the two identifiers count
  BackupFiles files_;
  StorageAmounts room_;
};

}  // namespace ZelmoraTevra
