#include "install/DefaultXmlUpdateUninstaller.h"
#include "install/DeviceXmlFiles.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class DefaultXmlUpdateUninstallerTest : public JobTest {
 protected:
  DefaultXmlUpdateUninstallerTest() {
    makeFolder(flash);
    makeFolder(card);
  }
  bool uninstall(const std::vector<UpdateXmlEntry>& entries, const WideText& root) {
    Update update;
    update.info.name = u"N";
    update.files = ownFiles;
    update.xmlEntries = entries;
    DeviceXmlFiles xmlFiles;
    const bool uninstalled = DefaultXmlUpdateUninstaller(xmlFiles, flash).uninstall(update, root);
    EXPECT_TRUE(xmlFiles.save());
    return uninstalled;
  }
  bool uninstall(const std::vector<UpdateXmlEntry>& entries) { return uninstall(entries, flash); }
  static UpdateXmlEntry entry(const WideText& file, const WideText& text) {
    return {file, 3, u"r/m", u"n/" + text};
  }
  void put(const WideText& file, const std::vector<std::string>& names) {
    std::string text = "<r>";
    for (const std::string& name : names) text += "<m><n>" + name + "</n></m>";
    writeFile(file, text + "</r>");
  }
  // The names that are left, with a blank behind each.
  [[nodiscard]] std::string namesIn(const WideText& file) const {
    std::string names;
    const std::string text = readFile(file);
    for (std::size_t at = text.find("<n>"); at != std::string::npos; at = text.find("<n>", at + 1))
      names += text.substr(at + 3, text.find('<', at + 3) - at - 3) + " ";
    return names;
  }

  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
  std::vector<UpdateFile> ownFiles;
};

TEST_F(DefaultXmlUpdateUninstallerTest, TheElementsOfEachChangeGoFromTheirFiles) {
  put(flash + u"/a.xml", {"1", "2", "3", "2"});
  put(flash + u"/config/b.xml", {"1", "2"});
  EXPECT_TRUE(uninstall({entry(u"a.xml", u"1"), entry(u"config\\b.xml", u"2"), entry(u"a.xml", u"2")}));
  EXPECT_EQ(namesIn(flash + u"/a.xml"), "3 ");
  EXPECT_EQ(namesIn(flash + u"/config/b.xml"), "1 ");
}

TEST_F(DefaultXmlUpdateUninstallerTest, AChangeThatMatchesNothingOrHasAnotherRootIsHandled) {
  put(flash + u"/a.xml", {"1"});
  EXPECT_TRUE(
      uninstall({entry(u"a.xml", u"2"), {u"a.xml", 3, u"q/m", u"n/1"}, {u"a.xml", 3, u"r/p/m", u"n/1"}}));
  EXPECT_EQ(readFile(flash + u"/a.xml"), "<r><m><n>1</n></m></r>");
}

TEST_F(DefaultXmlUpdateUninstallerTest, WithoutAnyChangeAllIsHandled) {
  EXPECT_TRUE(uninstall({}));
}

TEST_F(DefaultXmlUpdateUninstallerTest, AFileThatCanNotBeLoadedEndsItAndLeavesWhatWasDoneBefore) {
  startLog();
  put(flash + u"/a.xml", {"1", "2"});
  for (const char* damaged : {"", "<r>", "<r><m><n>1</n></m>a & b</r>", "<r><m><n>1</n></m></r> more"}) {
    writeFile(flash + u"/damaged.xml", damaged);
    EXPECT_FALSE(uninstall({entry(u"a.xml", u"1"), entry(u"damaged.xml", u"1"), entry(u"a.xml", u"2")}));
    EXPECT_EQ(namesIn(flash + u"/a.xml"), "2 ");
    EXPECT_EQ(readFile(flash + u"/damaged.xml"), damaged);
  }
  EXPECT_TRUE(logHas(u"The XML file of an update can't be edited: damaged.xml"));
}

TEST_F(DefaultXmlUpdateUninstallerTest, AnUpdateOnTheCardHasItsElementsOnTheMainStorage) {
  put(flash + u"/a.xml", {"1", "2"});
  EXPECT_TRUE(uninstall({entry(u"a.xml", u"1")}, card));
  EXPECT_EQ(namesIn(flash + u"/a.xml"), "2 ");
}

TEST_F(DefaultXmlUpdateUninstallerTest, AFileOfThatNameOnTheCardIsEditedToo) {
  put(card + u"/a.xml", {"1", "2"});
  EXPECT_TRUE(uninstall({entry(u"a.xml", u"1")}, card));
  EXPECT_EQ(namesIn(card + u"/a.xml"), "2 ");
  put(flash + u"/a.xml", {"2", "3"});
  EXPECT_TRUE(uninstall({entry(u"a.xml", u"2")}, card));
  EXPECT_EQ(namesIn(card + u"/a.xml"), "");
  EXPECT_EQ(namesIn(flash + u"/a.xml"), "3 ");
}

TEST_F(DefaultXmlUpdateUninstallerTest, AFileOnTheCardThatCanNotBeLoadedIsAFailure) {
  put(flash + u"/a.xml", {"1"});
  writeFile(card + u"/a.xml", "damaged");
  EXPECT_FALSE(uninstall({entry(u"a.xml", u"1")}, card));
}

TEST_F(DefaultXmlUpdateUninstallerTest, AnUpdateOnTheMainStorageIsNotLookedForOnTheCard) {
  put(card + u"/a.xml", {"1"});
  EXPECT_FALSE(uninstall({entry(u"a.xml", u"1")}, flash));
  put(flash + u"/a.xml", {"1"});
  EXPECT_TRUE(uninstall({entry(u"a.xml", u"1")}, flash));
  EXPECT_EQ(namesIn(flash + u"/a.xml"), "");
  EXPECT_EQ(namesIn(card + u"/a.xml"), "1 ");
}

TEST_F(DefaultXmlUpdateUninstallerTest, AFileThatIsNowhereIsAFailure) {
  startLog();
  put(flash + u"/a.xml", {"1", "2"});
  ownFiles = {{u"other.xml", 0}};
  for (const WideText& root : {flash, card}) {
    for (const WideText missing : {u"none.xml", u"none/none.xml"}) {
      EXPECT_FALSE(uninstall({entry(missing, u"1"), entry(u"a.xml", u"1")}, root));
      EXPECT_TRUE(logHas(u"The XML file of an update can't be edited: " + missing));
    }
    EXPECT_EQ(namesIn(flash + u"/a.xml"), "1 2 ") << "the first failure ends it";
  }
}

TEST_F(DefaultXmlUpdateUninstallerTest, AFileOfTheUpdateThatIsNowhereHoldsNothingAnyMore) {
  put(flash + u"/a.xml", {"1", "2"});
  ownFiles = {{u"other.xml", 0}, {u"config\\Own.xml", 0}};
  for (const WideText& root : {flash, card}) {
    EXPECT_TRUE(uninstall({entry(u"config/own.xml", u"1"), entry(u"a.xml", u"1")}, root));
    EXPECT_EQ(namesIn(flash + u"/a.xml"), "2 ");
  }
}

TEST_F(DefaultXmlUpdateUninstallerTest, AFileOfTheUpdateThatStandsAndCanNotBeEditedIsAFailure) {
  ownFiles = {{u"own.xml", 0}};
  writeFile(flash + u"/own.xml", "damaged");
  EXPECT_FALSE(uninstall({entry(u"own.xml", u"1")}));
}

TEST_F(DefaultXmlUpdateUninstallerTest, APathThatLeavesTheStorageNeverLedToAnything) {
  startLog();
  put(path(u"outside.xml"), {"1"});
  for (const WideText& hostile :
       {WideText(u"../outside.xml"), path(u"outside.xml"), WideText(u"E:a.xml"), WideText()})
    EXPECT_TRUE(uninstall({entry(hostile, u"1")}));
  EXPECT_TRUE(logHas(u"The path of an XML file leaves the device: ../outside.xml"));
  EXPECT_EQ(namesIn(path(u"outside.xml")), "1 ");
}

TEST_F(DefaultXmlUpdateUninstallerTest, TheRegisterIsNeverEdited) {
  startLog();
  const std::string content = "<updates><update><name>1</name></update></updates>";
  writeFile(flash + u"/ZELMORA/updates.xml", content);
  EXPECT_TRUE(uninstall({{u"zelmora/Updates.xml", 3, u"updates/update", u"name/1"}}));
  EXPECT_EQ(readFile(flash + u"/ZELMORA/updates.xml"), content);
  EXPECT_TRUE(logHas(u"The register is no update's XML file: zelmora/Updates.xml"));

  const WideText setAside = u"ZELMORA/updates.xml00000000010000000002";
  writeFile(flash + u'/' + setAside, content);
  EXPECT_TRUE(uninstall({{setAside, 3, u"updates/update", u"name/1"}}));
  EXPECT_EQ(readFile(flash + u'/' + setAside), content);
}

TEST_F(DefaultXmlUpdateUninstallerTest, ACloneEditsTheSameFiles) {
  put(flash + u"/a.xml", {"1", "2"});
  DeviceXmlFiles xmlFiles;
  Update update;
  update.xmlEntries = {entry(u"a.xml", u"1")};
  EXPECT_TRUE(DefaultXmlUpdateUninstaller(xmlFiles, flash).clone()->uninstall(update, flash));
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_EQ(namesIn(flash + u"/a.xml"), "2 ");
}

}  // namespace
}  // namespace ZelmoraTevra
