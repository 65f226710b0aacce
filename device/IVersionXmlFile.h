#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// Where the file "version.xml" of a device is, which says what the device is and what is on it.
class IVersionXmlFile {
 public:
  virtual ~IVersionXmlFile() = default;
  // The root that was given.
  [[nodiscard]] virtual WideText getRootPath() const = 0;
  // Empty if the device has no such file.
  [[nodiscard]] virtual WideText getFilePath() const = 0;
  // The file in use is the one of an older device, or one was restored there.
  [[nodiscard]] virtual bool isKd3Layout() const = 0;
  // The file in use is the one of a newer device, or one was found there.
  [[nodiscard]] virtual bool isZelmoraLayout() const = 0;
};

}  // namespace ZelmoraTevra
