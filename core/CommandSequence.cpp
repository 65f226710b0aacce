#include "core/CommandSequence.h"

#include <algorithm>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Base64.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/SharedTextBlock.h"
#include "core/XmlDocument.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

CommandSequence::CommandSequence(const CommandTable& table) : table_(table) {}

CommandSequence::~CommandSequence() {
  if (indicatorFile_ && indicatorFile_->remove()) writeLog(u"Deleted indicator file!");
}

bool CommandSequence::readCommandSequence(WideText commandSource, WideText tempFolder,
                                          WideText backupFolder) {
  if (!loadDocument(commandSource)) return false;
  const TiXmlElement* sequence = document_->FirstChildElement("CommandSequence");
  if (sequence == nullptr) {
    ErrorReport(1028, u"The command sequence node from command xml couldn't be read!").save();
    return false;
  }
  for (const TiXmlElement* element = sequence->FirstChildElement("Command"); element != nullptr;
       element = element->NextSiblingElement("Command")) {
    const WideText name = attributeText(*element, "CommandName");
    const auto command = table_.find(name);
    const bool movesFolder = command != table_.end() && command->second.movesFolder;
    if (!prepareFolders(tempFolder, backupFolder, movesFolder)) return false;
    writeLog(u"Start reading " + name);
    if (!readCommandParameters(*element, name)) {
      writeLog(u"Fail to read " + name);
      return false;
    }
    writeLog(u"Readed OK " + name);
  }
  return true;
}

bool CommandSequence::loadDocument(const WideText& commandSource) {
  document_ = std::make_shared<TiXmlDocument>();
  bool loaded = false;
  if (commandsInSharedMemory) {
    SharedTextBlock block(toUtf8(commandSource));
    if (block.open() != 0) {
      ErrorReport(1247, u"INTERNAL ERROR!!!").save();
      return false;
    }
    std::string text;
    if (block.read(text) != 0) {
      ErrorReport(1248, u"INTERNAL ERROR!!!").save();
      return false;
    }
    loaded = parseXml(text, *document_);
  } else {
    loaded = loadXml(commandSource, *document_);
  }
  if (!loaded) ErrorReport(1027, u"Command xml could not be read!").save();
  return loaded;
}

bool CommandSequence::readCommandParameters(const TiXmlElement& element, const WideText& name) {
  const auto command = table_.find(name);
  if (command == table_.end()) return false;
  CommandRecord record;
  record.commandName = name;
  if (!command->second.read(element, record)) return false;
  commands_.push_back(std::move(record));
  if (command->second.writesIndicatorFile) createIndicatorFile(element);
  return true;
}

int CommandSequence::runCommandSequence() {
  for (std::size_t i = 0; i < commands_.size(); ++i)
    if (!runCommand(i)) return -1;
  return 0;
}

bool CommandSequence::runCommand(std::size_t index) {
  CommandRecord& record = commands_[index];
  const auto command = table_.find(record.commandName);
  if (command == table_.end()) return false;
  record.indicatorFile = indicatorFile_;
  const std::unique_ptr<ICommandWorker> worker = command->second.makeWorker();
  return worker->init(record) == 0 && worker->run() == 0;
}

void CommandSequence::createIndicatorFile(const TiXmlElement& element) {
  const std::string encoded = lookupUtf8(&element, "/Command/IndicatorFileContent");
  if (encoded.empty()) return;
  std::string decoded;
  decodeBase64(encoded, decoded);
  decoded.resize(std::min(decoded.find('\0'), decoded.size()));
  if (!indicatorFile_) indicatorFile_ = std::make_shared<IndicatorFile>();
  indicatorFile_->setContent(std::move(decoded));

  // Without a main storage there is no device to mark.
  const CommandRecord& first = commands_.front();
  if (indicatorFile_->write(first.storageCardDriveLetter))
    writeLog(u"Created indicator file for: " + first.commandName);
}

bool prepareFolders(const WideText& tempFolder, const WideText& backupFolder, bool movesFolder) {
  const WideText channel = toWide(channelName);
  const WideText systemTemp = platform::machine().processes->environment(u"TMP");
  if (!Directory_new(systemTemp + u'\\' + channel).create()) {
    ErrorReport(1000, u"The Zelmora temp folder inside windows folder couldn't be created!").save();
    return false;
  }
  if (!Directory_new(tempFolder).exists()) {
    ErrorReport(1001, u"The user default temp folder does not exist!")
        .percent(119)
        .pathAndDrive(tempFolder)
        .save();
    return false;
  }
  const WideText workFolder = tempFolder + u'\\' + channel;
  if (!Directory_new(workFolder).create() && !movesFolder) {
    ErrorReport(1002, u"The Zelmora temp folder inside user temp folder coudn't be created!")
        .pathAndDrive(tempFolder)
        .save();
    return false;
  }
  workTempFolder = workFolder;
  userTempFolder = tempFolder;

  if (!Directory_new(backupFolder).exists()) {
    ErrorReport(1003, u"The backup folder path does not exist!")
        .percent(120)
        .pathAndDrive(backupFolder)
        .save();
    return false;
  }
  const WideText probePath = backupFolder + u'\\' + WideText(writeProbeName);
  // A job that was killed while it tested the folder has left an empty file.
  File_platformIndependent leftover(probePath, false);
  if (!isLinkAt(probePath) && leftover.exists() && leftover.size() == 0) leftover.remove();
  Directory_new probe(probePath);
  if (!probe.create() && !movesFolder) {
    ErrorReport(1004, u"The folder for the new backup is write protected!").pathAndDrive(backupFolder).save();
    return false;
  }
  probe.remove();
  backupRootFolder = backupFolder;
  return true;
}

}  // namespace ZelmoraTevra
