#include <filesystem>
#include <functional>

#include "core/ProcessEnd.h"
#include "core/StatusXml.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/IUpdateUninstaller.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

// Takes down what it is asked for.
class RecordingUninstaller : public IFileUpdateUninstaller {
 public:
  using Action = std::function<bool(const Update&, const WideText&)>;
  explicit RecordingUninstaller(Action action) : action_(std::move(action)) {}
  [[nodiscard]] std::unique_ptr<IUpdateUninstaller> clone() const override {
    return std::make_unique<RecordingUninstaller>(*this);
  }
  [[nodiscard]] bool uninstall(const Update& update, const WideText& root) override {
    return action_(update, root);
  }

 private:
  Action action_;
};

// The register's part of an uninstallation.
class UninstallUpdateTest : public JobTest {
 protected:
  UninstallUpdateTest() {
    makeFolder(path(u"flash/ZELMORA"));
    makeFolder(card);
    file_ = std::make_unique<ClientUpdatesXmlFile>(flash, true);
    updates = std::make_unique<UpdatesXml>(file_.get());
  }
  void add(const WideText& name, const WideText& version, const WideText& location) {
    Update update;
    update.info.company = u"Z";
    update.info.name = name;
    update.info.version = version;
    update.info.installLocation = location;
    update.files.push_back({u"files/" + name, 0});
    updates->addUpdate(update);
  }
  [[nodiscard]] static UpdateInfo query(const WideText& company, const WideText& name,
                                        const WideText& version, const WideText& secondaryPath) {
    UpdateInfo info;
    info.company = company;
    info.name = name;
    info.version = version;
    info.secondaryPath = secondaryPath;
    return info;
  }
  void use(RecordingUninstaller::Action action) {
    uninstallers.push_back(std::make_unique<RecordingUninstaller>(std::move(action)));
  }
  [[nodiscard]] bool uninstall(const UpdateInfo& info) {
    return updates->uninstallUpdate(info, uninstallers);
  }
  [[nodiscard]] bool has(const WideText& name) const {
    return updates->findUpdate(query({}, name, {}, {})).isValid();
  }

  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
  std::unique_ptr<ClientUpdatesXmlFile> file_;
  std::unique_ptr<UpdatesXml> updates;
  std::vector<std::unique_ptr<IUpdateUninstaller>> uninstallers;
};

TEST_F(UninstallUpdateTest, EachUninstallerGetsTheUpdateAndTheRegistersRootAndThenItLeavesTheRegister) {
  add(u"App", u"1", u"storage_for_software");
  std::vector<WideText> calls;
  for (const WideText name : {u"first", u"second"})
    use([&, name](const Update& update, const WideText& root) {
      EXPECT_TRUE(has(u"App"));
      EXPECT_EQ(update.files, (std::vector<UpdateFile>{{u"files/App", 0}}));
      EXPECT_EQ(root, flash);
      calls.push_back(name);
      return true;
    });
  EXPECT_TRUE(uninstall(query(u"Z", u"App", u"1", card)));
  EXPECT_EQ(calls, (std::vector<WideText>{u"first", u"second"}));
  EXPECT_FALSE(has(u"App"));
}

TEST_F(UninstallUpdateTest, OnlyContentForTheSecondStorageIsThere) {
  for (const WideText location :
       {u"storage_for_content", u"storage_for_software", u"external", u"Storage_for_content"})
    add(location, u"1", location);
  std::map<WideText, WideText> roots;
  use([&](const Update& update, const WideText& root) {
    roots[update.info.name] = root;
    return true;
  });
  for (const WideText location :
       {u"storage_for_content", u"storage_for_software", u"external", u"Storage_for_content"})
    EXPECT_TRUE(uninstall(query(u"Z", location, u"1", card)));
  EXPECT_EQ(roots, (std::map<WideText, WideText>{{u"storage_for_content", card},
                                                 {u"storage_for_software", flash},
                                                 {u"external", flash},
                                                 {u"Storage_for_content", flash}}));
}

TEST_F(UninstallUpdateTest, AnUpdateThatIsNotThereFailsWithoutAReport) {
  add(u"App", u"1", u"storage_for_software");
  use([](const Update&, const WideText&) {
    ADD_FAILURE() << "nothing is to be uninstalled";
    return true;
  });
  EXPECT_FALSE(uninstall(query(u"Z", u"App", u"2", {})));
  EXPECT_FALSE(uninstall(query(u"Y", u"App", u"1", {})));
  EXPECT_FALSE(uninstall(query(u"Z", u"app", u"1", {})));
  EXPECT_FALSE(uninstall(query(u"Z", u"", u"", {})));
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(UninstallUpdateTest, AnEmptyCompanyStandsForAnyOne) {
  add(u"App", u"1", u"storage_for_software");
  EXPECT_TRUE(uninstall(query(u"", u"App", u"1", {})));
  EXPECT_FALSE(has(u"App"));
}

TEST_F(UninstallUpdateTest, AfterAFailureTheUpdateStaysAndNoOtherUninstallerIsAsked) {
  add(u"App", u"1", u"storage_for_software");
  use([](const Update&, const WideText&) { return false; });
  use([](const Update&, const WideText&) {
    ADD_FAILURE() << "the first one has failed";
    return true;
  });
  EXPECT_FALSE(uninstall(query(u"Z", u"App", u"1", {})));
  EXPECT_TRUE(has(u"App"));
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(UninstallUpdateTest, ContentWithoutACardIs1134AndStays) {
  add(u"Map", u"1", u"storage_for_content");
  use([](const Update&, const WideText&) {
    ADD_FAILURE() << "there is no storage";
    return true;
  });
  for (const WideText& none : {WideText(), path(u"pulled")}) {
    EXPECT_FALSE(uninstall(query(u"Z", u"Map", u"1", none)));
    EXPECT_EQ(status().state, statErrorOccured);
    EXPECT_EQ(status().exitCode(), u"1134");
    EXPECT_EQ(status().descriptions,
              (std::vector<WideText>{
                  u"100", u"Storage card cannot be accessed. Was it ejected or is it write protected?"}));
    EXPECT_EQ(status().attributes.count(u"PATH"), 0U);
    EXPECT_TRUE(has(u"Map"));
  }
}

TEST_F(UninstallUpdateTest, ACardThatIsPulledMeanwhileIs1134AndTheUpdateStays) {
  add(u"Map", u"1", u"storage_for_content");
  use([&](const Update&, const WideText&) {
    std::filesystem::remove(folder.native() / "card");
    return true;
  });
  EXPECT_FALSE(uninstall(query(u"Z", u"Map", u"1", card)));
  EXPECT_EQ(status().exitCode(), u"1134");
  EXPECT_TRUE(has(u"Map"));
}

TEST_F(UninstallUpdateTest, AMainStorageThatIsPulledMeanwhileKeepsTheUpdate) {
  add(u"App", u"1", u"storage_for_software");
  use([&](const Update&, const WideText&) {
    std::filesystem::remove_all(folder.native() / "flash");
    return true;
  });
  EXPECT_FALSE(uninstall(query(u"Z", u"App", u"1", card)));
  EXPECT_TRUE(statusHistory().empty());
  EXPECT_TRUE(has(u"App"));
}

TEST_F(UninstallUpdateTest, WhatTheProcessDoesAtItsEndComesBeforeTheReport) {
  add(u"Map", u"1", u"storage_for_content");
  std::size_t reportsBefore = 99;
  const AtProcessEnd atEnd([&] { reportsBefore = statusHistory().size(); });
  EXPECT_FALSE(uninstall(query(u"Z", u"Map", u"1", {})));
  EXPECT_EQ(reportsBefore, 0U);
  EXPECT_EQ(statusHistory().size(), 1U);
}

TEST_F(UninstallUpdateTest, OfUpdatesWithTheSameNameTheFirstOneIsTaken) {
  add(u"App", u"1", u"storage_for_software");
  add(u"App", u"2", u"storage_for_software");
  add(u"App", u"2", u"external");
  EXPECT_TRUE(uninstall(query(u"Z", u"App", u"2", {})));
  // They were equal in all that counts.
  ASSERT_EQ(updates->getUpdates().size(), 1U);
  EXPECT_EQ(updates->getUpdates()[0].info.version, u"1");
}

TEST_F(UninstallUpdateTest, RevertingTakesBackWhatWasNotSaved) {
  add(u"App", u"1", u"storage_for_software");
  add(u"Map", u"1", u"storage_for_software");
  ASSERT_TRUE(updates->save());
  EXPECT_TRUE(uninstall(query(u"Z", u"App", u"1", {})));
  add(u"New", u"1", u"storage_for_software");
  updates->revert();
  EXPECT_TRUE(has(u"App"));
  EXPECT_FALSE(has(u"New"));
  std::vector<WideText> names;
  for (const Update& update : updates->getUpdates()) names.push_back(update.info.name);
  EXPECT_EQ(names, (std::vector<WideText>{u"App", u"Map"}));
}

TEST_F(UninstallUpdateTest, ARegisterWithoutAFileHasNothingToUninstall) {
  UpdatesXml none(nullptr);
  EXPECT_FALSE(none.uninstallUpdate(query(u"Z", u"App", u"1", {}), uninstallers));
}

}  // namespace
}  // namespace ZelmoraTevra
