#pragma once

#include "core/XmlDocument.h"
#include "device/IVersionXmlFile.h"

namespace ZelmoraTevra {

// The version file of a connected device: "version.xml" in the folder "ZELMORA" or, on older devices, "KD3".
// The object is ready after its construction, which puts an interrupted replacement of the file right and
// restores an unsound one from the device's hidden backup. Both layouts can be true then: a restoration looks
// at the older folder first, the search at the newer file.
//
// Nothing is lost on the way: what was replaced stays beside the restored file ("version.xml_damaged1"), a
// backup that isn't sound itself restores nothing, a file that can't be read or is beyond the bounds of what
// is parsed isn't replaced, and a link is not followed, it may lead out of the device.
class ClientVersionXmlFile : public IVersionXmlFile {
 public:
  // A drive as "E:" or a folder. An empty root is no device.
  explicit ClientVersionXmlFile(const WideText& rootPath);

  [[nodiscard]] WideText getRootPath() const override { return rootPath_; }
  [[nodiscard]] WideText getFilePath() const override { return filePath_; }
  [[nodiscard]] bool isKd3Layout() const override { return kd3Layout_; }
  [[nodiscard]] bool isZelmoraLayout() const override { return zelmoraLayout_; }

 private:
  [[nodiscard]] bool find();
  void restore();

  WideText rootPath_;
  WideText filePath_;
  bool kd3Layout_ = false;
  bool zelmoraLayout_ = false;
};

// Puts an interrupted replacement of the version file right, in both places where it may be. Devices are told
// by this file: to be called before they are identified.
void recoverVersionFile(const WideText& rootPath);

// Where the version file of a newer device is, be it there or not.
[[nodiscard]] WideText newerVersionFilePath(const WideText& rootPath);

// Loads a version file as far as it goes. One of more than 16 MiB is refused: no device has one, and every
// connection of the device would wait for it to be read.
[[nodiscard]] XmlLoad loadVersionDocument(const WideText& path, TiXmlDocument& document);

// True if brand, platform and version are in the file, all three in the form of one of the two layouts and in
// valid UTF-8, whichever of the two folders the file lies in.
[[nodiscard]] bool isVersionFileSound(const WideText& path);

// True if the hidden folder of the device has a sound backup, or one that can't be looked into now.
[[nodiscard]] bool mayHaveSoundBackup(const WideText& rootPath);

// Keeps a copy of the file in a hidden folder of the device. A copy that is there and the same isn't written
// again, and a file that isn't sound replaces none that may be. Reports nothing: a device that takes no
// backup has none.
void backUpVersionFile(const IVersionXmlFile& versionFile);

// The date up to which the user has paid for maps, from the user's settings on the device; empty if there is
// none.
[[nodiscard]] WideText readUserSettingsDate(const IVersionXmlFile& versionFile);

}  // namespace ZelmoraTevra
