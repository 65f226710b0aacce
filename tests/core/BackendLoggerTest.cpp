#include <tinyxml.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/BackendLogger.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/SmallVolume.h"

namespace ZelmoraTevra {
namespace {

constexpr const char* time_ = "_2013_05_17__09_04_33_";

// Counts what is done to files for writing.
class CountingFileSystem : public platform::ForwardingFileSystem {
 public:
  explicit CountingFileSystem(platform::FileSystem& target) : ForwardingFileSystem(target) {}

  std::size_t opened = 0;
  std::size_t operations = 0;
  std::size_t bytes = 0;

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    std::unique_ptr<platform::FileHandle> handle = target().open(path, mode, error);
    ++opened;
    if (!handle) return nullptr;
    return std::make_unique<Handle>(*this, std::move(handle));
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(CountingFileSystem& owner, std::unique_ptr<platform::FileHandle> target)
        : ForwardingFileHandle(std::move(target)), owner_(owner) {}
    bool write(const void* data, std::size_t size, platform::ErrorCode& error) override {
      ++owner_.operations;
      owner_.bytes += size;
      return target().write(data, size, error);
    }
    bool seek(std::uint64_t position, platform::ErrorCode& error) override {
      ++owner_.operations;
      return target().seek(position, error);
    }

   private:
    CountingFileSystem& owner_;
  };
};

class BackendLoggerTest : public JobTest {
 protected:
  const WideText log_ = path(u"log.xml");
  const std::string head_ = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<TevraCLI>\n";

  [[nodiscard]] static std::string line(const std::string& text) {
    return "    <" + std::string(time_) + ">" + text + "</" + time_ + ">\n";
  }
  [[nodiscard]] std::string fresh(const std::string& lines = "") const {
    return head_ + line("Backend log file start!") + lines + "</TevraCLI>\n";
  }
  // What the XML library saves for a log to which lines have been added.
  [[nodiscard]] std::string savedByLibrary(const std::string& before, const std::vector<std::string>& lines) {
    TiXmlDocument document;
    document.Parse(before.c_str(), nullptr, TIXML_ENCODING_UTF8);
    for (const std::string& text : lines) {
      TiXmlElement* const element = new TiXmlElement(time_);
      element->LinkEndChild(new TiXmlText(text));
      document.RootElement()->LinkEndChild(element);
    }
    EXPECT_TRUE(document.SaveFile((folder.native() / "library.xml").string()));
    return readFile(path(u"library.xml"));
  }
};

TEST_F(BackendLoggerTest, WithoutAPathNothingIsWritten) {
  BackendLogger logger{WideText()};
  EXPECT_FALSE(logger.isActive());
  EXPECT_EQ(logger.write(u"line"), -1);
}

TEST_F(BackendLoggerTest, AMissingFileIsNotCreated) {
  BackendLogger logger(log_);
  EXPECT_FALSE(logger.isActive());
  EXPECT_EQ(logger.write(u"line"), -1);
  EXPECT_FALSE(fileExists(log_));
}

TEST_F(BackendLoggerTest, AFolderIsNoLog) {
  makeFolder(log_);
  EXPECT_FALSE(BackendLogger(log_).isActive());
}

TEST_F(BackendLoggerTest, AnEmptyFileGetsDeclarationRootAndFirstLine) {
  writeFile(log_, "");
  const BackendLogger logger(log_);
  EXPECT_TRUE(logger.isActive());
  EXPECT_EQ(readFile(log_), fresh());
}

TEST_F(BackendLoggerTest, AFileThatIsNoXmlIsStartedAnew) {
  for (const std::string content :
       {"no log", "<TevraCLI><a>", "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n", "\xF0",
        "<!-- only -->"}) {
    writeFile(log_, content);
    const BackendLogger logger(log_);
    EXPECT_TRUE(logger.isActive());
    EXPECT_EQ(readFile(log_), fresh()) << content;
  }
}

TEST_F(BackendLoggerTest, TheRootIsTheProgramsNameUpToItsFirstDot) {
  for (const auto& [program, root] :
       std::vector<std::pair<WideText, std::string>>{{u"TevraCLI.exe", "TevraCLI"},
                                                     {u"Tevra.CLI.exe", "Tevra"},
                                                     {u"Other", "Other"},
                                                     {u"caf\u00E9", "caf\xC3\xA9"}}) {
    programFileName = program;
    writeFile(log_, "");
    const BackendLogger logger(log_);
    EXPECT_TRUE(readFile(log_).ends_with("</" + root + ">\n"));
  }
}

TEST_F(BackendLoggerTest, AProgramWhoseNameIsNoElementNameHasALogThatTheNextJobContinues) {
  for (const WideText program : {u"", u".exe", u"Tevra CLI.exe", u"2nd", u"a&b", u"<a>", u"a/b"}) {
    programFileName = program;
    writeFile(log_, "");
    for (int job = 0; job < 2; ++job) {
      BackendLogger logger(log_);
      logger.write(u"line");
    }
    EXPECT_EQ(readFile(log_), fresh(line("line") + line("line")));
  }
}

TEST_F(BackendLoggerTest, AfterEveryLineTheFileIsWhatTheXmlLibraryWouldSave) {
  writeFile(log_, "");
  BackendLogger logger(log_);
  std::vector<std::string> lines;
  for (const WideText& text :
       std::vector<WideText>{u"plain", u"", u" blanks at both ends ", u"<markup attribute=\"&amp;\">",
                             u"\u00E4\u20AC\U0001F600", u"several\r\nlines\tand a tab", WideText{1, 2, 0x1F},
                             u"&#x41; &#65;", WideText(50'000, u'x')}) {
    EXPECT_EQ(logger.write(text), 0);
    lines.push_back(toUtf8(text));
    EXPECT_EQ(readFile(log_), savedByLibrary(fresh(), lines));
  }
  EXPECT_NE(readFile(log_).find("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), std::string::npos);
}

TEST_F(BackendLoggerTest, ALineIsNamedByTheTimeOfItsWriting) {
  writeFile(log_, "");
  BackendLogger logger(log_);
  logger.write(u"a");
  logger.write(u"b");
  clock.calendar.tm_year = 2026 - 1900;
  clock.calendar.tm_mon = 11;
  clock.calendar.tm_mday = 31;
  clock.calendar.tm_hour = 23;
  clock.calendar.tm_min = 59;
  clock.calendar.tm_sec = 0;
  logger.write(u"c");
  EXPECT_EQ(readFile(log_),
            fresh(line("a") + line("b") + "    <_2026_12_31__23_59_00_>c</_2026_12_31__23_59_00_>\n"));
}

TEST_F(BackendLoggerTest, AnEarlierRunsLogIsContinuedWithoutASecondFirstLine) {
  writeFile(log_, fresh(line("earlier")));
  BackendLogger logger(log_);
  EXPECT_TRUE(logger.isActive());
  EXPECT_EQ(readFile(log_), fresh(line("earlier")));
  logger.write(u"now");
  logger.write(u"and again");
  EXPECT_EQ(readFile(log_), fresh(line("earlier") + line("now") + line("and again")));
}

TEST_F(BackendLoggerTest, ALogIsContinuedByteForByteAsTheXmlLibraryWouldSaveIt) {
  const std::string empty = "<TevraCLI></TevraCLI>";
  for (const std::string& before :
       {fresh(), fresh(line("a&#x0A;b&lt;&amp;")), head_ + line("a") + "</TevraCLI>",
        head_ + line("a") + "</TevraCLI>\n\n\n", empty, std::string("<TevraCLI/>")}) {
    writeFile(log_, before);
    BackendLogger logger(log_);
    EXPECT_EQ(readFile(log_), before);
    logger.write(u"first");
    logger.write(u"second");
    const bool isEmpty = !before.starts_with(head_);
    EXPECT_EQ(readFile(log_), savedByLibrary(isEmpty ? empty : before, {"first", "second"})) << before;
  }
}

TEST_F(BackendLoggerTest, EveryFormOfAnEarlierLogStaysAsItIsUpToItsEndTag) {
  for (const auto& [start, end] : std::vector<std::pair<std::string, std::string>>{
           {"<other name=\"x\"><a/><b>t</b>", "</other>"},
           {"<?xml version=\"1.0\"?><!-- before --><TevraCLI><!-- inside -->",
            "</TevraCLI><!-- behind -->\n<!-- 2 -->"},
           {"<TevraCLI><a>1</a>", "</TevraCLI><second><x>1</x></second>"},
           {"<TevraCLI><a>1</a>", "</TevraCLI\n>"},
           {"\xEF\xBB\xBF<TevraCLI><a>1</a>", "</TevraCLI>\r\n\r\n"},
           {"<TevraCLI>\r\n<a>two\r\nlines</a>", "\r\n</TevraCLI>\r\n"},
           {"<TevraCLI><a>1</a>", std::string("\n</TevraCLI>\n") + std::string(5000, '\0')},
           {"<TevraCLI><a>1</a>", "\n</TevraCLI>" + std::string(5000, ' ')},
           {"<!DOCTYPE x><TevraCLI><a>&lt;&#x41;&unknown;</a>", "</TevraCLI>"},
           {head_ + line("") + line(" blanks  at both ends "), "</TevraCLI>\n"},
           {"<TevraCLI><![CDATA[</TevraCLI>]]>", "</TevraCLI>"},
           {"<TevraCLI name=\"x\"", "/>"},
           {"<TevraCLI", " /><!-- behind -->"}}) {
    writeFile(log_, start + end);
    BackendLogger logger(log_);
    EXPECT_EQ(readFile(log_), start + end);
    logger.write(u"first");
    logger.write(u"second");
    const std::string after = readFile(log_);
    const std::string feed = start.ends_with('\n') ? "" : "\n";
    const std::string lines = feed + line("first") + line("second") + "</";
    EXPECT_TRUE(after.starts_with(start + lines) || after.starts_with(start + ">" + lines)) << after;
    EXPECT_TRUE(after.ends_with(">\n")) << after;
    TiXmlDocument document;
    document.Parse(after.c_str(), nullptr, TIXML_ENCODING_UTF8);
    ASSERT_FALSE(document.Error()) << after;
    EXPECT_STREQ(document.RootElement()->LastChild()->ToElement()->GetText(), "second");
  }
}

TEST_F(BackendLoggerTest, ALogBeyondTheParsersBoundsIsLeftAlone) {
  std::string deep;
  for (int level = 0; level < 200; ++level) deep = "<a>" + deep + "</a>";
  std::string attributes;
  for (int number = 0; number < 100; ++number) attributes += " a" + std::to_string(number) + "=\"\"";
  for (const std::string& before :
       {fresh(line("caf\xE9")), head_ + line("earlier") + "    <_1>caf\xE9</_1></TevraCLI>",
        fresh(deep + "\n"), fresh("    <a" + attributes + "/>\n"), fresh(line("&#xZ;"))}) {
    writeFile(log_, before);
    BackendLogger logger(log_);
    EXPECT_FALSE(logger.isActive());
    EXPECT_EQ(logger.write(u"line"), -1);
    EXPECT_EQ(readFile(log_), before);
  }
}

TEST_F(BackendLoggerTest, AnEarlierLogIsContinuedInItsOwnFile) {
  const auto real = folder.native() / "real.xml";
  writeFile(path(u"real.xml"), fresh());
  std::filesystem::permissions(real,
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  std::filesystem::create_hard_link(real, folder.native() / "hard.xml");
  std::filesystem::create_symlink("real.xml", folder.native() / "log.xml");
  std::ifstream reader(real);
  BackendLogger logger(log_);
  logger.write(u"line");

  const std::string after = fresh(line("line"));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.native() / "log.xml"));
  EXPECT_EQ(readFile(path(u"real.xml")), after);
  EXPECT_EQ(readFile(path(u"hard.xml")), after);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), after);
  EXPECT_EQ(std::filesystem::status(real).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

// What a job finds whose predecessor was killed, or whose machine was switched off.
TEST_F(BackendLoggerTest, ALogThatWasCutAtAnyByteIsContinuedBehindItsLastWholeLine) {
  const std::vector<std::string> lines = {line("Backend log file start!"), line("caf\xC3\xA9 &#x0A;"),
                                          line(""), line("last")};
  std::string whole = head_;
  std::vector<std::size_t> ends;  // of each line without its line feed
  for (const std::string& text : lines) ends.push_back((whole += text).size() - 1);
  whole += "</TevraCLI>\n";
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    std::string kept = head_;
    for (std::size_t i = 0; i < lines.size(); ++i)
      if (ends[i] <= size) kept += lines[i];
    const std::string expected =
        size < ends.front() ? fresh(line("next")) : kept + line("next") + "</TevraCLI>\n";
    for (const std::string& zeros : {std::string(), std::string(7, '\0')}) {
      writeFile(log_, whole.substr(0, size) + zeros);
      BackendLogger logger(log_);
      EXPECT_TRUE(logger.isActive());
      logger.write(u"next");
      EXPECT_EQ(readFile(log_), expected) << size;
    }
  }
}

TEST_F(BackendLoggerTest, ALogWhoseEndTagWasOverwrittenInPartKeepsItsLines) {
  const std::string before = fresh(line("earlier"));
  const std::string after = fresh(line("earlier") + line("being written"));
  for (std::size_t size = 0; size < before.size(); ++size) {
    writeFile(log_, after.substr(0, size) + before.substr(size));
    BackendLogger logger(log_);
    logger.write(u"next");
    EXPECT_EQ(readFile(log_), fresh(line("earlier") + line("next"))) << size;
  }
}

TEST_F(BackendLoggerTest, ALineThatIsNoValidTextIsWrittenReadable) {
  writeFile(log_, "");
  BackendLogger logger(log_);
  EXPECT_EQ(logger.write(WideText{u'a', 0xD800, u'b', 0xDCFF, 0xDBFF}), 0);
  EXPECT_EQ(readFile(log_), fresh(line("a\xEF\xBF\xBD"
                                       "b\xEF\xBF\xBD\xEF\xBF\xBD")));
}

TEST_F(BackendLoggerTest, TheCostOfALineDoesNotGrowWithTheLog) {
  writeFile(log_, fresh(line("earlier")));
  CountingFileSystem counting(files());
  useFileSystem(counting);
  BackendLogger logger(log_);
  EXPECT_EQ(counting.opened, 1U);
  const auto costOfOneLine = [&] {
    const std::size_t operations = counting.operations;
    const std::size_t bytes = counting.bytes;
    logger.write(u"a line");
    return std::pair(counting.operations - operations, counting.bytes - bytes);
  };
  const auto first = costOfOneLine();
  for (int i = 0; i < 2000; ++i) logger.write(u"a line");
  EXPECT_EQ(costOfOneLine(), first);
  EXPECT_LE(first.second, 200U);
  EXPECT_EQ(counting.opened, 2U);
}

TEST_F(BackendLoggerTest, AFullDiskIsSilentAndLeavesTheDocumentAsItWas) {
  for (const std::string& before : {std::string(), fresh(line("earlier")), std::string("<TevraCLI/>")}) {
    for (int failing = 1;; ++failing) {
      writeFile(log_, before);
      FaultyFileSystem faulty(files());
      useFileSystem(faulty);
      BackendLogger logger(log_);
      const std::string whole = readFile(log_);
      faulty.count = 0;
      faulty.failAt = failing;
      EXPECT_EQ(logger.write(u"a line that fits not"), 0);
      if (faulty.count < failing) break;
      EXPECT_EQ(readFile(log_), whole) << failing;
    }
  }
}

TEST_F(BackendLoggerTest, LinesThatCouldNotBeWrittenComeWithTheNextOne) {
  for (const std::string& before : {std::string(), fresh()}) {
    writeFile(log_, before);
    FaultyFileSystem faulty(files());
    useFileSystem(faulty);
    BackendLogger logger(log_);
    faulty.failAt = faulty.count + 1;
    faulty.failAllAfter = true;
    logger.write(u"first");
    logger.write(u"second");
    faulty.failAt = 0;
    EXPECT_EQ(logger.write(u"third"), 0);
    EXPECT_EQ(readFile(log_), fresh(line("first") + line("second") + line("third")));
    logger.write(u"fourth");
    EXPECT_EQ(readFile(log_), fresh(line("first") + line("second") + line("third") + line("fourth")));
  }
}

TEST_F(BackendLoggerTest, LinesForADiskThatStaysFullCostTheirOwnSize) {
  writeFile(log_, fresh(line(std::string(100'000, 'x'))));
  const std::string before = readFile(log_);
  FaultyFileSystem faulty(files());
  CountingFileSystem counting(faulty);
  useFileSystem(counting);
  BackendLogger logger(log_);
  faulty.before = [&](int, const std::string& operation) {
    faulty.failAt = operation == "write" ? faulty.count : 0;
  };
  logger.write(u"the first one");
  const std::size_t bytes = counting.bytes;
  for (int number = 1; number <= 5000; ++number) logger.write(u"a line");
  EXPECT_LE(counting.bytes - bytes, 5000U * 200U);
  faulty.before = nullptr;
  faulty.failAt = 0;
  logger.write(u"the last one");
  const std::string after = readFile(log_);
  EXPECT_LE(after.size(), before.size() + 100'000);
  EXPECT_TRUE(after.starts_with(before.substr(0, before.find("</TevraCLI>")) + line("the first one") +
                                line("a line")));
  EXPECT_TRUE(after.ends_with(line("a line") + line("the last one") + "</TevraCLI>\n"));
}

TEST_F(BackendLoggerTest, AVolumeWithoutRoomLosesNoEarlierLine) {
  makeFolder(path(u"volume"));
  const SmallVolume volume(folder.native() / "volume", 64 << 10);
  if (!volume.isMounted()) GTEST_SKIP() << "needs the rights of the superuser";
  const WideText log = path(u"volume/log.xml");
  writeFile(log, fresh(line("earlier")));
  { std::ofstream(folder.native() / "volume/filler") << std::string(1 << 20, 'x'); }
  BackendLogger logger(log);
  logger.write(WideText(10'000, u'l'));
  EXPECT_EQ(readFile(log), fresh(line("earlier")));
  std::filesystem::remove(folder.native() / "volume/filler");
  logger.write(u"after");
  EXPECT_EQ(readFile(log), fresh(line("earlier") + line(std::string(10'000, 'l')) + line("after")));
}

TEST_F(BackendLoggerTest, AnEarlierLogIsContinuedByTheNextJobWhateverFailedAndWhen) {
  for (const bool failsForGood : {false, true}) {
    for (int failing = 1;; ++failing) {
      writeFile(log_, fresh(line("earlier")));
      FaultyFileSystem faulty(files());
      faulty.failAt = failing;
      faulty.failAllAfter = failsForGood;
      {
        useFileSystem(faulty);
        BackendLogger logger(log_);
        logger.write(u"later");
      }
      const bool isClean = faulty.count < failing;
      faulty.failAt = 0;
      BackendLogger next(log_);
      next.write(u"next");
      EXPECT_EQ(readFile(log_), fresh(line("earlier") + (isClean ? line("later") : "") + line("next")))
          << failing;
      if (isClean) break;
    }
  }
}

TEST_F(BackendLoggerTest, AnEarlierLogThatCannotBeWrittenIsIgnoredLineByLine) {
  writeFile(log_, fresh(line("earlier")));
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;
  faulty.failAllAfter = true;
  useFileSystem(faulty);
  BackendLogger logger(log_);
  EXPECT_TRUE(logger.isActive());
  for (int number = 0; number < 3; ++number) EXPECT_EQ(logger.write(u"line"), 0);
  EXPECT_EQ(readFile(log_), fresh(line("earlier")));
}

TEST_F(BackendLoggerTest, ALogThatOthersHaveWrittenBeforeItsFirstLineIsLeftAlone) {
  writeFile(log_, fresh());
  BackendLogger logger(log_);
  const std::string others = fresh(line("of another job"));
  writeFile(log_, others);
  EXPECT_EQ(logger.write(u"line"), 0);
  EXPECT_EQ(readFile(log_), others);
}

TEST_F(BackendLoggerTest, ALogTooLargeToBeReadIsLeftAlone) {
  writeFile(log_, "<TevraCLI/>");
  std::filesystem::resize_file(std::filesystem::path(toUtf8(log_)), std::uintmax_t{65} << 20);
  BackendLogger logger(log_);
  EXPECT_FALSE(logger.isActive());
  EXPECT_EQ(std::filesystem::file_size(toUtf8(log_)), std::uintmax_t{65} << 20);
}

TEST_F(BackendLoggerTest, AFileThatCannotBeStartedLeavesTheLogOff) {
  for (const int failing : {1, 2}) {
    writeFile(log_, "no log");
    FaultyFileSystem faulty(files());
    useFileSystem(faulty);
    faulty.failAt = failing;
    BackendLogger logger(log_);
    EXPECT_FALSE(logger.isActive());
    EXPECT_EQ(logger.write(u"line"), -1);
  }
}

TEST_F(BackendLoggerTest, OnlyTheFirstCallsPathCounts) {
  writeFile(log_, "");
  EXPECT_FALSE(BackendLogger::instance().isActive());
  EXPECT_FALSE(BackendLogger::instance(log_).isActive());
  EXPECT_EQ(readFile(log_), "");
  BackendLogger::destroy();
  EXPECT_TRUE(BackendLogger::instance(log_).isActive());
  EXPECT_TRUE(BackendLogger::instance().isActive());
  EXPECT_TRUE(BackendLogger::instance(path(u"other.xml")).isActive());
  writeLog(u"line");
  EXPECT_EQ(readFile(log_), fresh(line("line")));
}

}  // namespace
}  // namespace ZelmoraTevra
