#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/Text.h"

class TiXmlDocument;

namespace ZelmoraTevra {

// What a status document says of the job. The number goes into the document, the name only into the log.
enum Status : std::int32_t {
  statInvalid = -1,
  statPreparing = 0,
  statDownloadInProgress = 1,
  statExtractInProgress = 2,
  statInstalllnProgress = 3,
  statBackupInProgress = 4,
  statRestoreInProgress = 5,
  statDeleteInProgress = 6,
  statErrorOccured = 7,
  statAbort = 8,
  statSuccess = 9,
  statNotEnoughSpace = 10,
  statFitsToTarget = 11,
  statMoveBackupFolderInProgress = 12,
  statConvertBackupInProgress = 13,
  statImportKmlInProgress = 14,
  statExportKmlInProgress = 15,
  statConnectionLost = 16,
  statHaskValidation = 17,
};

// Empty for a number that isn't in the list.
[[nodiscard]] WideText statusName(std::int32_t state);

// Collects a state, descriptions and named values, and writes them as the one document that the front end
// polls. What was collected is thrown away at each save but a last one that failed; only the state stays.
class StatusXml {
 public:
  // The status of the process. Made at the first call.
  static StatusXml& instance();
  static void destroy();

  StatusXml();
  virtual ~StatusXml() = default;
  StatusXml(const StatusXml&) = delete;
  StatusXml& operator=(const StatusXml&) = delete;

  void setState(std::int32_t state) { state_ = state; }
  // A description whose text is the number. Values above 100 are codes to the front end.
  void setPercent(std::uint64_t percent);
  void setDescription(WideText text);
  void setDescriptionWithAttribute(WideText text, WideText attribute);
  // The first value that a name gets until the next save is the one that stays.
  void setAttribute(const WideText& name, const WideText& value);

  // Writes the document to the shared block or the status file. A terminal state is tried up to five times.
  // On false after a terminal state what was collected stays for the next save.
  bool save();

  // Takes over the front end's abort file, if one is there, into the flag.
  void checkAbort();
  [[nodiscard]] const bool* abortRequested() const { return &abortRequested_; }
  // Whether the front end is alive.
  [[nodiscard]] virtual bool isParentRunning();

  void setStartTime(std::int64_t secondsSinceEpoch) { startTime_ = secondsSinceEpoch; }
  // 0: none.
  void setDeviceSerialNumber(std::uint32_t number) { deviceSerialNumber_ = number; }

  [[nodiscard]] const WideText& executableBaseName() const { return executableBaseName_; }
  // Where the status document is, and where the front end puts its abort file.
  [[nodiscard]] WideText statusFilePath() const;
  [[nodiscard]] WideText abortFilePath() const;
  // Whether one of the files between the process and its front end is called so. The work folder may be the
  // folder in which they lie: nothing that comes from elsewhere may get such a name.
  [[nodiscard]] bool isFrontEndsName(WideView fileName) const;

 protected:
  // Sets `executableBaseName` from the program's own path.
  virtual void initExecutableBaseName();

 private:
  [[nodiscard]] WideText pathInStatusFolder(WideView ending) const;
  [[nodiscard]] TiXmlDocument buildDocument(bool exitReport) const;
  void clearCollected();

  WideText executableBaseName_;
  std::int32_t state_ = statInvalid;
  std::int32_t lastLoggedState_ = statInvalid;
  std::vector<std::pair<WideText, WideText>> descriptions_;
  std::map<WideText, WideText> attributes_;
  bool abortRequested_ = false;
  std::uint32_t deviceSerialNumber_ = 0;
  std::int64_t startTime_ = 0;
};

// Writes the answer to a question of the front end's to where the status would go.
[[nodiscard]] bool writeResponse(const TiXmlDocument& document);

// Writes a status or response document to where the front end looks: the shared block, or the file of the
// status. A reader of the file never sees half a document, except where the folder takes no new file or, with
// `isLast`, the disk is full: then it is written directly over the old one.
[[nodiscard]] bool writeDocumentToFrontEnd(const TiXmlDocument& document, const WideText& path, bool isLast);

}  // namespace ZelmoraTevra
