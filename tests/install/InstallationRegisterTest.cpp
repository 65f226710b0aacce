#include <filesystem>

#include "core/ProcessEnd.h"
#include "core/Text.h"
#include "install/InstallationRegister.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/InstallDescription.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {
namespace {

class InstallationRegisterTest : public JobTest {
 protected:
  InstallationRegisterTest() { makeFolder(root); }

  static Update update(const std::string& name) {
    Update entry;
    entry.info.company = u"ZELMORA";
    entry.info.name = toWide(name);
    entry.info.version = u"1.0.0";
    entry.info.update = 1;
    entry.info.uninstall = 1;
    entry.info.installLocation = u"storage_for_software";
    entry.files.push_back({toWide("apps/" + name), 0});
    return entry;
  }
  // A whole register with updates of these names.
  static std::string registerOf(const std::vector<std::string>& names) {
    std::vector<std::string> entries;
    for (const std::string& name : names)
      entries.push_back(InstallDescription::registerEntry(name, "storage_for_software", {"apps/" + name}));
    return InstallDescription::registerOf(entries);
  }

  const WideText root = path(u"device");
  const WideText newer = root + u"/ZELMORA/updates.xml";
  const WideText older = root + u"/KD3/updates.xml";
};

TEST_F(InstallationRegisterTest, ADeviceWithoutAFolderHasNoneToOpen) {
  EXPECT_FALSE(InstallationRegister(root, {}).open());
  EXPECT_TRUE(tree(root).empty());
}

TEST_F(InstallationRegisterTest, WhatIsRecordedIsAddedToTheRegisterThatWasOpened) {
  writeFile(newer, registerOf({"A"}));
  InstallationRegister opened(root, {});
  ASSERT_TRUE(opened.open());
  EXPECT_TRUE(opened.record(update("B")));
  EXPECT_TRUE(opened.settle());
  EXPECT_TRUE(opened.close());
  EXPECT_EQ(readFile(newer), registerOf({"A", "B"}));
}

TEST_F(InstallationRegisterTest, UpdatesWaitForTheFolderAndAreEnteredInTheirOrder) {
  InstallationRegister following(root, {});
  EXPECT_TRUE(following.record(update("A")));
  EXPECT_TRUE(following.save());
  EXPECT_TRUE(following.bringToDevice());
  EXPECT_TRUE(tree(root).empty());
  makeFolder(root + u"/ZELMORA");
  EXPECT_TRUE(following.record(update("B")));
  EXPECT_TRUE(following.settle());
  EXPECT_TRUE(following.close());
  EXPECT_EQ(readFile(newer), registerOf({"A", "B"}));
}

TEST_F(InstallationRegisterTest, WithoutAFolderAtTheEndThereIsNoRegister) {
  InstallationRegister following(root, {});
  EXPECT_TRUE(following.record(update("A")));
  EXPECT_FALSE(following.settle());
  EXPECT_TRUE(following.close());
  EXPECT_TRUE(tree(root).empty());
}

TEST_F(InstallationRegisterTest, MovesFromTheOlderFolderToTheNewerOneWhenThatComes) {
  InstallationRegister following(root, {});
  makeFolder(root + u"/KD3");
  EXPECT_TRUE(following.record(update("A")));
  EXPECT_TRUE(following.bringToDevice());
  EXPECT_EQ(readFile(older), registerOf({"A"}));
  makeFolder(root + u"/ZELMORA");
  EXPECT_TRUE(following.record(update("B")));
  EXPECT_TRUE(following.close());
  EXPECT_EQ(readFile(newer), registerOf({"A", "B"}));
  EXPECT_FALSE(fileExists(older));
}

TEST_F(InstallationRegisterTest, WhileARegisterMovesOneOfTheTwoFoldersHasItAtEveryMoment) {
  int operation = 0;
  for (bool killed = true; killed;) {
    std::filesystem::remove_all(toUtf8(root));
    writeFile(older, registerOf({"A"}));
    ++operation;
    killed = !runsToItsEnd([&] {
      InstallationRegister opened(root, {});
      EXPECT_TRUE(opened.open());
      makeFolder(root + u"/ZELMORA");
      FaultyFileSystem faulty(files());
      faulty.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      EXPECT_TRUE(opened.record(update("B")));
      EXPECT_TRUE(opened.settle());
      EXPECT_TRUE(opened.close());
    });
    if (!killed) break;
    // As the next job finds it.
    InstallationRegister next(root, {});
    ASSERT_TRUE(next.open());
    EXPECT_TRUE(next.updates().findByCompanyAndName(update("A").info).isValid() ||
                readFile(older) == registerOf({"A"}))
        << operation;
  }
  EXPECT_EQ(readFile(newer), registerOf({"A", "B"}));
  EXPECT_FALSE(fileExists(older));
  EXPECT_GT(operation, 6);
}

TEST_F(InstallationRegisterTest, WhatWasPlacedIsInTheRegisterHoweverTheProcessEnds) {
  InstallationRegister following(root, {});
  EXPECT_TRUE(following.record(update("A")));
  makeFolder(root + u"/ZELMORA");
  runProcessEndActions();
  EXPECT_EQ(readFile(newer), registerOf({"A"}));
}

}  // namespace
}  // namespace ZelmoraTevra
