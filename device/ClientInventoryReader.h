#pragma once

#include <vector>

#include "device/ClientApplication.h"
#include "device/ClientContent.h"
#include "device/ClientMap.h"
#include "device/ClientSoftware.h"
#include "device/IVersionXmlFile.h"
#include "device/InstalledMapFiles.h"
#include "install/IUpdatesXmlFile.h"

class TiXmlDocument;
class TiXmlElement;

namespace ZelmoraTevra {

class InstalledUpdates;

// What a device has installed, from its version file, with what its register of updates says of it. Read at
// construction; a file that is missing or damaged leaves empty values and a line in the log, and never fails.
// A text that isn't UTF-8 throws the UTF-8 library's exception.
//
// A sound version file is copied to the device's hidden backup. Of one that isn't well-formed nothing is
// reported, and what the parser could make of it takes the file's place; the damaged one stays beside
// ("version.xml_damaged1"). As long as the device has a backup that may be sound, and couldn't be restored,
// or if what was made couldn't be read again, the damaged file stays as it is. A file that can't be read, or
// is beyond the bounds of what is parsed, stays as it is: nobody knows what is in it.
class ClientInventoryReader {
 public:
  // The files must outlive the reader. The content root is that of the storage card, empty if there is none:
  // files that aren't on the version file's own storage are looked for there.
  ClientInventoryReader(const IVersionXmlFile& versionFile, IUpdatesXmlFile& updatesFile,
                        WideText contentRoot);

  // Copies.
  [[nodiscard]] ClientSoftware getSoftware() const { return software_; }
  [[nodiscard]] std::vector<ClientApplication> getApps() const { return apps_; }
  [[nodiscard]] std::vector<ClientContent> getContents() const { return contents_; }
  [[nodiscard]] std::vector<ClientMap> getMaps() const { return maps_; }

 private:
  void read();
  void readSoftware(const TiXmlElement* root);
  void readApps(const TiXmlElement* root);
  void readContents(const TiXmlElement* root, const InstalledUpdates& updates);
  void readMaps(const TiXmlElement* root, const InstalledUpdates& updates);
  void saveWhatWasKept(const TiXmlDocument& document) const;

  const IVersionXmlFile& versionFile_;
  IUpdatesXmlFile& updatesFile_;
  ClientSoftware software_;
  std::vector<ClientApplication> apps_;
  std::vector<ClientContent> contents_;
  std::vector<ClientMap> maps_;
  WideText contentRoot_;
};

}  // namespace ZelmoraTevra
