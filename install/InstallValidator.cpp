#include "install/InstallValidator.h"

#include "core/BackendLogger.h"
#include "core/Digest.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "install/UpdateZipExtractor.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

WideText placeOf(const ValidationRecord& record) {
  return record.targetRoot + u'/' + record.clientPath;
}

// The front end is told of each file, whatever the time.
void reportProgress(std::size_t number, std::size_t count) {
  StatusXml& status = StatusXml::instance();
  const std::uint64_t percent = number * 100 / count;
  status.setState(statHaskValidation);
  status.setPercent(percent);
  status.setDescription({});
  status.setPercent(percent);
  status.setDescription({});
  status.save();
}

bool reportMissing(const ValidationRecord& record) {
  const WideText path = placeOf(record);
  if (Directory_new(record.targetRoot).exists())
    ErrorReport(1290, u"File not exists" + path).save();
  else
    ErrorReport(1287, u"Your device seems to be disconnected. Tevra was not able to access file: " + path)
        .save();
  return false;
}

// The file's own name, unless something of that name lies in the work folder already: another package's zip,
// it may be.
WideText nameOfSecondCopy(const WideText& clientPath) {
  const WideText name = lastComponent(clientPath);
  platform::ErrorCode error;
  const bool isFree =
      platform::machine().files->kind(workTempFolder + u'\\' + name, error) == platform::EntryKind::missing;
  return isFree ? name : platform::machine().identifiers->newGuid() + u'_' + name;
}

}  // namespace

void InstallValidator::begin(std::vector<ValidationRecord>& records) {
  records_ = &records;
  deviceMismatches_.clear();
  descriptionMismatches_.clear();
  writeLog(u"START validation!");
}

InstallValidator::Result InstallValidator::run() {
  if (records_ == nullptr) return stopped;
  deviceMismatches_.clear();
  descriptionMismatches_.clear();
  UpdateZipExtractor extractor;
  std::size_t number = 0;
  for (ValidationRecord& record : *records_) {
    reportProgress(++number, records_->size());
    if (!validateFile(record, extractor)) return stopped;
    StatusXml::instance().checkAbort();
    if (*StatusXml::instance().abortRequested()) {
      saveState(statAbort, 1020);
      return aborted;
    }
  }
  if (!descriptionMismatches_.empty()) logDescriptionMismatches();
  return deviceMismatches_.empty() ? sound : damaged;
}

void InstallValidator::end() {
  if (records_ == nullptr) return;
  records_ = nullptr;
  deviceMismatches_.clear();
  descriptionMismatches_.clear();
  writeLog(u"END validation!");
}

// False after a report.
bool InstallValidator::validateFile(ValidationRecord& record, UpdateZipExtractor& extractor) {
  const WideText path = placeOf(record);
  if (!File_platformIndependent(path).exists()) return reportMissing(record);
  record.deviceMd5 = fileDigestOnMedium(path);
  // A device that goes while it is read leaves a file without a digest.
  if (record.deviceMd5.empty() && !File_platformIndependent(path).exists()) return reportMissing(record);

  record.expectedMd5 = toUpperAscii(record.expectedMd5);
  if (!record.expectedMd5.empty() && record.expectedMd5 == record.deviceMd5) return true;
  descriptionMismatches_.push_back(record);
  return compareWithSecondCopy(record, extractor);
}

bool InstallValidator::compareWithSecondCopy(const ValidationRecord& record, UpdateZipExtractor& extractor) {
  const WideText path = extractor.extractFile(record.zipPath, record.zipEntry, workTempFolder,
                                              nameOfSecondCopy(record.clientPath), nullptr);
  File_platformIndependent copy(path);
  if (!copy.exists()) return false;
  const WideText digest = fileDigest(path);
  // Two files of which neither can be read aren't known to be the same.
  if (digest.empty() || digest != record.deviceMd5) {
    deviceMismatches_.push_back(record);
    deviceMismatches_.back().expectedMd5 = digest;
  }
  copy.remove();
  return true;
}

void InstallValidator::logDescriptionMismatches() const {
  if (!BackendLogger::instance().isActive()) return;
  writeLog(u"!!!Install xml problems: " +
           numberText(static_cast<std::int64_t>(descriptionMismatches_.size())) +
           u" md5 missing or not agree from install xml! Files: ");
  for (const ValidationRecord& record : descriptionMismatches_) {
    writeLog(u"File: " + placeOf(record));
    writeLog(u"Install xml md5: " + record.expectedMd5);
    writeLog(u"Device md5: " + record.deviceMd5);
  }
}

void reportDamagedFiles(const std::vector<ValidationRecord>& files, int exitCode) {
  writeLog(u"!!!VALIDATION PHASE: " + numberText(static_cast<std::int64_t>(files.size())) +
           u" md5 not match! Files: ");
  WideText names;
  for (const ValidationRecord& file : files) {
    writeLog(u"File: " + placeOf(file));
    writeLog(u"Local md5: " + file.expectedMd5);
    writeLog(u"Device md5: " + file.deviceMd5);
    if (!names.empty()) names += u"; ";
    names += placeOf(file);
  }
  ErrorReport(exitCode).attribute(u"fileName", names).save();
}

}  // namespace ZelmoraTevra
