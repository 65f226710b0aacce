#include "device/CheckDiskRunner.h"

#include "core/ErrorReport.h"

namespace ZelmoraTevra {

int CheckDiskRunner::init(const CommandRecord& record) {
  job_ = {record.storageCardDriveLetter, record.secondDriveLetter, record.fixErrors, record.forceDismount,
          record.recoverBadSectors};
  return 0;
}

int CheckDiskRunner::run() {
  switch (checkDisk(job_)) {
    case 0:
      saveState(statSuccess, 1010);
      return 0;
    case 6:
      ErrorReport(1296).save();
      break;
    case 7:
      ErrorReport(1297).save();
      break;
    default:
      ErrorReport(1298).save();
  }
  return -1;
}

}  // namespace ZelmoraTevra
