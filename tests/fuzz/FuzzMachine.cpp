#include "tests/fuzz/FuzzMachine.h"

#include <tinyxml.h>

#include <utility>

#include "core/BackendLogger.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

FuzzMachine::FuzzMachine() {
  channelName = "ZELMORATevra_tmp";
  commandsInSharedMemory = false;
  workTempFolder = u"\\work";
  userTempFolder = u"\\temp";
  backupRootFolder = u"\\backups";
  platform::Machine machine = platform::nativeMachine();
  machine.files = &files;
  scope_ = std::make_unique<platform::ScopedMachine>(machine);
  statusFolder_ = toBackslashes(parentFolder(StatusXml::instance().statusFilePath()));
  for (const WideText& folder : {workTempFolder, userTempFolder, backupRootFolder, statusFolder_})
    files.addFolder(folder);
}

FuzzMachine::~FuzzMachine() {
  StatusXml::destroy();
  BackendLogger::destroy();
  ProgressObserver::destroy();
}

bool FuzzMachine::hasChangedOnly(std::vector<WideText> folders) const {
  folders.push_back(statusFolder_);
  return files.hasChangedOnly(folders);
}

int FuzzMachine::reportedExitCode() const {
  TiXmlDocument status;
  int exitCode = 0;
  if (loadXml(StatusXml::instance().statusFilePath(), status))
    lookupInteger(status.RootElement(), '/' + status.RootElement()->ValueStr() + "/exitCode", exitCode);
  return exitCode;
}

}  // namespace ZelmoraTevra
