#include <filesystem>

#include "install/DefaultFileUpdateUninstaller.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class DefaultFileUpdateUninstallerTest : public JobTest {
 protected:
  DefaultFileUpdateUninstallerTest() {
    makeFolder(root);
    writeFile(path(u"outside"), "mine");
  }
  bool uninstall(const std::vector<WideText>& clients, const WideText& storage) {
    Update update;
    update.info.name = u"N";
    for (const WideText& client : clients) update.files.push_back({client, 0});
    DefaultFileUpdateUninstaller uninstaller;
    return uninstaller.uninstall(update, storage);
  }
  bool uninstall(const std::vector<WideText>& clients) { return uninstall(clients, root); }

  const WideText root = path(u"device");
};

TEST_F(DefaultFileUpdateUninstallerTest, DeletesTheFilesAndLeavesTheFoldersAndTheOthers) {
  for (const WideText name : {u"maps/a.map", u"maps/sub/b.map", u"c", u"maps/other"})
    writeFile(root + u'/' + name, "x");
  EXPECT_TRUE(uninstall({u"maps/a.map", u"maps\\sub\\b.map", u"c"}));
  EXPECT_EQ(tree(root), (std::vector<std::string>{"maps/", "maps/other", "maps/sub/"}));
}

TEST_F(DefaultFileUpdateUninstallerTest, MarksOfFilesThatWereToBePlacedGoToo) {
  for (const WideText name : {u"a", u"a_tevra_placing", u"b_tevra_placing", u"c_tevra_placing"})
    writeFile(root + u'/' + name, "");
  EXPECT_TRUE(uninstall({u"a", u"b"}));
  EXPECT_EQ(tree(root), (std::vector<std::string>{"c_tevra_placing"}));
}

TEST_F(DefaultFileUpdateUninstallerTest, AFileThatHasGoneAlreadyIsNoError) {
  writeFile(root + u"/b", "x");
  EXPECT_TRUE(uninstall({u"a", u"none/a", u"b"}));
  EXPECT_FALSE(fileExists(root + u"/b"));
}

TEST_F(DefaultFileUpdateUninstallerTest, AFileThatCanNotBeDeletedIsNoError) {
  writeFile(root + u"/a", "x");
  writeFile(root + u"/b", "x");
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;
  useFileSystem(faulty);
  EXPECT_TRUE(uninstall({u"a", u"b"}));
  useFileSystem(files());
  EXPECT_EQ(tree(root), (std::vector<std::string>{"a"}));
}

TEST_F(DefaultFileUpdateUninstallerTest, AReadOnlyFileGoesToo) {
  writeFile(root + u"/a", "x");
  std::filesystem::permissions(folder.native() / "device/a", std::filesystem::perms::owner_read);
  EXPECT_TRUE(uninstall({u"a"}));
  EXPECT_TRUE(tree(root).empty());
}

TEST_F(DefaultFileUpdateUninstallerTest, AFolderUnderTheNameOfAFileStays) {
  makeFolder(root + u"/maps/a");
  EXPECT_TRUE(uninstall({u"maps", u"maps/a"}));
  EXPECT_EQ(tree(root), (std::vector<std::string>{"maps/", "maps/a/"}));
}

TEST_F(DefaultFileUpdateUninstallerTest, NoPathLeavesTheStorage) {
  makeFolder(root + u"/maps");
  for (const WideText hostile : {u"../outside", u"maps/../../outside", u"..\\outside", u"", u".", u".."})
    EXPECT_TRUE(uninstall({hostile}));
  EXPECT_TRUE(uninstall({path(u"outside"), u"\\" + path(u"outside"), u"C:" + path(u"outside")}));
  EXPECT_EQ(readFile(path(u"outside")), "mine");
}

TEST_F(DefaultFileUpdateUninstallerTest, NoPathLeavesTheStorageThroughALink) {
  writeFile(path(u"elsewhere/a"), "mine");
  std::filesystem::create_directory_symlink(folder.native() / "elsewhere", folder.native() / "device/maps");
  std::filesystem::create_symlink(folder.native() / "outside", folder.native() / "device/link");
  EXPECT_TRUE(uninstall({u"maps/a", u"link"}));
  EXPECT_EQ(readFile(path(u"elsewhere/a")), "mine");
  EXPECT_EQ(readFile(path(u"outside")), "mine");
}

TEST_F(DefaultFileUpdateUninstallerTest, AStorageWithoutANameHasNoFiles) {
  EXPECT_TRUE(uninstall({path(u"outside").substr(1), path(u"outside")}, u""));
  EXPECT_EQ(readFile(path(u"outside")), "mine");
}

TEST_F(DefaultFileUpdateUninstallerTest, TheRegisterIsNoUpdatesFile) {
  startLog();
  const std::vector<WideText> places{u"ZELMORA/updates.xml", u"zelmora\\UPDATES.xml", u"KD3/./updates.xml",
                                     u"ZELMORA/updates.xml_damaged1"};
  writeFile(root + u"/ZELMORA/updates.xml", "register");
  writeFile(root + u"/ZELMORA/updates.xml_damaged1", "damaged");
  writeFile(root + u"/KD3/updates.xml", "register");
  EXPECT_TRUE(uninstall(places));
  EXPECT_EQ(readFile(root + u"/ZELMORA/updates.xml_damaged1"), "damaged");
  EXPECT_EQ(readFile(root + u"/ZELMORA/updates.xml"), "register");
  EXPECT_EQ(readFile(root + u"/KD3/updates.xml"), "register");
  EXPECT_TRUE(logHas(u"The register is no update's file: ZELMORA/updates.xml"));
}

TEST_F(DefaultFileUpdateUninstallerTest, ACloneDoesTheSame) {
  writeFile(root + u"/a", "x");
  Update update;
  update.files.push_back({u"a", 0});
  EXPECT_TRUE(DefaultFileUpdateUninstaller().clone()->uninstall(update, root));
  EXPECT_TRUE(tree(root).empty());
}

}  // namespace
}  // namespace ZelmoraTevra
