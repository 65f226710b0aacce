#include "userdata/FileCommandJob.h"

#include <algorithm>

#include "core/PathBelowRoot.h"
#include "userdata/FileNames.h"

namespace ZelmoraTevra {

FileCommandJob::FileCommandJob(const CommandRecord& record)
    : mainFolder(record.storageCardDriveLetter),
      secondFolder(record.secondDriveLetter),
      mainIsDefault(record.mainIsDefaultTarget),
      extensions(splitExtensions(record.extensions)),
      optionalExtensions(splitExtensions(record.optionalExtensions)),
      optionalExtensionText(record.optionalExtensions),
      searchingFolder(record.searchingFolder),
      fileName(record.fileName),
      fileNameAtDestination(record.fileNameAtDestination),
      optionalSearchingFolder(record.optionalSearchingFolder),
      optionalDeleteExtension(record.optionalDeleteExtension),
      defaultFile(record.defaultFileToCopy),
      destinationFolder(record.destinationFolder),
      overwrite(record.overwrite) {}

bool FileCommandJob::namesGroups() const {
  return !extensions.empty() && !optionalExtensions.empty() &&
         std::all_of(extensions.begin(), extensions.end(), isExtension) &&
         std::all_of(optionalExtensions.begin(), optionalExtensions.end(), isExtension) &&
         staysBelowRoot(searchingFolder);
}

const WideText& FileCommandJob::root() const {
  return mainIsDefault || secondFolder.empty() ? mainFolder : secondFolder;
}

}  // namespace ZelmoraTevra
