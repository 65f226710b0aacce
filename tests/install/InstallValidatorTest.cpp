#include <algorithm>

#include "core/Digest.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/InstallValidator.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

class InstallValidatorTest : public JobTest {
 protected:
  InstallValidatorTest() {
    ZipBuilder zip;
    zip.add("in/a", "content of a");
    zip.add("in/b", "content of b");
    writeFile(zipPath, zip.bytes());
    writeFile(device + u"/maps/a", "content of a");
    writeFile(device + u"/maps/b", "content of b");
  }

  void add(const WideText& name, const WideText& expectedMd5) {
    records.push_back({zipPath, u"in/" + name, device, u"maps/" + name, expectedMd5, {}});
  }
  [[nodiscard]] WideText digestOf(const std::string& content) const {
    const WideText file = path(u"digest");
    writeFile(file, content);
    return fileDigest(file);
  }
  InstallValidator::Result validate() {
    validator.begin(records);
    return validator.run();
  }

  const WideText device = path(u"device");
  const WideText zipPath = path(u"package.zip");
  const WideText digestOfA = digestOf("content of a");
  const WideText digestOfB = digestOf("content of b");
  std::vector<ValidationRecord> records;
  InstallValidator validator;
};

TEST_F(InstallValidatorTest, FilesWithTheDigestsOfTheDescriptionAreSound) {
  startLog();
  std::filesystem::remove(zipPath);  // isn't needed for them
  add(u"a", digestOfA);
  WideText lower = digestOfB;
  for (char16_t& c : lower)
    if (c >= u'A' && c <= u'F') c = static_cast<char16_t>(c + 32);
  add(u"b", lower);
  EXPECT_EQ(validate(), InstallValidator::sound);
  validator.end();
  EXPECT_TRUE(validator.getDeviceMismatches().empty());
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"START validation!", u"Status changed: statHaskValidation",
                                               u"END validation!"}));
}

TEST_F(InstallValidatorTest, NothingToValidateIsSoundAndOnlyTheTwoMarkersAreLogged) {
  startLog();
  EXPECT_EQ(validate(), InstallValidator::sound);
  validator.end();
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"START validation!", u"END validation!"}));
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(InstallValidatorTest, WithoutADigestEachFileIsUnpackedAgainAndSoundIfItIsTheSame) {
  startLog();
  add(u"a", u"");
  add(u"b", u"");
  EXPECT_EQ(validate(), InstallValidator::sound);
  EXPECT_TRUE(logHas(u"!!!Install xml problems: 2 md5 missing or not agree from install xml! Files: "));
  EXPECT_TRUE(logHas(u"File: " + device + u"/maps/a"));
  EXPECT_TRUE(logHas(u"Install xml md5: "));
  EXPECT_TRUE(logHas(u"Device md5: " + digestOfB));
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(InstallValidatorTest, AWrongDigestInTheDescriptionIsLoggedAndNoFailure) {
  startLog();
  add(u"a", digestOfB);
  EXPECT_EQ(validate(), InstallValidator::sound);
  EXPECT_TRUE(logHas(u"Install xml md5: " + digestOfB));
  EXPECT_TRUE(logHas(u"Device md5: " + digestOfA));
}

TEST_F(InstallValidatorTest, AFileThatDiffersFromItsSecondCopyIsDamaged) {
  startLog();
  writeFile(device + u"/maps/b", "damaged");
  add(u"a", digestOfA);
  add(u"b", digestOfB);
  EXPECT_EQ(validate(), InstallValidator::damaged);
  const std::vector<ValidationRecord> bad = validator.getDeviceMismatches();
  ASSERT_EQ(bad.size(), 1U);
  EXPECT_EQ(bad[0].clientPath, u"maps/b");
  EXPECT_EQ(bad[0].expectedMd5, digestOfB);
  EXPECT_EQ(bad[0].deviceMd5, digestOf("damaged"));
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(InstallValidatorTest, TheSecondCopyAndNotTheDescriptionTellsWhatTheFileShouldBe) {
  writeFile(device + u"/maps/b", "damaged");
  add(u"b", u"0123");
  EXPECT_EQ(validate(), InstallValidator::damaged);
  EXPECT_EQ(validator.getDeviceMismatches().at(0).expectedMd5, digestOfB);
}

TEST_F(InstallValidatorTest, AnEmptyFileIsComparedLikeAnyOther) {
  writeFile(device + u"/maps/a", "");
  add(u"a", u"D41D8CD98F00B204E9800998ECF8427E");
  EXPECT_EQ(validate(), InstallValidator::sound);
}

TEST_F(InstallValidatorTest, AFileThatHasGoneFromAStandingDeviceIs1290) {
  add(u"gone", digestOfA);
  add(u"a", digestOfA);
  EXPECT_EQ(validate(), InstallValidator::stopped);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1290");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"File not exists" + device + u"/maps/gone"}));
}

TEST_F(InstallValidatorTest, ADeviceThatHasGoneIs1287) {
  add(u"a", digestOfA);
  std::filesystem::remove_all(device);
  EXPECT_EQ(validate(), InstallValidator::stopped);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1287");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{
                u"100", u"Your device seems to be disconnected. Tevra was not able to access file: " +
                            device + u"/maps/a"}));
}

// Takes the device away when a file on it is opened for reading.
class PulledFileSystem : public platform::ForwardingFileSystem {
 public:
  PulledFileSystem(platform::FileSystem& target, WideText device)
      : ForwardingFileSystem(target), device_(std::move(device)) {}
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode != platform::OpenMode::read || !toForwardSlashes(path).starts_with(device_))
      return ForwardingFileSystem::open(path, mode, error);
    std::filesystem::remove_all(device_);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }

 private:
  WideText device_;
};

TEST_F(InstallValidatorTest, ADeviceThatIsPulledWhileAFileIsReadIs1287) {
  PulledFileSystem pulled(files(), device);
  useFileSystem(pulled);
  add(u"a", digestOfA);
  EXPECT_EQ(validate(), InstallValidator::stopped);
  EXPECT_EQ(status().exitCode(), u"1287");
}

// Doesn't open for reading what lies in some folders.
class UnreadableFileSystem : public platform::ForwardingFileSystem {
 public:
  UnreadableFileSystem(platform::FileSystem& target, std::vector<WideText> folders)
      : ForwardingFileSystem(target), folders_(std::move(folders)) {}
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    const bool isUnreadable = std::any_of(folders_.begin(), folders_.end(), [&path](const WideText& folder) {
      return toForwardSlashes(path).starts_with(toForwardSlashes(folder) + u'/');
    });
    if (mode != platform::OpenMode::read || !isUnreadable)
      return ForwardingFileSystem::open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }

 private:
  std::vector<WideText> folders_;
};

TEST_F(InstallValidatorTest, AFileThatCannotBeReadIsDamagedAlsoIfItsSecondCopyCannotBeReadEither) {
  add(u"a", digestOfA);
  const WideText ofDevice = device + u"/maps";
  for (const auto& folders :
       {std::vector<WideText>{ofDevice}, {workTempFolder}, {ofDevice, workTempFolder}}) {
    SCOPED_TRACE(toUtf8(folders.front()) + ' ' + std::to_string(folders.size()));
    // The description's digest may only speak for a file that can be read.
    records[0].expectedMd5 = folders.front() == ofDevice ? digestOfA : u"";
    UnreadableFileSystem unreadable(files(), folders);
    useFileSystem(unreadable);
    EXPECT_EQ(validate(), InstallValidator::damaged);
    useFileSystem(files());
    const std::vector<ValidationRecord> bad = validator.getDeviceMismatches();
    ASSERT_EQ(bad.size(), 1U);
    EXPECT_EQ(bad[0].deviceMd5, folders.front() == ofDevice ? u"" : digestOfA);
    EXPECT_EQ(bad[0].expectedMd5, folders.back() == workTempFolder ? u"" : digestOfA);
    EXPECT_TRUE(tree(workTempFolder).empty());
  }
}

TEST_F(InstallValidatorTest, AZipThatCantGiveASecondCopyStopsWithTheExtractorsReport) {
  std::filesystem::remove(zipPath);
  add(u"a", u"");
  EXPECT_EQ(validate(), InstallValidator::stopped);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1235");
}

TEST_F(InstallValidatorTest, AnAbortBehindAFileIsState8With1020) {
  add(u"a", digestOfA);
  add(u"b", digestOfB);
  writeFile(StatusXml::instance().abortFilePath(),
            "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  EXPECT_EQ(validate(), InstallValidator::aborted);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_EQ(statusHistory().size(), 2U);  // one file was begun
}

TEST_F(InstallValidatorTest, EachFileIsAnnouncedWithItsPercentTwiceAndEmptyTexts) {
  for (int i = 0; i < 3; ++i) add(u"a", digestOfA);
  EXPECT_EQ(validate(), InstallValidator::sound);
  ASSERT_EQ(statusHistory().size(), 3U);
  const WideText percents[] = {u"33", u"66", u"100"};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(statusHistory()[i].state, statHaskValidation);
    EXPECT_EQ(statusHistory()[i].descriptions, (std::vector<WideText>{percents[i], u"", percents[i], u""}));
  }
}

TEST_F(InstallValidatorTest, WhatLiesInTheWorkFolderUnderTheFilesNameStays) {
  writeFile(workTempFolder + u"/a", "another package");
  add(u"a", u"");
  EXPECT_EQ(validate(), InstallValidator::sound);
  EXPECT_EQ(tree(workTempFolder), (std::vector<std::string>{"a"}));
  EXPECT_EQ(readFile(workTempFolder + u"/a"), "another package");
}

TEST_F(InstallValidatorTest, TheZipItselfMayLieInTheWorkFolderUnderTheNameOfAFile) {
  writeFile(workTempFolder + u"/a", readFile(zipPath));
  add(u"a", u"");
  records[0].zipPath = workTempFolder + u"/a";
  EXPECT_EQ(validate(), InstallValidator::sound);
  EXPECT_TRUE(fileExists(workTempFolder + u"/a"));
}

TEST_F(InstallValidatorTest, FilesAreReadFromTheMedium) {
  class Watching : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      auto handle = ForwardingFileSystem::open(path, mode, error);
      if (!handle || toForwardSlashes(path).find(u"device/maps") == WideText::npos) return handle;
      return std::make_unique<Handle>(*this, std::move(handle));
    }
    int forgotten = 0;

   private:
    class Handle : public platform::ForwardingFileHandle {
     public:
      Handle(Watching& owner, std::unique_ptr<platform::FileHandle> target)
          : ForwardingFileHandle(std::move(target)), owner_(owner) {}
      void forgetCached() override { ++owner_.forgotten; }

     private:
      Watching& owner_;
    };
  } watching(files());
  useFileSystem(watching);
  add(u"a", digestOfA);
  EXPECT_EQ(validate(), InstallValidator::sound);
  EXPECT_EQ(watching.forgotten, 1);
}

TEST_F(InstallValidatorTest, TheEndIsLoggedAlsoWithoutACall) {
  startLog();
  {
    InstallValidator other;
    other.begin(records);
  }
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"START validation!", u"END validation!"}));
}

TEST_F(InstallValidatorTest, DamagedFilesAreReportedByNameAndLoggedWithBothDigests) {
  startLog();
  reportDamagedFiles({{zipPath, u"in/a", u"E:", u"maps/a", u"AA", u"BB"},
                      {zipPath, u"in/b", u"F:", u"maps/b", u"CC", u"DD"}},
                     1174);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1174");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100"}));
  EXPECT_EQ(status().attributes.at(u"fileName"), u"E:/maps/a; F:/maps/b");
  const std::vector<WideText> expected = {u"!!!VALIDATION PHASE: 2 md5 not match! Files: ",
                                          u"File: E:/maps/a",
                                          u"Local md5: AA",
                                          u"Device md5: BB",
                                          u"File: F:/maps/b",
                                          u"Local md5: CC",
                                          u"Device md5: DD"};
  const std::vector<WideText> lines = logLines();
  ASSERT_GE(lines.size(), expected.size());
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), lines.begin()));
}

}  // namespace
}  // namespace ZelmoraTevra
