#pragma once

#include "install/SpaceReport.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

struct CodedMessage {
  int exitCode;
  WideView message;
};

// What an installation reports: packages that name the storages of their updates and older ones that don't
// take the same road under numbers and messages of their own.
struct InstallRoute {
  int tempFolderTooSmall;
  WideView moveMapLine;  // in the log
  NotEnoughSpaceCodes notEnoughSpace;
  SpaceAfterwards spaceAfterwards;
  CodedMessage noRegister;
  CodedMessage notRecorded;
  CodedMessage notDeleted;  // the downloaded files
  CodedMessage cleanupNotStarted;
  CodedMessage cleanupFailed;
};

extern const InstallRoute locatedRoute;
extern const InstallRoute olderRoute;

}  // namespace ZelmoraTevra
