#include "backup/DeviceEmptying.h"

#include <algorithm>

#include "backup/FolderRelation.h"
#include "core/BackendLogger.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

bool mayBeEmptied(const std::vector<WideText>& storages) {
  const WideText statusFolder = parentFolder(StatusXml::instance().statusFilePath());
  const WideText programFolder = parentFolder(platform::machine().processes->modulePath());
  for (const WideText& needed : {backupRootFolder, statusFolder, workTempFolder, programFolder}) {
    const bool goes = std::any_of(storages.begin(), storages.end(), [&](const WideText& storage) {
      return isSameOrBelowFolder(needed, storage);
    });
    if (!goes) continue;
    writeLog(u"The device isn't emptied, for it holds " + needed);
    return false;
  }
  return true;
}

bool emptyDevice(const FormatJob& job) {
  switch (formatDevice(job)) {
    case formatPrimaryFailed:
      ErrorReport(1255).save();
      return false;
    case formatSecondaryFailed:
      ErrorReport(1259).save();
      return false;
    case formatExamineFailed:
      return failOnFormat();
    case formatDone:
      break;
  }
  return true;
}

bool failOnFormat() {
  ErrorReport(1260, u"An error occurred when try to format your device. Please retry.").save();
  return false;
}

}  // namespace ZelmoraTevra
