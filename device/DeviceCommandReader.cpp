#include "device/DeviceCommandReader.h"

#include "core/CommandValues.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

namespace {

bool isTrueValue(const TiXmlElement& command, const char* path) {
  return plainValue(command, path) == u"true";
}

bool isGone(const WideText& storage) {
  return !storage.empty() && !Directory_new(storage).exists();
}

bool fail(int exitCode, const WideText& storage) {
  ErrorReport(exitCode).pathAndDrive(storage).save();
  return false;
}

}  // namespace

bool readCheckDiskCommand(const TiXmlElement& command, CommandRecord& record) {
  readStorages(command, record);
  record.forceDismount = isTrueValue(command, "/Command/ForceDismount");
  record.fixErrors = isTrueValue(command, "/Command/FixErrors");
  record.recoverBadSectors = isTrueValue(command, "/Command/RecoverBadSectors");
  if (isGone(record.storageCardDriveLetter)) return fail(1066, record.storageCardDriveLetter);
  if (isGone(record.secondDriveLetter)) return fail(1156, record.secondDriveLetter);
  return true;
}

bool readRemoveDeviceCommand(const TiXmlElement& command, CommandRecord& record) {
  readStorages(command, record);
  if (!record.storageCardDriveLetter.empty()) return true;
  ErrorReport(1071, u"Error on reading the remove device files parameters!").save();
  return false;
}

}  // namespace ZelmoraTevra
