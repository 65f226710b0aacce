#include <tinyxml.h>

#include "core/BackendLogger.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

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
                                                     {u"", "TevraCLI"}}) {
    programFileName = program;
    writeFile(log_, "");
    const BackendLogger logger(log_);
    EXPECT_TRUE(readFile(log_).ends_with("</" + root + ">\n"));
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

TEST_F(BackendLoggerTest, EveryFormOfAnEarlierLogIsContinuedAsTheXmlLibraryWouldDo) {
  for (const std::string& before : std::vector<std::string>{
           "<TevraCLI/>", "<TevraCLI></TevraCLI>", "<other name=\"x\"><a/><b>t</b></other>",
           "<?xml version=\"1.0\"?><!-- before --><TevraCLI><!-- inside --></TevraCLI><!-- behind -->\n<!-- "
           "2 -->",
           "<TevraCLI><a>1</a></TevraCLI><second><x>1</x></second>",
           "\xEF\xBB\xBF<TevraCLI><a>1</a></TevraCLI>\r\n\r\n",
           "<TevraCLI>\r\n<a>two\r\nlines</a>\r\n</TevraCLI>",
           "<!DOCTYPE x><TevraCLI><a>&lt;&#x41;</a></TevraCLI>"}) {
    writeFile(log_, before);
    BackendLogger logger(log_);
    std::vector<std::string> lines;
    for (const std::string text : {"first", "second", "third"}) {
      logger.write(toWide(text));
      lines.push_back(text);
      std::string lineFeeds = before;
      for (std::size_t at; (at = lineFeeds.find('\r')) != std::string::npos;) lineFeeds.erase(at, 1);
      EXPECT_EQ(readFile(log_), savedByLibrary(lineFeeds, lines)) << before;
    }
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
  logger.write(u"the first line prints an earlier log anew");
  const auto costOfOneLine = [&] {
    const std::size_t operations = counting.operations;
    const std::size_t bytes = counting.bytes;
    logger.write(u"a line");
    return std::pair(counting.operations - operations, counting.bytes - bytes);
  };
  const auto first = costOfOneLine();
  const std::size_t opened = counting.opened;
  for (int i = 0; i < 2000; ++i) logger.write(u"a line");
  EXPECT_EQ(costOfOneLine(), first);
  EXPECT_LE(first.second, 200U);
  EXPECT_EQ(counting.opened, opened);
}

TEST_F(BackendLoggerTest, AFullDiskIsSilentAndLeavesAWholeDocument) {
  writeFile(log_, "");
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  BackendLogger logger(log_);
  logger.write(u"before");
  for (int number = 1;; ++number) {
    const std::string whole = readFile(log_);
    faulty.count = 0;
    faulty.failAt = number;
    EXPECT_EQ(logger.write(u"a line that fits not"), 0);
    if (faulty.count < number) break;
    EXPECT_EQ(readFile(log_), whole);
  }
  faulty.failAt = 0;
  EXPECT_EQ(logger.write(u"after"), 0);
  EXPECT_EQ(readFile(log_), fresh(line("before") + line("a line that fits not") + line("after")));
}

TEST_F(BackendLoggerTest, AnEarlierLogIsWholeWhateverFailsAtItsContinuation) {
  for (int failing = 1;; ++failing) {
    writeFile(log_, fresh(line("earlier")));
    FaultyFileSystem faulty(files());
    useFileSystem(faulty);
    faulty.failAt = failing;
    // Only where nothing can be made beside it is the log written directly.
    int opened = 0;
    faulty.before = [&](int, const std::string& operation) {
      if (operation == "open") ++opened;
      if (opened < 2) {
        EXPECT_NE(readFile(log_).find("earlier"), std::string::npos) << failing << operation;
      }
    };
    BackendLogger logger(log_);
    logger.write(u"later");
    EXPECT_NE(readFile(log_).find("earlier"), std::string::npos) << failing;
    if (faulty.count < failing) break;
  }
  EXPECT_EQ(readFile(log_), fresh(line("earlier") + line("later")));
}

TEST_F(BackendLoggerTest, ALogTooLargeToBeReadIsLeftAlone) {
  writeFile(log_, "<TevraCLI/>");
  std::filesystem::resize_file(std::filesystem::path(toUtf8(log_)), std::uintmax_t{65} << 20);
  BackendLogger logger(log_);
  EXPECT_FALSE(logger.isActive());
  EXPECT_EQ(std::filesystem::file_size(toUtf8(log_)), std::uintmax_t{65} << 20);
}

TEST_F(BackendLoggerTest, AnEarlierLogThatCouldNotBeWrittenIsWrittenWithTheNextLine) {
  writeFile(log_, fresh(line("earlier")));
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  BackendLogger logger(log_);
  for (const int failing : {1, 2}) {
    faulty.count = 0;
    faulty.failAt = failing;
    EXPECT_EQ(logger.write(u"lost for now"), 0);
  }
  faulty.failAt = 0;
  EXPECT_EQ(logger.write(u"after"), 0);
  EXPECT_EQ(readFile(log_),
            fresh(line("earlier") + line("lost for now") + line("lost for now") + line("after")));
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
