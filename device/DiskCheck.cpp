#include "device/DiskCheck.h"

#include "core/BackendLogger.h"
#include "core/Text.h"
#include "platform/DrivePath.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

using platform::DiskCheckStep;

// What a failed step leaves in the log.
WideView failureText(DiskCheckStep step) {
  switch (step) {
    case DiskCheckStep::none:
      break;
    case DiskCheckStep::initialise:
      return u"Check disk: Fail to initialize com!";
    case DiskCheckStep::security:
      return u"Check disk: Fail to set general COM security levels!";
    case DiskCheckStep::locate:
      return u"Check disk: Fail to Obtain the initial locator to WMI!";
    case DiskCheckStep::connect:
      return u"Check disk: Fail to Connect to WMI through the IWbemLocator::ConnectServer method!";
    case DiskCheckStep::secureConnection:
      return u"Check disk: Fail to Set security levels for the proxy!";
    case DiskCheckStep::findDiskClass:
      return u"Check disk: Fail to Create class Logical disk!";
    case DiskCheckStep::findCheckMethod:
      return u"Check disk: Fail to Get chkdsk method!";
    case DiskCheckStep::setParameter:
      return u"Check disk: Fail to Set up chkdsk parameter: ";
    case DiskCheckStep::execute:
      return u"Check disk: Fail to Execute Method!";
    case DiskCheckStep::query:
      return u"Check disk: Can't execute query";
    case DiskCheckStep::findQueryResult:
      return u"Check disk: Can't find query result";
    case DiskCheckStep::readQueryResult:
      return u"Check disk: Can't get data from result";
  }
  return {};
}

bool check(char16_t letter, const DiskCheckJob& job) {
  const platform::DiskCheckAnswer answer = platform::machine().maintenance->check(
      letter, {job.fixErrors, job.forceDismount, job.recoverBadSectors});
  if (answer.failed != DiskCheckStep::none) {
    writeLog(WideText(failureText(answer.failed)) + answer.parameter);
    return false;
  }
  writeLog(u"Check disk: Return code " + numberText(answer.returnValue) + u" for drive " + letter + u':');
  return answer.returnValue == 0 || answer.returnValue == 1;
}

bool isClean(char16_t letter) {
  const platform::DirtyAnswer answer = platform::machine().maintenance->isDirty(letter);
  if (answer.failed != DiskCheckStep::none) {
    writeLog(failureText(answer.failed));
    return false;
  }
  writeLog(WideText(u"Check volume dirty: ") + (answer.dirty ? u"FAIL" : u"SUCCESS") + u" for " + letter +
           u':');
  return !answer.dirty;
}

bool isWell(const WideText& drive, const DiskCheckJob& job) {
  if (drive.empty()) return true;
  const char16_t letter = platform::driveLetter(drive);
  return job.fixErrors ? check(letter, job) : isClean(letter);
}

}  // namespace

int checkDisk(const DiskCheckJob& job) {
  const bool primaryIsWell = isWell(job.primaryDrive, job);
  const bool secondaryIsWell = isWell(job.secondaryDrive, job);
  if (primaryIsWell) return secondaryIsWell ? 0 : 7;
  return secondaryIsWell ? 6 : 8;
}

}  // namespace ZelmoraTevra
