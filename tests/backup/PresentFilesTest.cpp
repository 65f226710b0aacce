#include <filesystem>

#include "backup/PresentFiles.h"
#include "core/Text.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;

class PresentFilesTest : public JobTest {
 protected:
  PresentFilesTest() {
    writeFile(path(u"root/a"), "");
    writeFile(path(u"root/d/e/f"), "");
    writeFile(path(u"outside/x"), "");
  }
  [[nodiscard]] bool has(WideView relative) const { return PresentFiles(path(u"root")).has(relative); }
};

TEST_F(PresentFilesTest, FilesAreFoundWithEitherSeparator) {
  for (const char16_t* file : {u"a", u"d\\e\\f", u"d/e/f", u"d\\e/f"}) EXPECT_TRUE(has(file));
}

TEST_F(PresentFilesTest, WhatIsNoFileIsNotFound) {
  for (const char16_t* file : {u"b", u"d", u"d\\e", u"d\\x\\f", u"a\\b", u"", u"d\\", u"A"})
    EXPECT_FALSE(has(file)) << toUtf8(WideText(file));
}

TEST_F(PresentFilesTest, NothingOutsideIsFound) {
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "root/link");
  fs::create_symlink(folder.native() / "outside/x", folder.native() / "root/x");
  for (const WideText& file : {WideText(u"..\\outside\\x"), WideText(u"d\\..\\..\\outside\\x"),
                               path(u"outside/x"), WideText(u"link\\x"), WideText(u"x")})
    EXPECT_FALSE(has(file)) << toUtf8(file);
}

TEST_F(PresentFilesTest, APathOfMillionsOfComponentsIsNotFound) {
  for (const char16_t* piece : {u"d\\", u"x\\", u"\\", u".\\", u"..\\"}) {
    WideText endless;
    while (endless.size() < 5'000'000) endless += piece;
    EXPECT_FALSE(has(endless + u"f"));
  }
}

TEST_F(PresentFilesTest, APathInAnotherSpellingIsAskedFor) {
  for (const char16_t* file : {u".\\a", u"d\\.\\e\\f", u"d\\\\e\\f"}) EXPECT_TRUE(has(file));
}

TEST_F(PresentFilesTest, EachFolderIsListedOnce) {
  class Counting : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool list(const WideText& listed, std::vector<platform::FolderEntry>& entries,
              platform::ErrorCode& error) override {
      ++lists;
      return target().list(listed, entries, error);
    }
    platform::EntryKind kind(const WideText& asked, platform::ErrorCode& error) override {
      ++questions;
      return target().kind(asked, error);
    }
    int lists = 0;
    int questions = 0;
  };
  for (int number = 0; number < 20; ++number)
    for (const char16_t* place : {u"root/d/", u"root/d/e/"}) writeFile(path(place + numberText(number)), "");
  Counting counting(files());
  useFileSystem(counting);
  PresentFiles present(path(u"root"));
  for (int number = 0; number < 20; ++number) {
    EXPECT_TRUE(present.has(u"d\\" + numberText(number)));
    EXPECT_TRUE(present.has(u"d\\e\\" + numberText(number)));
  }
  EXPECT_EQ(counting.lists, 3);
  EXPECT_EQ(counting.questions, 0);
}

// As a volume is that takes upper and lower case for the same.
TEST_F(PresentFilesTest, AFileInAnotherCaseIsFoundWhereTheVolumeFindsIt) {
  class IgnoringCase : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    platform::EntryKind kind(const WideText& asked, platform::ErrorCode& error) override {
      return target().kind(asked.ends_with(u"\\A") ? asked.substr(0, asked.size() - 1) + u'a' : asked, error);
    }
  };
  IgnoringCase volume(files());
  useFileSystem(volume);
  EXPECT_TRUE(has(u"A"));
}

}  // namespace

}  // namespace ZelmoraTevra
