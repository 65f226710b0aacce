#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "backup/BackupDescription.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

// Tests with a device of flash and card, plain folders, and an empty backup root.
class BackupTest : public JobTest {
 protected:
  BackupTest() {
    backupRootFolder = root;
    for (const WideText& each : {root, flash, card}) makeFolder(each);
    writeFile(flash + u"/ZELMORA/version.xml", versionFile("100", "200"));
  }

  static std::string versionFile(const std::string& id, const std::string& productId,
                                 const std::string& brand = "ZELMORA", const std::string& platform = "NAV") {
    return "<config><software><brand>" + brand + "</brand><platform>" + platform +
           "</platform><version>7.1.0</version><id>" + id + "</id><productid>" + productId +
           "</productid></software></config>";
  }
  // A description of the device above, or of another one.
  static std::string descriptionText(const std::string& name, const std::string& id = "100",
                                     const std::string& productId = "200",
                                     const std::string& personal = "false", const std::string& files = {}) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<BackupContents>\n    <backup>\n        <name>" +
           name +
           "</name>\n        <brand>ZELMORA</brand>\n        <platform>NAV</platform>\n        "
           "<version>7.1.0</version>\n        <creationdate>2012-03-05</creationdate>\n        "
           "<size>0</size>\n"
           "        <hardwareID>" +
           id + "</hardwareID>\n        <deviceUID>" + productId + "</deviceUID>\n        <personalBackup>" +
           personal +
           "</personalBackup>\n        <converted>false</converted>\n    </backup>\n    <BackupFiles>\n" +
           files + "    </BackupFiles>\n</BackupContents>\n";
  }
  void putBackup(const std::string& name, const std::string& description) const {
    const WideText folder = root + u'/' + toWide(name);
    writeFile(folder + u'/' + toWide(name) + u".xml", description);
    writeFile(folder + u"/storage_for_software/old.bin", "old content");
    writeFile(folder + u"/storage_for_software/ZELMORA/version.xml", versionFile("100", "200"));
  }

  static std::filesystem::path native(const WideText& path) { return toUtf8(path); }
  void link(const WideText& target, const WideText& at) const {
    std::filesystem::create_symlink(native(target), native(at));
  }
  // What the front end was told last: exit code and descriptions.
  void expectFailure(const WideText& exitCode, const std::vector<WideText>& descriptions,
                     std::map<WideText, WideText> extras = {}) const {
    SavedStatus told = status();
    EXPECT_EQ(told.state, statErrorOccured);
    EXPECT_EQ(told.exitCode(), exitCode);
    EXPECT_EQ(told.descriptions, descriptions);
    for (const auto* const name : {u"exitCode", u"executionTime", u"serialNumber"})
      told.attributes.erase(name);
    EXPECT_EQ(told.attributes, extras);
  }
  void expectUntold() const { EXPECT_TRUE(statusHistory().empty()); }
  [[nodiscard]] WideText drive() const { return driveOfPath(folder.path()); }

  const WideText root = path(u"backups");
  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
};

}  // namespace ZelmoraTevra
