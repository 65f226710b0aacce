#pragma once

#include "device/VersionedRecord.h"

namespace ZelmoraTevra {

// The software of a device.
class ClientSoftware final : public VersionedRecord {
 public:
  WideText brand;
  WideText platform;
  WideText hardwareId;
  WideText gts;  // the date up to which maps are updated
  WideText deviceUid;
  WideText imei;
  WideText style;

  // A device without a version has no software.
  [[nodiscard]] bool isValid() const { return version() != u"0.0.0"; }
};

}  // namespace ZelmoraTevra
