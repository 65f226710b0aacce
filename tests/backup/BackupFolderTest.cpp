#include "backup/BackupFolder.h"
#include "tests/backup/BackupTest.h"

namespace ZelmoraTevra {
namespace {

TEST(BackupNameTest, IsTheNameOfOneFolder) {
  for (const WideView name : {u"a", u"my backup", u"2012-03-05", u".hidden", u"a..b", u"\u00e4"})
    EXPECT_TRUE(isBackupName(name)) << toUtf8(name);
  for (const WideView name :
       {u"", u".", u"..", u"...", u" ", u". .", u"a/b", u"a\\b", u"../a", u"/a", u"C:", u"C:a", u"a/"})
    EXPECT_FALSE(isBackupName(name)) << toUtf8(name);
  EXPECT_FALSE(isBackupName(WideView(u"a\0b", 3)));
}

TEST(BackupNameTest, IsNotThatOfATestForWriting) {
  for (const WideView name : {u"Tevra_131284_tmp", u"tevra_131284_TMP", u"Tevra_131284_tmp. ."})
    EXPECT_FALSE(isBackupName(name)) << toUtf8(name);
  for (const WideView name : {u"Tevra_131284_tmp1", u"Tevra_131284"}) EXPECT_TRUE(isBackupName(name));
}

TEST(BackupNameTest, OfANewBackupLeavesRoomForWhatIsPutBehindIt) {
  EXPECT_TRUE(isNewBackupName(WideText(200, u'a')));
  EXPECT_FALSE(isNewBackupName(WideText(201, u'a')));
  EXPECT_TRUE(isNewBackupName(WideText(66, u'\u20AC')));
  EXPECT_FALSE(isNewBackupName(WideText(67, u'\u20AC')));
  EXPECT_FALSE(isNewBackupName(u".."));
  EXPECT_TRUE(isBackupName(WideText(250, u'a')));
}

TEST(PathBehindFolderTest, BeginsWithTheSeparatorBehindTheFolder) {
  EXPECT_EQ(pathBehindFolder(u"E:\\a\\b", u"E:"), u"\\a\\b");
  EXPECT_EQ(pathBehindFolder(u"E:\\a/b", u"E:/"), u"\\a/b");
  EXPECT_EQ(pathBehindFolder(u"/media/dev\\a", u"/media\\dev\\/"), u"\\a");
  EXPECT_EQ(pathBehindFolder(u"E:\\", u"E:"), u"\\");
}

TEST(PathBehindFolderTest, IsNothingForWhatIsNotBelow) {
  EXPECT_EQ(pathBehindFolder(u"E:", u"E:"), std::nullopt);
  EXPECT_EQ(pathBehindFolder(u"E:\\ab\\c", u"E:\\a"), std::nullopt);
  EXPECT_EQ(pathBehindFolder(u"F:\\E:\\a", u"E:"), std::nullopt);
  EXPECT_EQ(pathBehindFolder(u"E:\\a", u""), std::nullopt);
  EXPECT_EQ(pathBehindFolder(u"\\a", u"/"), std::nullopt);
  EXPECT_EQ(pathBehindFolder(u"", u"E:"), std::nullopt);
}

TEST_F(BackupTest, ABackupStandsBelowTheRootWithItsDescriptionInIt) {
  EXPECT_EQ(backupFolder(u"a"), root + u"/a");
  EXPECT_EQ(descriptionPath(backupFolder(u"a"), u"a"), root + u"/a/a.xml");
}

TEST_F(BackupTest, OfALinkInABackupsPlaceOnlyTheLinkIsRemoved) {
  writeFile(path(u"outside/linked.xml"), descriptionText("linked"));
  writeFile(path(u"outside/storage_for_software/a"), "kept");
  const std::vector<std::string> before = tree(path(u"outside"));
  link(path(u"outside"), root + u"/linked");
  removeBackup(root + u"/linked", u"linked");
  EXPECT_TRUE(tree(root).empty());
  EXPECT_EQ(tree(path(u"outside")), before);
}

}  // namespace
}  // namespace ZelmoraTevra
