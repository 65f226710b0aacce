#pragma once

#include "install/SpaceReport.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

struct CodedMessage {
  int exitCode;
  WideView message;
};

// What placing updates, and all that comes behind it, reports.
struct InstallationReports {
  CodedMessage noRegister;
  CodedMessage notRecorded;
  int validating;
  int damaged;              // files, as the validation found
  CodedMessage notDeleted;  // the downloaded files
  CodedMessage cleanupNotStarted;
  CodedMessage cleanupFailed;
};

// What an installation reports: packages that name the storages of their updates and older ones that don't
// take the same road under numbers and messages of their own.
struct InstallRoute {
  int tempFolderTooSmall;
  WideView moveMapLine;  // in the log
  NotEnoughSpaceCodes notEnoughSpace;
  SpaceAfterwards spaceAfterwards;
  InstallationReports reports;
};

extern const InstallRoute locatedRoute;
extern const InstallRoute olderRoute;

}  // namespace ZelmoraTevra
