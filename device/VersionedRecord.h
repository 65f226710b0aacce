#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// What is installed on a device has a version, which is always in normal form: "2" is "2.0.0", and nothing is
// "0.0.0".
class VersionedRecord {
 public:
  [[nodiscard]] WideText version() const { return normalizeVersion(version_); }
  void setVersion(const WideText& text) { version_ = normalizeVersion(text); }

  // Three parts separated by dots; what stands behind the second dot is kept as it is.
  [[nodiscard]] virtual WideText normalizeVersion(const WideText& text) const;

 protected:
  VersionedRecord() = default;
  VersionedRecord(const VersionedRecord&) = default;
  VersionedRecord(VersionedRecord&&) = default;
  VersionedRecord& operator=(const VersionedRecord&) = default;
  VersionedRecord& operator=(VersionedRecord&&) = default;
  ~VersionedRecord() = default;

 private:
  WideText version_;
};

}  // namespace ZelmoraTevra
