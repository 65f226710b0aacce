#include <sys/stat.h>

#include <filesystem>

#include "core/Base64.h"
#include "core/Text.h"
#include "tests/userdata/UserDataTest.h"
#include "userdata/ContactsFile.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";
const std::string emptyResponse = declaration + "<GetContactsResponse />\n";

std::string responseOf(const std::string& bytes, bool isUtf8) {
  return declaration + "<GetContactsResponse>\n    <contacts>" + encodeBase64(bytes) +
         "</contacts>\n    <utf8>" + (isUtf8 ? "true" : "false") + "</utf8>\n</GetContactsResponse>\n";
}

class GetContactsRunnerTest : public UserDataTest {
 protected:
  GetContactsRunnerTest() {
    command.commandName = u"GET_CONTACTS";
    command.storageCardDriveLetter = u"E:";
  }

  CommandRecord command;
  const WideText file = path(u"flash/ZELMORA/Contacts/contacts.txt");
  const fs::path contactsFolder = folder.native() / "flash/ZELMORA/Contacts";
};

TEST_F(GetContactsRunnerTest, TheBytesAreToldAsTheyAre) {
  std::string bytes = "\xEF\xBB\xBF[Tevra imported contacts]\r\n<&>\xFF";
  for (int value = 0; value < 256; ++value) bytes += static_cast<char>(value);
  writeFile(file, bytes);
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), responseOf(bytes, true));
  EXPECT_EQ(statusHistory().size(), 1U) << "there is no status of its own";
  EXPECT_EQ(readFile(file), bytes);
}

TEST_F(GetContactsRunnerTest, WithoutAByteOrderMarkItIsNotCalledUtf8) {
  for (const std::string bytes : {"plain", "\xEF\xBB", " \xEF\xBB\xBF",
                                  "\xFF\xFE"
                                  "a",
                                  "\xEF\xBB\xBE..."}) {
    writeFile(file, bytes);
    EXPECT_EQ(run(command), 0);
    EXPECT_EQ(response(), responseOf(bytes, false));
  }
  writeFile(file, "\xEF\xBB\xBF");
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), responseOf("\xEF\xBB\xBF", true));
}

TEST_F(GetContactsRunnerTest, AnEmptyFileGivesAnEmptyElement) {
  writeFile(file, "");
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), responseOf("", false));
}

TEST_F(GetContactsRunnerTest, WithoutAFileTheRootIsEmpty) {
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), emptyResponse);
  fs::create_directories(contactsFolder / "contacts.txt");
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), emptyResponse);
}

TEST_F(GetContactsRunnerTest, AFileThatCannotBeReadIsNone) {
  struct : platform::ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      if (path.find(u"contacts.txt") == WideText::npos) return target().open(path, mode, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return nullptr;
    }
  } damaged{disk};
  writeFile(file, "x");
  EXPECT_EQ(runOn(damaged, command), 0);
  EXPECT_EQ(response(), emptyResponse);
}

TEST_F(GetContactsRunnerTest, AFileThatEndsBeforeItsSizeIsNone) {
  struct ShortHandle : platform::ForwardingFileHandle {
    using ForwardingFileHandle::ForwardingFileHandle;
    std::int64_t size(platform::ErrorCode& error) override { return target().size(error) + 1; }
  };
  struct : platform::ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      auto handle = target().open(path, mode, error);
      if (path.find(u"contacts.txt") == WideText::npos) return handle;
      return std::make_unique<ShortHandle>(std::move(handle));
    }
  } damaged{disk};
  writeFile(file, "x");
  EXPECT_EQ(runOn(damaged, command), 0);
  EXPECT_EQ(response(), emptyResponse);
}

TEST_F(GetContactsRunnerTest, AFileLargerThanAnyAddressBookIsNoneAndTakesNoMemory) {
  for (const std::uintmax_t bytes : {(std::uintmax_t{64} << 20) + 1, std::uintmax_t{1} << 40}) {
    writeFile(file, "");
    fs::resize_file(contactsFolder / "contacts.txt", bytes);
    EXPECT_FALSE(ContactsFile(u"E:").read());
    EXPECT_EQ(run(command), 0);
    EXPECT_TRUE(response() == emptyResponse);
  }
  fs::resize_file(contactsFolder / "contacts.txt", std::uintmax_t{64} << 20);
  const auto content = ContactsFile(u"E:").read();
  EXPECT_TRUE(content && content->size() == std::size_t{64} << 20);
}

TEST_F(GetContactsRunnerTest, NothingIsToldThatALinkOnTheDeviceLeadsTo) {
  writeFile(path(u"outside/contacts.txt"), "secret");
  fs::create_directory_symlink(folder.native() / "outside", contactsFolder);
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), emptyResponse);
  fs::remove(contactsFolder);
  fs::create_directory(contactsFolder);
  fs::create_symlink(folder.native() / "outside/contacts.txt", contactsFolder / "contacts.txt");
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), emptyResponse);
}

TEST_F(GetContactsRunnerTest, APipeInThePlaceOfTheFileDoesNotHoldUpTheJob) {
  fs::create_directory(contactsFolder);
  ASSERT_EQ(::mkfifo((contactsFolder / "contacts.txt").c_str(), 0600), 0);
  EXPECT_EQ(run(command), 0);
  EXPECT_EQ(response(), emptyResponse);
}

TEST_F(GetContactsRunnerTest, ADeviceThatIsGoneOrTakesNoFileIs1282) {
  command.storageCardDriveLetter = u"G:";
  EXPECT_EQ(run(command), -1);
  expectError(u"1282", {u"Flash cannot be accessed. Was it ejected or is it write protected?", u"G:"});
  command.storageCardDriveLetter = u"E:";
  flashReadOnly = true;
  setCapacities(100, 100);
  EXPECT_EQ(run(command), -1);
  expectError(u"1282", {u"Flash cannot be accessed. Was it ejected or is it write protected?", u"E:"});
}

TEST_F(GetContactsRunnerTest, AResponseThatCannotBeWrittenIsNotLookedAt) {
  startLog();
  struct : platform::ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      if (path.find(u"ud_") == WideText::npos) return target().open(path, mode, error);
      error = boost::system::errc::make_error_code(boost::system::errc::no_space_on_device);
      return nullptr;
    }
  } full{disk};
  EXPECT_EQ(runOn(full, command), 0);
  EXPECT_EQ(response(), "<missing>");
  EXPECT_TRUE(logHas(u"The response with the contacts could not be saved!"));
}

}  // namespace
}  // namespace ZelmoraTevra
