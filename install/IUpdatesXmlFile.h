#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// Where the register "updates.xml" of a device is read and written.
class IUpdatesXmlFile {
 public:
  virtual ~IUpdatesXmlFile() = default;
  [[nodiscard]] virtual WideText getRootPath() const = 0;
  // The working copy if one was asked for, else the file on the device. Empty if the device has no place for
  // a register or the working copy could not be made.
  [[nodiscard]] virtual WideText getFilePath() const = 0;
  [[nodiscard]] virtual bool isKd3Layout() const = 0;
  [[nodiscard]] virtual bool isZelmoraLayout() const = 0;
};

}  // namespace ZelmoraTevra
