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

}  // namespace
}  // namespace ZelmoraTevra
