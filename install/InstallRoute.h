#pragma once

#include "install/PackageSequence.h"
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
  int validating = 0;       // no validation, no number
  int damaged = 0;          // files, as the validation found
  CodedMessage notDeleted;  // the downloaded files
  CodedMessage cleanupNotStarted;
  CodedMessage cleanupFailed;
};

// What sets an installation of packages that name the storages of their updates and one of an older package,
// which goes whole to one storage, apart: they take the same road, and report under numbers and messages of
// their own.
struct InstallRoute {
  int (PackageSequence::*distribute)(UpdateDistributor&, Distribution&) const;
  int tempFolderTooSmall;
  bool tellsUnknownTempRoom;  // as too little; else the installation ends without a report
  WideView moveMapLine;       // in the log
  bool cardComesFirst;        // when the storages are tested behind a move
  NotEnoughSpaceCodes notEnoughSpace;
  SpaceAfterwards spaceAfterwards;
  InstallationReports reports;
};

extern const InstallRoute locatedRoute;
extern const InstallRoute olderRoute;

}  // namespace ZelmoraTevra
