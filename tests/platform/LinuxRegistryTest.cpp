#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "platform/Machine.h"
#include "platform/NativeFileSystem.h"
#include "platform/linux/LinuxProcesses.h"
#include "platform/linux/LinuxRegistry.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

const WideText key = u"SOFTWARE\\ZELMORA\\ZELMORA tevra";

// Tells another path for the executable.
class ProgramElsewhere : public LinuxProcesses {
 public:
  explicit ProgramElsewhere(WideText path) : path_(std::move(path)) {}

  WideText modulePath() override { return path_; }

 private:
  WideText path_;
};

class LinuxRegistryTest : public testing::Test {
 protected:
  LinuxRegistryTest() {
    std::filesystem::create_directories(folder_.native() / "bin");
    std::filesystem::create_directories(folder_.native() / "etc/Tevra");
  }

  void put(const std::string& name, const std::string& content) const {
    std::ofstream(folder_.native() / name, std::ios::binary) << content;
  }

  [[nodiscard]] WideText product(const std::string& content) {
    put("etc/Tevra/registry.ini", content);
    return registry_.text(key, u"Product");
  }

  TemporaryFolder folder_;
  ScopedEnvironment none_{"TEVRA_REGISTRY", std::nullopt};
  ProgramElsewhere program_{folder_.path() + u"/bin/TevraCLI"};
  LinuxRegistry registry_{nativeFileSystem(), program_};
};

TEST_F(LinuxRegistryTest, readsTheFileBesideTheProgram) {
  EXPECT_EQ(
      product("[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nCompany=Z\nProduct=ZELMORA tevra\n"),
      u"ZELMORA tevra");
  EXPECT_EQ(registry_.text(key, u"Company"), u"Z");
}

TEST_F(LinuxRegistryTest, readsTheFileThatTheEnvironmentNames) {
  put("etc/Tevra/registry.ini", "[HKEY_LOCAL_MACHINE\\A]\nP=here\n");
  put("other.ini", "[HKEY_LOCAL_MACHINE\\A]\nP=there\n");
  const ScopedEnvironment named("TEVRA_REGISTRY", (folder_.native() / "other.ini").string());
  EXPECT_EQ(registry_.text(u"A", u"P"), u"there");
}

TEST_F(LinuxRegistryTest, aNamedFileThatIsMissingHasNoSubstitute) {
  put("etc/Tevra/registry.ini", "[HKEY_LOCAL_MACHINE\\A]\nP=here\n");
  const ScopedEnvironment named("TEVRA_REGISTRY", (folder_.native() / "none.ini").string());
  EXPECT_EQ(registry_.text(u"A", u"P"), u"");
}

TEST_F(LinuxRegistryTest, aMissingFileKeyOrValueIsEmpty) {
  EXPECT_EQ(registry_.text(key, u"Product"), u"");
  EXPECT_EQ(product("Product=before any section\n"), u"");
  EXPECT_EQ(product("[HKEY_LOCAL_MACHINE\\OTHER]\nProduct=x\n"), u"");
  EXPECT_EQ(product("[HKEY_CURRENT_USER\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nProduct=x\n"), u"");
  EXPECT_EQ(product("[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nProductX=x\nProduct\n"), u"");
  EXPECT_EQ(product("[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nProduct=\n"), u"");
}

TEST_F(LinuxRegistryTest, keysAndNamesAreMatchedWithoutRegardToCase) {
  EXPECT_EQ(product("[hkey_local_machine\\software\\zelmora\\zelmora TEVRA]\npRODUCT=x\n"), u"x");
}

TEST_F(LinuxRegistryTest, takesForeignLineEndsBlanksAndAByteOrderMark) {
  EXPECT_EQ(product("\xEF\xBB\xBF[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\r\n"
                    "; Product=a remark\r\n\r\n  Product = a = b \r\nProduct=second\r\n"),
            u"a = b");
}

TEST_F(LinuxRegistryTest, theLastLineNeedsNoLineEnd) {
  EXPECT_EQ(product("[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nProduct=\xC3\xA9"), u"\u00E9");
}

TEST_F(LinuxRegistryTest, aFileCutAnywhereGivesTheValueOrItsBeginning) {
  const std::string content = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nProduct=value\n";
  for (std::size_t length = 0; length <= content.size(); ++length) {
    EXPECT_TRUE(WideText(u"value").starts_with(product(content.substr(0, length))));
  }
}

TEST_F(LinuxRegistryTest, aFileThatIsNoRegistryIsEmpty) {
  EXPECT_EQ(product(std::string(2 * 1024 * 1024, '[')), u"");
  EXPECT_EQ(product(std::string(100'000, '\0') + "[]=\xFF"), u"");
}

TEST_F(LinuxRegistryTest, theRegistryThatIsDeliveredNamesTheInstalledManager) {
  const ScopedEnvironment named("TEVRA_REGISTRY", TEVRA_SOURCE_DIR "/etc/Tevra/registry.ini");
  EXPECT_EQ(nativeMachine().registry->text(key, u"Company"), u"ZELMORA");
  EXPECT_EQ(nativeMachine().registry->text(key, u"Product"), u"ZELMORA tevra");
  EXPECT_NE(nativeMachine().registry->text(key, u"Version"), u"");
}

}  // namespace

}  // namespace ZelmoraTevra::platform
