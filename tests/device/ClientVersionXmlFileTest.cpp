#include <exception>
#include <memory>

#include "device/ClientVersionXmlFile.h"
#include "platform/Machine.h"
#include "tests/device/DeviceFolderTest.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr WideView newerFile = u"ZELMORA/version.xml";
constexpr WideView olderFile = u"KD3/version.xml";
constexpr WideView backupFile = u".DeviceConfigurationBackupFile/version_bkp";

class ClientVersionXmlFileTest : public DeviceFolderTest {
 protected:
  ClientVersionXmlFileTest() { makeFolder(root_); }

  void expectFile(WideView relative, bool zelmora, bool kd3) {
    const ClientVersionXmlFile file(root_);
    EXPECT_EQ(file.getRootPath(), root_);
    EXPECT_EQ(toForwardSlashes(file.getFilePath()), relative.empty() ? WideText() : onDevice(relative));
    EXPECT_EQ(file.isZelmoraLayout(), zelmora);
    EXPECT_EQ(file.isKd3Layout(), kd3);
  }
  void expectNoFile() { expectFile(u"", false, false); }

  const std::string sound_ = soundVersionDocument();
  const std::string saved_ = soundVersionDocument("<map/>");
  const std::string damaged_ = sound_.substr(0, 60);
};

TEST_F(ClientVersionXmlFileTest, TheNewerFileIsFound) {
  put(newerFile, sound_);
  expectFile(newerFile, true, false);
}

TEST_F(ClientVersionXmlFileTest, TheOlderFileIsFound) {
  put(olderFile, versionDocument(identityElement("kd3")));
  expectFile(olderFile, false, true);
}

TEST_F(ClientVersionXmlFileTest, OfBothTheNewerFileIsUsedAndTheOlderLayoutIsNotSet) {
  put(newerFile, sound_);
  put(olderFile, versionDocument(identityElement("kd3")));
  expectFile(newerFile, true, false);
}

TEST_F(ClientVersionXmlFileTest, ADeviceWithoutAFileHasNone) {
  startLog();
  expectNoFile();
  makeFolder(onDevice(u"ZELMORA"));
  makeFolder(onDevice(u"KD3"));
  expectNoFile();
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ClientVersionXmlFileTest, ADriveIsARoot) {
  put(newerFile, sound_);
  writeFile(path(u"machine.xml"),
            "<machine><node id=\"a\"><volume letter=\"E\" folder=\"device\"/></node></machine>");
  const auto simulated = platform::openSimulatedMachine(path(u"machine.xml"));
  useMachine(simulated->machine());
  const ClientVersionXmlFile file(u"E:");
  EXPECT_EQ(file.getFilePath(), u"E:\\ZELMORA\\version.xml");
  EXPECT_TRUE(file.isZelmoraLayout());
}

TEST_F(ClientVersionXmlFileTest, AnEmptyRootIsNoDevice) {
  const ClientVersionXmlFile file(u"");
  EXPECT_TRUE(file.getFilePath().empty());
  EXPECT_FALSE(file.isZelmoraLayout());
  EXPECT_FALSE(file.isKd3Layout());
}

TEST_F(ClientVersionXmlFileTest, AFileIsSoundWithBrandPlatformAndVersionOfEitherLayout) {
  const auto isSound = [this](const std::string& content) {
    put(newerFile, content);
    return isVersionFileSound(onDevice(newerFile));
  };
  EXPECT_TRUE(isSound(sound_));
  EXPECT_TRUE(isSound(versionDocument(identityElement("kd3"))));
  EXPECT_TRUE(isSound(versionDocument("<software/>" + identityElement("kd3"))));
  for (const char* const section : {"software", "kd3"}) {
    EXPECT_FALSE(isSound(versionDocument(identityElement(section, ""))));
    EXPECT_FALSE(isSound(versionDocument(identityElement(section, "ZELMORA", ""))));
    EXPECT_FALSE(isSound(versionDocument(identityElement(section, "ZELMORA", "NX", ""))));
  }
  EXPECT_FALSE(
      isSound(versionDocument("<software><brand>a</brand><platform>b</platform></software>"
                              "<kd3><version>c</version></kd3>")))
      << "the three belong together";
  EXPECT_FALSE(isSound("<other>" + identityElement("software") + "</other>"));
  EXPECT_FALSE(isSound(damaged_));
  EXPECT_FALSE(isSound(""));
  EXPECT_FALSE(isVersionFileSound(onDevice(u"missing.xml")));
}

TEST_F(ClientVersionXmlFileTest, ADamagedFileWithoutBackupIsUsedAsItIs) {
  startLog();
  put(newerFile, damaged_);
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), damaged_);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ClientVersionXmlFileTest, ADamagedFileIsOverwrittenByTheBackupAndStaysBeside) {
  startLog();
  put(newerFile, damaged_);
  put(backupFile, saved_);
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), saved_);
  EXPECT_EQ(get(u"ZELMORA/version.xml_damaged1"), damaged_);
  EXPECT_EQ(get(backupFile), saved_);
  EXPECT_THAT(log(), ElementsAre("Backup of version.xml will be used!",
                                 "Backuped to path: " + toUtf8(onDevice(newerFile))));
}

TEST_F(ClientVersionXmlFileTest, AWellFormedFileThatIsNotSoundIsOverwrittenToo) {
  put(olderFile, versionDocument(identityElement("kd3", "")));
  put(backupFile, saved_);
  expectFile(olderFile, false, true);
  EXPECT_EQ(get(olderFile), saved_);
  EXPECT_EQ(get(u"KD3/version.xml_damaged1"), versionDocument(identityElement("kd3", "")));
}

TEST_F(ClientVersionXmlFileTest, AMissingFileIsRestored) {
  put(backupFile, saved_);
  makeFolder(onDevice(u"ZELMORA"));
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), saved_);
}

TEST_F(ClientVersionXmlFileTest, ASoundFileIsNotOverwrittenByTheBackup) {
  startLog();
  put(newerFile, sound_);
  put(backupFile, saved_);
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), sound_);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ClientVersionXmlFileTest, OnADeviceWithBothFoldersTheOlderFileIsRestoredAndBothLayoutsAreSet) {
  put(newerFile, damaged_);
  makeFolder(onDevice(u"KD3"));
  put(backupFile, saved_);
  expectFile(olderFile, true, true);
  EXPECT_EQ(get(newerFile), damaged_);
  EXPECT_EQ(get(olderFile), saved_);
}

TEST_F(ClientVersionXmlFileTest, ADeviceWithoutFoldersStaysWithoutAFile) {
  startLog();
  put(backupFile, saved_);
  expectNoFile();
  EXPECT_THAT(device(),
              ElementsAre(".DeviceConfigurationBackupFile/", ".DeviceConfigurationBackupFile/version_bkp"));
  EXPECT_THAT(log(), ElementsAre("Backup of version.xml will be used!"));
}

TEST_F(ClientVersionXmlFileTest, IfTheCopyFailsTheDamagedFileStaysInUse) {
  startLog();
  put(newerFile, damaged_);
  put(backupFile, saved_);
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;
  faulty.failAllAfter = true;
  useFileSystem(faulty);
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), damaged_);
  useMachine(platform::nativeMachine());
  EXPECT_EQ(get(newerFile), damaged_);
}

TEST_F(ClientVersionXmlFileTest, ABackupThatIsNotWellFormedRestoresNothing) {
  const std::string unsound = versionDocument(identityElement("software", ""));
  startLog();
  put(newerFile, unsound);
  put(backupFile, damaged_);
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), unsound);
  EXPECT_THAT(log(), ElementsAre("Backup of version.xml will be used!"));
}

TEST_F(ClientVersionXmlFileTest, AFailureAtAnyOperationOfARestorationLosesNothing) {
  for (int operation = 1;; ++operation) {
    std::filesystem::remove_all(toUtf8(root_));
    put(newerFile, damaged_);
    put(backupFile, saved_);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    const ClientVersionXmlFile file(root_);
    useMachine(platform::nativeMachine());
    EXPECT_TRUE(file.isZelmoraLayout());
    EXPECT_THAT(get(newerFile), AnyOf(damaged_, saved_)) << "operation " << operation;
    EXPECT_EQ(get(backupFile), saved_);
    if (faulty.count < operation) break;
  }
}

TEST_F(ClientVersionXmlFileTest, AKillAtAnyOperationOfARestorationIsPutRightByTheNextOne) {
  for (int operation = 1;; ++operation) {
    std::filesystem::remove_all(toUtf8(root_));
    put(newerFile, damaged_);
    put(backupFile, saved_);
    const bool ended = runsToItsEnd([&] {
      FaultyFileSystem faulty(files());
      faulty.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      const ClientVersionXmlFile file(root_);
    });
    expectFile(newerFile, true, false);
    EXPECT_EQ(get(newerFile), saved_) << "operation " << operation;
    EXPECT_EQ(get(backupFile), saved_);
    if (ended) break;
  }
}

TEST_F(ClientVersionXmlFileTest, AnInterruptedReplacementIsPutRight) {
  put(u"ZELMORA/version.xml_tevra_new", sound_);
  expectFile(newerFile, true, false);
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
  EXPECT_EQ(get(newerFile), sound_);
}

TEST_F(ClientVersionXmlFileTest, ALinkIsNoVersionFile) {
  writeFile(path(u"outside/version.xml"), sound_);
  link(newerFile, path(u"outside/version.xml"));
  expectNoFile();
}

TEST_F(ClientVersionXmlFileTest, AFolderThatIsALinkHasNoVersionFile) {
  writeFile(path(u"outside/version.xml"), sound_);
  link(u"ZELMORA", path(u"outside"));
  expectNoFile();
}

TEST_F(ClientVersionXmlFileTest, NothingIsRestoredThroughALink) {
  writeFile(path(u"outside/version.xml"), damaged_);
  put(backupFile, saved_);
  link(u"KD3", path(u"outside"));
  expectNoFile();
  EXPECT_EQ(readFile(path(u"outside/version.xml")), damaged_);
  EXPECT_THAT(tree(path(u"outside")), ElementsAre("version.xml"));
}

TEST_F(ClientVersionXmlFileTest, ALinkIsNoBackup) {
  writeFile(path(u"outside/version_bkp"), saved_);
  put(newerFile, damaged_);
  link(u".DeviceConfigurationBackupFile", path(u"outside"));
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), damaged_);
}

TEST_F(ClientVersionXmlFileTest, AnIdentityThatIsNotUtf8IsNotSound) {
  const std::string bad = versionDocument(identityElement("software", "ZELMORA", "N\xFF"));
  put(newerFile, bad);
  EXPECT_FALSE(isVersionFileSound(onDevice(newerFile)));
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), bad);
  put(backupFile, saved_);
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), saved_);
  EXPECT_EQ(get(u"ZELMORA/version.xml_damaged1"), bad);
}

TEST_F(ClientVersionXmlFileTest, AnotherFileThatIsReplacedStaysBesideThoughItIsSound) {
  const std::string older = versionDocument(identityElement("kd3"));
  put(newerFile, damaged_);
  put(olderFile, older);
  put(backupFile, saved_);
  expectFile(olderFile, true, true);
  EXPECT_EQ(get(olderFile), saved_);
  EXPECT_EQ(get(u"KD3/version.xml_damaged1"), older);
}

TEST_F(ClientVersionXmlFileTest, ABackupThatIsNotSoundRestoresNothing) {
  for (const std::string& backup : {std::string("<other/>"), versionDocument(identityElement("software", "")),
                                    versionDocument(identityElement("software", "\xFF"))}) {
    put(newerFile, damaged_);
    put(backupFile, backup);
    expectFile(newerFile, true, false);
    EXPECT_EQ(get(newerFile), damaged_);
  }
}

TEST_F(ClientVersionXmlFileTest, AFileBeyondTheBoundsIsNotReplaced) {
  std::string deep;
  for (int level = 0; level < 200; ++level) deep += "<a>";
  put(newerFile, versionDocument(deep));
  put(backupFile, saved_);
  expectFile(newerFile, true, false);
  EXPECT_EQ(get(newerFile), versionDocument(deep));
}

// One file can't be read, as where the medium is worn.
class WornFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode != platform::OpenMode::read || !path.ends_with(u"version.xml"))
      return target().open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }
};

TEST_F(ClientVersionXmlFileTest, AFileThatCannotBeReadIsNotReplaced) {
  put(newerFile, sound_);
  put(backupFile, saved_);
  WornFileSystem worn(files());
  useFileSystem(worn);
  expectFile(newerFile, true, false);
  useMachine(platform::nativeMachine());
  EXPECT_EQ(get(newerFile), sound_);
  EXPECT_EQ(get(u"ZELMORA/version.xml_damaged1"), "<missing>");
}

class VersionBackupTest : public ClientVersionXmlFileTest {
 protected:
  void backUp() { backUpVersionFile(ClientVersionXmlFile(root_)); }
};

TEST_F(VersionBackupTest, TheFileIsCopiedIntoAHiddenFolder) {
  put(newerFile, sound_);
  HidingFileSystem hiding(files());
  useFileSystem(hiding);
  backUp();
  EXPECT_THAT(device(),
              ElementsAre(".DeviceConfigurationBackupFile/", ".DeviceConfigurationBackupFile/version_bkp",
                          "ZELMORA/", "ZELMORA/version.xml"));
  EXPECT_EQ(get(backupFile), sound_);
  EXPECT_THAT(hiding.hidden, ElementsAre(onDevice(u".DeviceConfigurationBackupFile")));
}

TEST_F(VersionBackupTest, AnOlderBackupIsReplaced) {
  put(newerFile, sound_);
  put(backupFile, saved_);
  backUp();
  EXPECT_EQ(get(backupFile), sound_);
}

TEST_F(VersionBackupTest, ABackupThatIsTheSameIsNotWrittenAgain) {
  put(newerFile, sound_);
  put(backupFile, sound_);
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  backUp();
  EXPECT_EQ(faulty.count, 0);
}

TEST_F(VersionBackupTest, AFailureAtAnyOperationLosesNoBackup) {
  for (int operation = 1;; ++operation) {
    put(newerFile, sound_);
    put(backupFile, saved_);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    backUp();
    useMachine(platform::nativeMachine());
    EXPECT_EQ(get(newerFile), sound_);
    EXPECT_THAT(get(backupFile), AnyOf(sound_, saved_)) << "operation " << operation;
    if (faulty.count < operation) break;
  }
}

TEST_F(VersionBackupTest, ADeviceWithoutAFileGetsNoBackup) {
  backUp();
  EXPECT_EQ(get(backupFile), "<missing>");
}

TEST_F(VersionBackupTest, AFileThatIsNotSoundReplacesNoSoundBackup) {
  put(newerFile, versionDocument(identityElement("software", "ZELMORA", "NX", "")));
  const ClientVersionXmlFile file(root_);
  put(backupFile, saved_);
  EXPECT_TRUE(mayHaveSoundBackup(root_));
  backUpVersionFile(file);
  EXPECT_EQ(get(backupFile), saved_);
  put(backupFile, damaged_);
  EXPECT_FALSE(mayHaveSoundBackup(root_));
  backUpVersionFile(file);
  EXPECT_EQ(get(backupFile), get(newerFile));
}

TEST_F(VersionBackupTest, ADeviceThatHasGoneIsNotMadeAgain) {
  put(newerFile, sound_);
  const ClientVersionXmlFile file(root_);
  std::filesystem::remove_all(toUtf8(root_));
  backUpVersionFile(file);
  EXPECT_FALSE(std::filesystem::exists(toUtf8(root_)));
}

TEST_F(VersionBackupTest, NothingIsWrittenThroughALink) {
  put(newerFile, sound_);
  makeFolder(path(u"outside"));
  link(u".DeviceConfigurationBackupFile", path(u"outside"));
  backUp();
  EXPECT_THAT(tree(path(u"outside")), IsEmpty());
}

class UserSettingsDateTest : public ClientVersionXmlFileTest {
 protected:
  [[nodiscard]] std::string date() { return toUtf8(readUserSettingsDate(ClientVersionXmlFile(root_))); }
  static std::string settings(const std::string& date) {
    return "<Settings><MapUpdateFlag><Date>" + date + "</Date></MapUpdateFlag></Settings>";
  }
};

TEST_F(UserSettingsDateTest, ItStandsInTheFolderOfTheLayout) {
  put(newerFile, sound_);
  put(u"ZELMORA/Settings/UserSettings.xml", settings("2027-03-01"));
  put(u"KD3/Settings/UserSettings.xml", settings("1999-01-01"));
  EXPECT_EQ(date(), "2027-03-01");
}

TEST_F(UserSettingsDateTest, AnOlderDeviceHasItInTheOlderFolder) {
  put(olderFile, versionDocument(identityElement("kd3")));
  put(u"KD3/Settings/UserSettings.xml", settings("2027-03-01"));
  EXPECT_EQ(date(), "2027-03-01");
}

TEST_F(UserSettingsDateTest, WithBothLayoutsItIsThatOfTheNewerOne) {
  put(newerFile, damaged_);
  put(backupFile, saved_);
  put(u"ZELMORA/Settings/UserSettings.xml", settings("2027-03-01"));
  put(u"KD3/Settings/UserSettings.xml", settings("1999-01-01"));
  EXPECT_EQ(date(), "2027-03-01");
}

TEST_F(UserSettingsDateTest, ItIsEmptyWithoutAVersionFileSettingsOrTheElement) {
  put(u"ZELMORA/Settings/UserSettings.xml", settings("2027-03-01"));
  EXPECT_EQ(date(), "");
  put(newerFile, sound_);
  put(u"ZELMORA/Settings/UserSettings.xml", settings("2027-03-01").substr(0, 30));
  EXPECT_EQ(date(), "");
  put(u"ZELMORA/Settings/UserSettings.xml", "<Settings><Date>2027-03-01</Date></Settings>");
  EXPECT_EQ(date(), "");
  std::filesystem::remove(toUtf8(onDevice(u"ZELMORA/Settings/UserSettings.xml")));
  EXPECT_EQ(date(), "");
  writeFile(path(u"outside/UserSettings.xml"), settings("2027-03-01"));
  link(u"ZELMORA/Settings/UserSettings.xml", path(u"outside/UserSettings.xml"));
  EXPECT_EQ(date(), "") << "a link is not followed";
}

}  // namespace
}  // namespace ZelmoraTevra
