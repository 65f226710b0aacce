#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/Text.h"
#include "tests/userdata/UserDataTest.h"

namespace ZelmoraTevra {

// Tells when files were made: in May of 2013, unless told otherwise for a name.
class DatedFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::map<WideText, std::int64_t> madeAt;
  int questions = 0;

  bool creationTime(const WideText& path, std::int64_t& seconds, platform::ErrorCode& error) override {
    ++questions;
    const bool known = target().creationTime(path, seconds, error);
    const auto found = madeAt.find(lastComponent(path));
    seconds = found == madeAt.end() ? 1'368'781'473 : found->second;
    return known;
  }
};

// A device with the main storage E: in "flash" and the card F: in "card", and the computer's files in "home".
class UserFilesTest : public UserDataTest {
 protected:
  UserFilesTest() {
    for (const char* each : {"flash/ZELMORA", "card/ZELMORA"})
      std::filesystem::remove(folder.native() / each);
    setVolumes({}, {});
    useFileSystem(dated);
    record.storageCardDriveLetter = u"E:";
    record.secondDriveLetter = u"F:";
    record.mainIsDefaultTarget = true;
    record.extensions = u"csv";
    record.optionalExtensions = u"bmp;png";
    record.searchingFolder = u"Poi";
  }

  // Capacities in bytes; without one it is that of the disk.
  void setVolumes(std::optional<std::uint64_t> flash, std::optional<std::uint64_t> card,
                  bool flashIsReadOnly = false, bool cardIsReadOnly = false) {
    volumes.set(
        {{u'E', path(u"flash"), flashIsReadOnly, flash}, {u'F', path(u"card"), cardIsReadOnly, card}});
  }
  void writeGroup(const WideText& folderAndName, const std::string& content = "x") {
    writeFile(path(folderAndName + u".csv"), content);
    writeFile(path(folderAndName + u".bmp"), content);
  }
  void writeSized(const WideText& file, std::uintmax_t bytes) {
    writeFile(file, "");
    std::filesystem::resize_file(toUtf8(file), bytes);
  }
  void link(const std::string& target, const std::string& at) {
    std::filesystem::create_symlink(target, folder.native() / at);
  }
  // 0 for success.
  int run(const WideText& command) {
    record.commandName = command;
    return UserDataTest::run(record);
  }
  void expectSuccess(const WideText& command, const WideText& exitCode) {
    EXPECT_EQ(run(command), 0);
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 9);
    EXPECT_EQ(saved.exitCode(), exitCode);
    EXPECT_THAT(saved.descriptions, testing::IsEmpty());
  }
  void expectFailure(const WideText& command, const WideText& exitCode, const WideText& message) {
    EXPECT_EQ(run(command), -1);
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_THAT(saved.descriptions, testing::ElementsAre(u"100", message));
    EXPECT_EQ(saved.exitCode(), exitCode);
  }
  void expectAttributes(const std::map<WideText, WideText>& attributes) {
    const SavedStatus saved = status();
    for (const auto& [name, value] : attributes) {
      ASSERT_TRUE(saved.attributes.count(name) != 0) << toUtf8(name);
      EXPECT_EQ(saved.attributes.at(name), value) << toUtf8(name);
    }
  }

  DatedFileSystem dated{disk};
};

// Names that lead, or try to, out of the folder in which they are looked for.
inline const std::vector<WideText> escapingNames = {
    u"..",        u"../outside", u"..\\outside", u"sub/../../outside", u"/outside",
    u"\\outside", u"E:outside",  u"E:\\outside", u".. /outside"};

}  // namespace ZelmoraTevra
