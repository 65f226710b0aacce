#include "userdata/KmlJob.h"

#include "core/Directory_new.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

bool deviceTakesTracks(const KmlJob& job) {
  if (Directory_new(job.mainFolder).takesWrites()) return true;
  ErrorReport(1233, u"Device disconnected error!").save();
  return false;
}

}  // namespace ZelmoraTevra
