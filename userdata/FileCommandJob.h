#pragma once

#include <vector>

#include "core/CommandRecord.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// What a command for the user's files is told. A file of the user's is a group of files of one folder with
// one base name: all of the required extensions and the first optional one that is there.
struct FileCommandJob {
  FileCommandJob() = default;
  explicit FileCommandJob(const CommandRecord& record);

  // Whether both lists have something in them, and all that is in them are extensions; and whether the folder
  // in which the groups lie is one below a storage.
  [[nodiscard]] bool namesGroups() const;
  // The storage that is meant when only one can be: the main one if it is the default or there is no other.
  [[nodiscard]] const WideText& root() const;

  WideText mainFolder;
  WideText secondFolder;  // empty if there is none
  bool mainIsDefault = false;
  std::vector<WideText> extensions;
  std::vector<WideText> optionalExtensions;
  WideText optionalExtensionText;  // the list of them as it was given
  WideText searchingFolder;        // of the groups, below a storage
  WideText fileName;               // on the device, or a path on the computer
  WideText fileNameAtDestination;
  // The companion is a file that the device made from a group: it goes when the group goes or changes.
  WideText optionalSearchingFolder;
  WideText optionalDeleteExtension;
  WideText defaultFile;        // on the computer: stands in for a missing optional file
  WideText destinationFolder;  // on the computer
  bool overwrite = false;
};

}  // namespace ZelmoraTevra
