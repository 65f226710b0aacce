#include "install/CompanionFile.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView md5 = u"900150983CD24FB0D6963F7D28E17F72";
constexpr const char* document =
    "<?xml version=\"1.0\" ?>\n"
    "<tevra_a.zip_INCOMPLETE.xml>\n"
    "    <md5sum>900150983CD24FB0D6963F7D28E17F72</md5sum>\n"
    "</tevra_a.zip_INCOMPLETE.xml>\n";

}  // namespace

class CompanionFileTest : public JobTest {
 protected:
  // Files lie behind a "\", as below the work folder.
  const WideText companion = folder.path() + u"\\a.zip_INCOMPLETE.xml";
  [[nodiscard]] bool matches(const WideText& expected = WideText(md5)) const {
    return companionMatches(companion, expected);
  }
};

TEST_F(CompanionFileTest, IsADocumentNamedByItselfWithTheMd5) {
  EXPECT_TRUE(companionWrite(companion, WideText(md5)));
  EXPECT_EQ(readFile(companion), document);
}

TEST_F(CompanionFileTest, MatchesTheMd5InEitherCase) {
  EXPECT_TRUE(companionWrite(companion, u"900150983cd24fb0D6963F7D28E17F72"));
  EXPECT_TRUE(matches());
  EXPECT_TRUE(matches(u"900150983cd24fb0d6963f7d28e17f72"));
  EXPECT_FALSE(matches(u"900150983CD24FB0D6963F7D28E17F73"));
  EXPECT_FALSE(matches(u"900150983CD24FB0D6963F7D28E17F7"));
  EXPECT_FALSE(matches(u""));
}

TEST_F(CompanionFileTest, AFileNameThatNoElementCanBearMatchesToo) {
  for (const WideText name : {u"my%20map.zip", u"a b.zip", u"a(1)+b,c&d.zip", u"1\u00E4.zip"}) {
    const WideText path = folder.path() + u'\\' + name + u"_INCOMPLETE.xml";
    EXPECT_TRUE(companionWrite(path, WideText(md5)));
    EXPECT_TRUE(companionMatches(path, WideText(md5))) << toUtf8(name);
    EXPECT_FALSE(companionMatches(path, u"900150983CD24FB0D6963F7D28E17F73"));
  }
}

TEST_F(CompanionFileTest, AMissingCompanionMatchesNothing) {
  EXPECT_FALSE(matches());
  EXPECT_FALSE(matches(u""));
}

TEST_F(CompanionFileTest, TheCompanionOfAnotherFileMatchesNothing) {
  EXPECT_TRUE(companionWrite(folder.path() + u"\\b.zip_INCOMPLETE.xml", WideText(md5)));
  writeFile(companion, readFile(folder.path() + u"\\b.zip_INCOMPLETE.xml"));
  EXPECT_FALSE(matches());
}

TEST_F(CompanionFileTest, TruncatedAtEveryLengthItMatchesNothing) {
  const std::string whole = document;
  for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
    writeFile(companion, whole.substr(0, length));
    EXPECT_FALSE(matches()) << length;
  }
}

TEST_F(CompanionFileTest, WithAFlippedByteItMatchesOnlyWhatItStillNames) {
  const std::string whole = document;
  for (std::size_t position = 0; position < whole.size(); ++position) {
    for (const int mask : {0x01, 0x20, 0x80, 0xFF}) {
      std::string damaged = whole;
      damaged[position] = static_cast<char>(damaged[position] ^ mask);
      writeFile(companion, damaged);
      if (!matches()) continue;
      EXPECT_NE(damaged.find("<tevra_a.zip_INCOMPLETE.xml>"), std::string::npos) << position << ' ' << mask;
      // The MD5 is compared without regard to the case of its letters.
      std::string capitals = damaged;
      for (char& byte : capitals)
        if (byte >= 'a' && byte <= 'f') byte = static_cast<char>(byte - ('a' - 'A'));
      EXPECT_NE(capitals.find("900150983CD24FB0D6963F7D28E17F72"), std::string::npos)
          << position << ' ' << mask;
    }
  }
}

TEST_F(CompanionFileTest, ACompanionThatCannotBeWrittenLeavesNone) {
  EXPECT_TRUE(companionWrite(companion, WideText(md5)));
  for (const int operation : {1, 2, 3, 4}) {
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    EXPECT_FALSE(companionWrite(companion, u"D41D8CD98F00B204E9800998ECF8427E"));
    EXPECT_FALSE(fileExists(companion)) << operation;
    useFileSystem(files());
    EXPECT_TRUE(companionWrite(companion, WideText(md5)));
  }
}

TEST_F(CompanionFileTest, AFileWhoseNameIsNearlyTooLongHasACompanionToo) {
  // With "_INCOMPLETE.xml" behind it the longest name that a file can have.
  const WideText longest = path(WideText(240, u'a') + u"_INCOMPLETE.xml");
  EXPECT_TRUE(companionWrite(longest, WideText(md5)));
  EXPECT_TRUE(companionMatches(longest, WideText(md5)));
  EXPECT_TRUE(companionWrite(longest, u"D41D8CD98F00B204E9800998ECF8427E"));
  EXPECT_FALSE(companionMatches(longest, WideText(md5)));
}

TEST_F(CompanionFileTest, AMatchingCompanionStandsAtEveryMoment) {
  // With the MD5 in capitals it is as it would be written, in small letters it only matches.
  for (const WideText& present : {WideText(md5), WideText(u"900150983cd24fb0d6963f7d28e17f72")}) {
    int operation = 0;
    bool killed = true;
    while (killed) {
      ++operation;
      EXPECT_TRUE(companionWrite(companion, present));
      killed = !runsToItsEnd([&] {
        FaultyFileSystem faulty(files());
        faulty.before = [operation](int number, const std::string&) {
          if (number == operation) dieHere();
        };
        useFileSystem(faulty);
        EXPECT_TRUE(companionWrite(companion, WideText(md5)));
      });
      EXPECT_TRUE(matches()) << operation;
    }
    EXPECT_EQ(operation, present == md5 ? 1 : 5);
    EXPECT_EQ(readFile(companion), document);
  }
}

TEST_F(CompanionFileTest, AMatchingCompanionStaysWhereItCannotBeWritten) {
  EXPECT_TRUE(companionWrite(companion, u"900150983cd24fb0d6963f7d28e17f72"));
  for (const int operation : {1, 2, 3, 4}) {
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    EXPECT_FALSE(companionWrite(companion, WideText(md5)));
    useFileSystem(files());
    EXPECT_TRUE(matches()) << operation;
  }
}

}  // namespace ZelmoraTevra
