#pragma once

#include <vector>

#include "install/IUpdatesXmlFile.h"

namespace ZelmoraTevra {

// True if a path on a device is that of a register, one that begins with it, or that of the folder that holds
// it: no package writes or deletes there. Beside a register stand files of its name with more behind it, of
// which one can become the register.
[[nodiscard]] bool isRegisterPlace(const WideText& relativePath);

enum class RegisterLayout { none, zelmora, kd3 };

// Which of the two folders for a register stands on a device's main storage: the newer one if both do. An
// empty root is no device.
[[nodiscard]] RegisterLayout registerLayout(const WideText& root);

// The register of a connected device: "updates.xml" in the folder "ZELMORA" or, on older devices, "KD3". An
// interrupted replacement of the file is put right first. If a working copy is asked for, all changes are
// made on a copy in the work folder; destruction brings it back to the device and removes it.
//
// No register is lost on the way. One that could not be copied makes the object unusable, and nothing is
// brought back; it is not taken for an empty one. One that is damaged stays on the device beside its
// replacement ("updates.xml_damaged1"). A link is not followed, it may lead out of the device.
class ClientUpdatesXmlFile : public IUpdatesXmlFile {
 public:
  // An empty root is no device.
  ClientUpdatesXmlFile(const WideText& rootPath, bool useWorkingCopy);
  ~ClientUpdatesXmlFile() override;
  ClientUpdatesXmlFile(const ClientUpdatesXmlFile&) = delete;
  ClientUpdatesXmlFile& operator=(const ClientUpdatesXmlFile&) = delete;

  [[nodiscard]] WideText getRootPath() const override { return rootPath_; }
  [[nodiscard]] WideText getFilePath() const override;
  [[nodiscard]] bool isKd3Layout() const override { return layout_ == RegisterLayout::kd3; }
  [[nodiscard]] bool isZelmoraLayout() const override { return layout_ == RegisterLayout::zelmora; }

  // Whether there is a place for a register and, if a working copy was asked for, one could be made.
  [[nodiscard]] bool isUsable() const;
  // What destruction does, at a moment of the caller's choice and at most once: brings the working copy back
  // and removes it; the object isn't usable afterwards. False if the register did not reach the device, which
  // is logged. A working copy that nothing was written to is no register and leaves the device as it is.
  bool copyBack();
  // Brings the working copy to the device and goes on working on it. False if it did not get there, which is
  // logged.
  bool bringBack() const;

 private:
  void makeWorkingCopy();

  bool useWorkingCopy_;
  WideText rootPath_;
  RegisterLayout layout_;
  WideText deviceFilePath_;   // empty: no place for a register
  WideText workingCopyPath_;  // empty: there is none
  std::vector<WideText> temporaryFiles_;
};

}  // namespace ZelmoraTevra
