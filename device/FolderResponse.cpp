#include "device/FolderResponse.h"

#include "core/Directory_new.h"
#include "core/XmlDocument.h"
#include "device/InfoElements.h"
#include "device/VolumeQueries.h"

namespace ZelmoraTevra {

namespace {

void describe(TiXmlElement& parent, const WideText& folder, bool isWriteable) {
  addTextElement(parent, "driveletter", folder);
  addTextElement(parent, "name", u"ZELMORA");
  addFlagElement(parent, "writeable", isWriteable);
}

void addDisk(TiXmlElement& disks, const char* type, const WideText& folder, bool isWriteable) {
  TiXmlElement& disk = addElement(disks, "disk");
  disk.SetAttribute("type", type);
  describe(disk, folder, isWriteable);
}

bool hasDigest(const ClientMap& map) {
  return !map.md5SumFirst100kb.empty();
}

}  // namespace

void addFolderResponse(TiXmlElement& root, const RemovableDrive& drive) {
  const RemovableDriveInfo& info = drive.info();
  const WideText& first = drive.folderPath();
  const WideText& second = drive.secondaryFolderPath();
  const bool isSingle = !first.empty() && second.empty();
  const VolumeSpace firstSpace{info.totalSpace, info.freeSpace};
  const VolumeSpace secondSpace = spaceOfFolder(second);

  TiXmlElement& removable = addElement(root, "removable");
  removable.SetAttribute("type", isSingle ? "single" : "multiple");
  if (isSingle) {
    describe(removable, first, info.writeable);
    // The total in the place of the free space, on purpose: the true one is in the closing element.
    addSpaceElement(removable, {firstSpace.total, firstSpace.total});
  } else {
    TiXmlElement& disks = addElement(removable, "disks");
    addDisk(disks, "storage_for_software", first, info.writeable);
    addSpaceElement(disks, firstSpace);
    addDisk(disks, "storage_for_content", second, !Directory_new(second).isWriteProtected());
    addSpaceElement(disks, secondSpace);
  }
  addMisElement(removable, info.mis);
  if (info.software.isValid()) addSoftwareElement(removable, info, hasDigest);

  // Of two folders the sums are those of the second alone, on purpose: each has its own above.
  const VolumeSpace start = isSingle ? firstSpace : VolumeSpace();
  addSpaceElement(removable, {start.total + secondSpace.total, start.free + secondSpace.free});
}

}  // namespace ZelmoraTevra
