#include "backup/BackupIdentity.h"
#include "tests/backup/BackupTest.h"

namespace ZelmoraTevra {
namespace {

struct SameDeviceCase {
  const char* description;
  BackupDescription left;
  BackupDescription right;
  bool isSame;
};

BackupDescription identity(const WideText& uid, const WideText& hardwareId,
                           const WideText& personal = u"false", const WideText& platform = u"NAV",
                           const WideText& brand = u"ZELMORA", const WideText& version = u"1") {
  BackupDescription description;
  description.deviceUID = uid;
  description.hardwareID = hardwareId;
  description.personalBackup = personal;
  description.platform = platform;
  description.brand = brand;
  description.version = version;
  return description;
}

TEST(SameDeviceTest, IsDecidedByTheFirstRuleThatFits) {
  const std::vector<SameDeviceCase> cases = {
      {"equal UID", identity(u"u", u"1"), identity(u"u", u"2"), true},
      {"equal UID, all else different", identity(u"u", u"1"),
       identity(u"u", u"2", u"false", u"P", u"B", u"9"), true},
      {"equal UID, one personal", identity(u"u", u"1"), identity(u"u", u"1", u"true"), false},
      {"equal UID, both personal", identity(u"u", u"", u"true"), identity(u"u", u"", u"true"), true},
      {"equal hardware", identity(u"u", u"1"), identity(u"v", u"1"), true},
      {"equal hardware, no UID", identity(u"", u"1"), identity(u"", u"1", u"false", u"P", u"B"), true},
      {"equal hardware, one personal", identity(u"", u"1"), identity(u"", u"1", u"true"), false},
      {"different identifiers", identity(u"u", u"1"), identity(u"v", u"2"), false},
      {"identifiers that differ in case", identity(u"u", u"1"), identity(u"U", u"2"), false},
      {"UID against hardware alone", identity(u"u", u""), identity(u"", u"1"), false},
      {"UID that is the other's hardware", identity(u"x", u""), identity(u"", u"x"), false},
      {"neither has identifiers", identity(u"", u""), identity(u"", u""), true},
      {"the new one has none", identity(u"", u""), identity(u"v", u"2"), true},
      {"the old one has none", identity(u"u", u"1"), identity(u"", u""), true},
      {"none, other software version", identity(u"", u""),
       identity(u"", u"", u"false", u"NAV", u"ZELMORA", u"2"), true},
      {"none, other platform", identity(u"", u""), identity(u"", u"", u"false", u"P"), false},
      {"none, other brand", identity(u"", u""), identity(u"", u"", u"false", u"NAV", u"B"), false},
      {"none, brand in other case", identity(u"", u""), identity(u"", u"", u"false", u"NAV", u"Zelmora"),
       false},
      {"none, one personal", identity(u"", u""), identity(u"", u"", u"true"), false},
      {"none and nothing else", BackupDescription(), BackupDescription(), true},
  };
  for (const SameDeviceCase& each : cases) {
    EXPECT_EQ(isSameDevice(each.left, each.right), each.isSame) << each.description;
    EXPECT_EQ(isSameDevice(each.right, each.left), each.isSame)
        << each.description << ", the other way round";
  }
}

class BackupIdentityTest : public BackupTest {
 protected:
  static std::string olderVersionFile() {
    return "<config><kd3><brand>OLD</brand><platform>KD</platform><version>3.0.1</version><id>7</id>"
           "<productid>8</productid></kd3></config>";
  }
  BackupDescription description;
};

TEST_F(BackupIdentityTest, IsReadFromTheNewerVersionFile) {
  writeFile(flash + u"/KD3/version.xml", olderVersionFile());
  EXPECT_TRUE(readDeviceIdentity(flash, description));
  EXPECT_EQ(description.brand, u"ZELMORA");
  EXPECT_EQ(description.platform, u"NAV");
  EXPECT_EQ(description.version, u"7.1.0");
  EXPECT_EQ(description.hardwareID, u"100");
  EXPECT_EQ(description.deviceUID, u"200");
}

TEST_F(BackupIdentityTest, IsReadFromTheOlderOneWhereTheNewerDoesNotLoad) {
  writeFile(flash + u"/KD3/version.xml", olderVersionFile());
  writeFile(flash + u"/ZELMORA/version.xml", "<config>");
  EXPECT_TRUE(readDeviceIdentity(flash, description));
  EXPECT_EQ(description.brand, u"OLD");
  EXPECT_EQ(description.platform, u"KD");
  EXPECT_EQ(description.version, u"3.0.1");
  EXPECT_EQ(description.hardwareID, u"7");
  EXPECT_EQ(description.deviceUID, u"8");
}

TEST_F(BackupIdentityTest, WhatTheVersionFileLacksIsEmpty) {
  writeFile(flash + u"/ZELMORA/version.xml", "<config><software><brand>B</brand></software></config>");
  EXPECT_TRUE(readDeviceIdentity(flash, description));
  EXPECT_EQ(description.brand, u"B");
  EXPECT_EQ(description.hardwareID, u"");
  EXPECT_EQ(description.deviceUID, u"");
}

TEST_F(BackupIdentityTest, IsNotReadThroughALinkOutOfTheDevice) {
  writeFile(path(u"outside/version.xml"), versionFile("1", "2"));
  std::filesystem::remove_all(native(flash + u"/ZELMORA"));
  link(path(u"outside"), flash + u"/ZELMORA");
  EXPECT_FALSE(readDeviceIdentity(flash, description));
}

TEST_F(BackupIdentityTest, WithoutAVersionFileItIsReportedWithThePath) {
  std::filesystem::remove_all(native(flash + u"/ZELMORA"));
  EXPECT_EQ(describeDevice(flash, description), 1149);
  expectFailure(u"1149", {u"100", u"The version xml could not be found in the source folder!", flash});
}

TEST_F(BackupIdentityTest, TheDateIsThatOfTheUniversalTime) {
  const std::vector<std::pair<std::int64_t, WideText>> dates = {{1'330'905'600, u"2012-03-05"},
                                                                {1'330'905'599, u"2012-03-04"},
                                                                {1'356'998'399, u"2012-12-31"},
                                                                {951'782'400, u"2000-02-29"},
                                                                {0, u"1970-01-01"}};
  for (const auto& [seconds, date] : dates) {
    clock.seconds = seconds;
    EXPECT_EQ(describeDevice(flash, description), 0);
    EXPECT_EQ(description.creationdate, date);
  }
}

}  // namespace
}  // namespace ZelmoraTevra
