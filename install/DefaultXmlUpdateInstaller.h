#pragma once

#include <cstdint>

#include "core/PathBelowRoot.h"
#include "core/ProcessEnd.h"
#include "core/SetAsideFiles.h"
#include "install/IUpdateInstaller.h"

namespace ZelmoraTevra {

// Whether an XML entry with this creation flag makes the file that it is for where there is none.
[[nodiscard]] bool makesNewFile(std::int32_t creationFlag);

// Carries out the XML entries of an update: merges elements into XML files of the device, changes values in
// them and removes elements. All these files are on the main storage.
//
// The edits of consecutive entries for one file are made on one working copy, over all updates and all
// installers of the process. The device's file is replaced once, when an entry for another file comes, when
// an installer is destroyed, or when the process is ended. Until then nothing on the device has changed.
class DefaultXmlUpdateInstaller : public IXmlUpdateInstaller {
 public:
  DefaultXmlUpdateInstaller();
  // Brings back what isn't on the device yet. A failure is logged only.
  ~DefaultXmlUpdateInstaller() override;

  [[nodiscard]] std::unique_ptr<IUpdateInstaller> clone() const override;
  // Always true: an edit that fails, a file that can't be changed and an entry that is passed over, because
  // its path leaves the storage or is that of the register, don't fail the update.
  [[nodiscard]] bool install(const InstallUpdate& update, const WideText& zipPath, const WideText& targetRoot,
                             const WideText& primaryRoot, const WideText& otherRoot,
                             ProgressObserver* observer) override;
  // False if the changes of a file that this installer was to bring back, now or before, didn't get there.
  [[nodiscard]] bool finish() override;

 private:
  // Makes the entry's file the one in hand.
  [[nodiscard]] bool turnTo(const InstallXmlEntry& entry, PathBelowRoot& root);

  SetAsideFiles setAsideFiles_;
  bool hasLostChanges_ = false;
  AtProcessEnd atProcessEnd_;
};

}  // namespace ZelmoraTevra
