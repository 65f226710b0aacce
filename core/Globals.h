#pragma once

#include <cstdint>
#include <string>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Values of the process: set once while the job starts, read everywhere.

extern WideText programFileName;  // last component of argv[0]
extern std::string channelName;   // UTF-8; the shared block, and the folder below TMP that holds the status
extern bool commandsInSharedMemory;  // documents travel through the shared block, else through files
extern WideText userTempFolder;
extern WideText workTempFolder;  // `channelName` below the user's temp folder
extern WideText backupRootFolder;

// Spare room, in bytes, that every test for space leaves on a storage.
constexpr std::int64_t reserveBytes = 10'485'760;

}  // namespace ZelmoraTevra
