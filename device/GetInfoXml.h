#pragma once

#include <vector>

#include "device/RemovableDrive.h"
#include "device/usbDiskIdentifier.h"

class TiXmlDocument;

namespace ZelmoraTevra {

// Writes the response to GET_INFO: the drives or folders, in a document that takes the place of the status.
class GetInfoXml {
 public:
  explicit GetInfoXml(std::vector<RemovableDrive> drives);
  virtual ~GetInfoXml() = default;

  // Of drives that were found on the computer, in the order in which the finder gives them. False if the
  // document could not be saved, as with the other form.
  [[nodiscard]] bool writeScan(usbDiskIdentifier identifier) const;
  // Of one entry that was made of folders.
  [[nodiscard]] bool writeFolders() const;

 private:
  [[nodiscard]] bool save(const TiXmlDocument& document) const;

  WideText executableBaseName_;
  std::vector<RemovableDrive> drives_;
};

}  // namespace ZelmoraTevra
