#pragma once

#include <vector>

#include "install/IUpdatesXmlFile.h"

namespace ZelmoraTevra {

// The register of a connected device, with a working copy in the work folder. Destruction brings the working
// copy back to the device, if it was asked for, and removes it.
class ClientUpdatesXmlFile : public IUpdatesXmlFile {
 public:
  ClientUpdatesXmlFile(const WideText& rootPath, bool useWorkingCopy);
  ~ClientUpdatesXmlFile() override;
  ClientUpdatesXmlFile(const ClientUpdatesXmlFile&) = delete;
  ClientUpdatesXmlFile& operator=(const ClientUpdatesXmlFile&) = delete;

  [[nodiscard]] WideText getRootPath() const override { return rootPath_; }
  [[nodiscard]] WideText getFilePath() const override;
  [[nodiscard]] bool isKd3Layout() const override { return kd3Layout_; }
  [[nodiscard]] bool isZelmoraLayout() const override { return zelmoraLayout_; }

  // Whether there is a place for a register and, if a working copy was asked for, one could be made.
  [[nodiscard]] bool isUsable() const;
  // What destruction does, at a moment of the caller's choice and at most once: brings the working copy back
  // and removes it. False if the register did not reach the device, which is logged.
  bool copyBack();

 private:
  bool useWorkingCopy_;
  WideText rootPath_;
  WideText deviceFilePath_;
  WideText workingCopyPath_;
  bool kd3Layout_ = false;
  bool zelmoraLayout_ = false;
  std::vector<WideText> temporaryFiles_;
};

}  // namespace ZelmoraTevra
