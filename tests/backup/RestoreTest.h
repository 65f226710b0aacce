#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "backup/RestoreJob.h"
#include "core/IndicatorFile.h"
#include "core/StatusXml.h"
#include "tests/device/DeviceTest.h"
#include "tests/support/BackupBuilder.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {

// A test of restoring on a device E: with a card F:, whose files lie in folders of the test, from backups in
// the test's backup root.
class RestoreTest : public DeviceTest {
 protected:
  RestoreTest() {
    addDrive(u'E');
    addDrive(u'F');
    writeOn(u'E', "ZELMORA/version.xml", versionFile("HW1", "UID1"));
    // The medium of the tests is that of whatever else runs on this computer.
    platform::Machine machine = platform::machine();
    machine.files = &unsynced_;
    useMachine(machine);
    for (const char16_t letter : {u'E', u'F'})
      maintenance.outputs[letter] = "The type of the file system is FAT32.";
  }

  [[nodiscard]] static std::string versionFile(const std::string& id, const std::string& productId,
                                               const std::string& section = "software",
                                               const std::string& model = "NAV") {
    return "<config><" + section + "><brand>ZELMORA</brand><platform>" + model +
           "</platform><version>7.1.0</version><id>" + id + "</id><productid>" + productId +
           "</productid></" + section + "></config>";
  }
  [[nodiscard]] BackupBuilder backupNamed(const std::string& name) const {
    return {folder.native() / "backups", name};
  }
  // What the front end asks for, unless a test changes it.
  struct Request {
    WideText flash = u"E:";
    WideText name = u"b";
    WideText card = u"F:";
    bool keepFlash = false;
    bool keepCard = false;
    bool windows7 = false;
    std::shared_ptr<IndicatorFile> indicator = {};
  };
  int restore(const Request& request) {
    testing::internal::CaptureStdout();
    RestoreJob job;
    job.setIndicatorFile(request.indicator);
    const int prepared = job.prepareRestore(request.flash, request.name, request.card, request.keepFlash,
                                            request.keepCard, request.windows7);
    const int result = prepared == 0 ? job.runRestore() : prepared;
    testing::internal::GetCapturedStdout();
    return result;
  }
  // A full image onto storages that are cleared, not formatted.
  int restoreCleared(WideText card = u"F:") {
    return restore({.card = std::move(card), .keepFlash = true, .keepCard = true});
  }
  int restorePersonal(WideText card = u"F:") { return restore({.card = std::move(card)}); }

  void requestAbort() const {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }
  [[nodiscard]] std::string onDrive(char16_t letter, const std::string& file) const {
    return readFile(path(WideText(1, letter) + u'/' + toWide(file)));
  }
  // Path to content of all files below a folder of the test.
  [[nodiscard]] std::map<std::string, std::string> contents(const WideText& relative) const {
    std::map<std::string, std::string> found;
    for (const std::string& entry : JobTest::tree(path(relative)))
      if (!entry.ends_with('/')) found[entry] = readFile(path(relative + u'/' + toWide(entry)));
    return found;
  }
  void expectFailure(const WideText& exitCode, const WideText& message, WideText percent = u"100") const {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, statErrorOccured);
    EXPECT_EQ(saved.exitCode(), exitCode);
    std::vector<WideText> descriptions = {std::move(percent)};
    if (!message.empty()) descriptions.push_back(message);
    EXPECT_EQ(saved.descriptions, descriptions);
  }
  // The attributes besides those of every report.
  [[nodiscard]] std::map<WideText, WideText> extras() const {
    std::map<WideText, WideText> attributes = status().attributes;
    attributes.erase(u"exitCode");
    attributes.erase(u"executionTime");
    return attributes;
  }
  using Extras = std::map<WideText, WideText>;
  [[nodiscard]] Extras backupPlace(WideView name = u"b") const {
    const WideText place = path(u"backups/" + WideText(name));
    return {{u"PATH", place}, {u"DRIVE", u""}};
  }

 private:
  UnsyncedFileSystem unsynced_{*platform::machine().files};
};

}  // namespace ZelmoraTevra
