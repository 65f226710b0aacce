#include <random>

#include "device/InstalledUpdates.h"
#include "install/ClientUpdatesXmlFile.h"
#include "tests/device/DeviceFolderTest.h"

namespace ZelmoraTevra {
namespace {

class InstalledUpdatesTest : public DeviceFolderTest {
 protected:
  void load(const std::string& document) {
    put(u"ZELMORA/updates.xml", document);
    ClientUpdatesXmlFile registerFile(root_, false);
    register_ = std::make_unique<UpdatesXml>(&registerFile);
  }
  std::unique_ptr<UpdatesXml> register_;
};

TEST_F(InstalledUpdatesTest, FindsWhatTheRegisterFinds) {
  std::mt19937 random(5);
  const auto pick = [&random](const std::vector<std::string>& texts) {
    return texts[random() % texts.size()];
  };
  const std::vector<std::string> companies = {"", "A", "B"};
  const std::vector<std::string> names = {"alps", "nordic", "iberia"};
  const std::vector<std::string> versions = {"", "1", "2", "3"};
  for (int round = 0; round < 50; ++round) {
    std::string updates;
    for (int i = 0; i < 8; ++i) updates += updateElement(pick(companies), pick(names), pick(versions), i);
    load(registerDocument(updates));
    const InstalledUpdates installed(*register_);
    for (const std::string& company : companies) {
      for (const std::string& version : versions) {
        UpdateInfo query;
        query.company = toWide(company);
        query.name = toWide(pick(names));
        query.version = toWide(version);
        const Update expected = register_->findUpdate(query);
        const Update* const found = installed.find(query.company, query.name, query.version);
        ASSERT_EQ(found != nullptr, expected.isValid());
        if (found != nullptr) {
          EXPECT_EQ(found->info.uninstall, expected.info.uninstall);
        }
      }
    }
  }
}

TEST_F(InstalledUpdatesTest, NothingHasNoName) {
  load(registerDocument(updateElement("A", "", "1", 1) + updateElement("A", "alps", "1", 2)));
  EXPECT_EQ(InstalledUpdates(*register_).find(u"A", u"", u"1"), nullptr);
}

TEST_F(InstalledUpdatesTest, ARegisterThatIsNotLoadedHasNone) {
  load(registerDocument(updateElement("A", "alps", "1", 2)).substr(0, 70));
  EXPECT_EQ(InstalledUpdates(*register_).find(u"", u"alps", u""), nullptr);
}

}  // namespace
}  // namespace ZelmoraTevra
