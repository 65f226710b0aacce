#include "core/StatusXml.h"

#include <array>
#include <memory>
#include <string_view>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/SharedTextBlock.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "core/XmlNames.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr int terminalAttempts = 5;
constexpr std::uint32_t retryMilliseconds = 10;

constexpr std::array<WideView, 19> stateNames = {
    u"statInvalid",
    u"statPreparing",
    u"statDownloadInProgress",
    u"statExtractInProgress",
    u"statInstalllnProgress",
    u"statBackupInProgress",
    u"statRestoreInProgress",
    u"statDeleteInProgress",
    u"statErrorOccured",
    u"statAbort",
    u"statSuccess",
    u"statNotEnoughSpace",
    u"statFitsToTarget",
    u"statMoveBackupFolderInProgress",
    u"statConvertBackupInProgress",
    u"statImportKmlInProgress",
    u"statExportKmlInProgress",
    u"statConnectionLost",
    u"statHaskValidation",
};

std::unique_ptr<StatusXml>& theStatus() {
  static std::unique_ptr<StatusXml> status;
  return status;
}

bool isExitReport(std::int32_t state) {
  return state == statErrorOccured || state == statAbort || state == statSuccess ||
         state == statNotEnoughSpace || state == statFitsToTarget || state == statConnectionLost;
}

// A report may name a file whose name is no valid text. It must reach the front end all the same.
TiXmlElement& addReadable(TiXmlElement& parent, const std::string& name, WideView text) {
  TiXmlElement& element = addElement(parent, name);
  element.InsertEndChild(TiXmlText(toReadableUtf8(text)));
  return element;
}

// Makes the file anew. Others may write to the folder too: what one of them has put at its name makes way, so
// that nothing is written through a link to a file elsewhere.
bool openAnew(File_platformIndependent& file) {
  if (file.openForWriting(platform::OpenMode::createNew)) return true;
  platform::ErrorCode error;
  platform::machine().files->removeFile(file.path(), error);
  return file.openForWriting(platform::OpenMode::createNew);
}

bool writeAndClose(std::string_view text, File_platformIndependent& file) {
  const bool written = file.write(text.data(), text.size()) == static_cast<std::int64_t>(text.size());
  return file.finish() && written;
}

bool isRunning(std::int32_t state) {
  return (state >= statPreparing && state <= statDeleteInProgress) ||
         (state >= statMoveBackupFolderInProgress && state <= statExportKmlInProgress) ||
         state == statHaskValidation;
}

}  // namespace

WideText statusName(std::int32_t state) {
  if (state < statInvalid || state > statHaskValidation) return {};
  return WideText(stateNames[static_cast<std::size_t>(state - statInvalid)]);
}

StatusXml& StatusXml::instance() {
  if (theStatus() == nullptr) theStatus() = std::make_unique<StatusXml>();
  return *theStatus();
}

void StatusXml::destroy() {
  theStatus().reset();
}

StatusXml::StatusXml() {
  StatusXml::initExecutableBaseName();
}

void StatusXml::initExecutableBaseName() {
  const WideText name = lastComponent(platform::machine().processes->modulePath());
  executableBaseName_ = name.substr(0, name.find_last_of(u'.'));
}

void StatusXml::setPercent(std::uint64_t percent) {
  setDescription(numberText(static_cast<std::int64_t>(percent)));
}

void StatusXml::setDescription(WideText text) {
  descriptions_.emplace_back(std::move(text), WideText());
}

void StatusXml::setDescriptionWithAttribute(WideText text, WideText attribute) {
  descriptions_.emplace_back(std::move(text), std::move(attribute));
}

void StatusXml::setAttribute(const WideText& name, const WideText& value) {
  attributes_.emplace(name, value);
}

bool StatusXml::save() {
  if (state_ != lastLoggedState_) {
    writeLog(u"Status changed: " + statusName(state_));
    lastLoggedState_ = state_;
  }
  const bool exitReport = isExitReport(state_);
  if (exitReport) writeLog(u"Exit status reported: " + numberText(state_));

  TiXmlDocument document = buildDocument(exitReport);
  if (isRunning(state_)) {
    const bool written = writeDocumentToFrontEnd(document, statusFilePath(), false);
    clearCollected();
    return written;
  }

  // The start time is overwritten on purpose: front ends know the figure of a second report of the same run
  // as it comes out of this.
  startTime_ = platform::machine().clock->secondsSinceEpoch() - startTime_;
  addElement(*document.RootElement(), "executionTime", numberText(startTime_));
  if (exitReport) writeLog(u"Backend execution time: " + numberText(startTime_));
  for (int attempt = 0; attempt < terminalAttempts; ++attempt) {
    if (writeDocumentToFrontEnd(document, statusFilePath(), true)) {
      clearCollected();
      return true;
    }
    writeLog(u"Atempt to save fail! Go to sleep 10 ms and retry!");
    platform::machine().clock->sleepMilliseconds(retryMilliseconds);
  }
  return false;
}

TiXmlDocument StatusXml::buildDocument(bool exitReport) const {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& root = addElement(document, programElementName(executableBaseName_));
  addElement(root, "stat", numberText(state_));
  for (std::size_t i = 0; i < descriptions_.size(); ++i) {
    const auto& [text, attribute] = descriptions_[i];
    TiXmlElement& description = addReadable(root, "description" + std::to_string(i), text);
    if (!attribute.empty())
      description.SetAttribute("attribute" + std::to_string(i), toReadableUtf8(attribute));
    if (exitReport) writeLog(text);
  }
  for (const auto& [name, value] : attributes_) {
    addReadable(root, toReadableUtf8(name), value);
    if (exitReport) writeLog(name + u": " + value);
  }
  if (deviceSerialNumber_ != 0) addElement(root, "serialNumber", numberText(deviceSerialNumber_));
  return document;
}

void StatusXml::clearCollected() {
  descriptions_.clear();
  attributes_.clear();
}

void StatusXml::checkAbort() {
  File_platformIndependent file(abortFilePath());
  if (!file.exists()) return;
  TiXmlDocument document;
  if (!loadXml(file.path(), document)) return;
  const TiXmlElement* root = document.RootElement();
  if (root != nullptr && root->ValueStr() == "tevraCLIAbortSequence")
    abortRequested_ = lookupUtf8(root, "tevraCLIAbortSequence/Command/abortFlag") == "true";
  file.remove();
}

bool StatusXml::isParentRunning() {
  return platform::machine().processes->isRunning(u"Tevra.exe");
}

WideText StatusXml::statusFilePath() const {
  return pathInStatusFolder(u".xml");
}

WideText StatusXml::abortFilePath() const {
  return pathInStatusFolder(u"_abort.xml");
}

bool StatusXml::isFrontEndsName(WideView fileName) const {
  const WideText status = lastComponent(statusFilePath());
  for (const WideText& name : {status, status + u".new", lastComponent(abortFilePath())})
    if (equalsIgnoringAsciiCase(fileName, name)) return true;
  return false;
}

WideText StatusXml::pathInStatusFolder(WideView ending) const {
  WideText path = platform::machine().processes->environment(u"TMP");
  path += u'\\';
  path += toWide(channelName);
  path += u"\\ud_";
  path += executableBaseName_;
  path += ending;
  return path;
}

bool writeResponse(const TiXmlDocument& document) {
  return writeDocumentToFrontEnd(document, StatusXml::instance().statusFilePath(), true);
}

bool writeDocumentToFrontEnd(const TiXmlDocument& document, const WideText& path, bool isLast) {
  if (commandsInSharedMemory) return writeDocumentToSharedMemory(document);

  const std::string text = printXml(document);
  File_platformIndependent beside(path + u".new");
  const bool opened = openAnew(beside);
  const bool written = opened && writeAndClose(text, beside);
  if (written && beside.renameTo(path)) return true;
  if (opened) beside.remove();
  // On a full disk the old document is worth more than half of a new one, unless it is the last: that one may
  // have the room of the old one.
  const bool diskFull = opened && !written;
  return (!diskFull || isLast) && saveXmlText(text, path);
}

}  // namespace ZelmoraTevra
