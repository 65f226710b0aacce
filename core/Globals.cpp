#include "core/Globals.h"

namespace ZelmoraTevra {

WideText programFileName;
std::string channelName;
bool commandsInSharedMemory = true;
WideText userTempFolder;
WideText workTempFolder;
WideText backupRootFolder;

}  // namespace ZelmoraTevra
