#include <unistd.h>

#include <algorithm>
#include <boost/interprocess/shared_memory_object.hpp>

#include "app/ProcessEntry.h"
#include "core/BackendLogger.h"
#include "core/Base64.h"
#include "core/Globals.h"
#include "core/SharedTextBlock.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

using Lines = std::vector<WideText>;

class Boxes : public platform::Processes {
 public:
  bool isRunning(const WideText&) override { return true; }
  WideText modulePath() override { return u"/opt/tevra/TevraCLI"; }
  WideText environment(const WideText& name) override {
    return platform::nativeMachine().processes->environment(name);
  }
  void showErrorBox(const WideText& caption, const WideText& text) override {
    shown.push_back(caption + u"|" + text);
  }
  [[noreturn]] void end(int) override { std::abort(); }

  Lines shown;
};

class Company : public platform::Registry {
 public:
  WideText text(const WideText& key, const WideText& valueName) override {
    asked.push_back(key + u"|" + valueName);
    return u"ZELMORA";
  }
  Lines asked;
};

class RecordedPower : public platform::Power {
 public:
  bool keepAwake(bool awayMode) override {
    requests += awayMode ? "away " : "awake ";
    return !awayMode || knowsAwayMode;
  }
  void allowSleep() override { requests += "sleep "; }

  bool knowsAwayMode = true;
  std::string requests;
};

class ProcessEntryTest : public JobTest {
 protected:
  ProcessEntryTest() {
    platform::Machine machine = platform::machine();
    machine.processes = &boxes_;
    machine.registry = &registry_;
    machine.power = &power_;
    useMachine(machine);
    StatusXml::destroy();
    writeCommands("");
  }

  void writeCommands(const std::string& commands) {
    writeFile(source_, "<CommandSequence>" + commands + "</CommandSequence>\n");
  }
  // The fields as they stand, behind the name under which the program is started.
  int start(const std::string& text, const std::string& program = "/opt/tevra/TevraCLI") {
    return startWith({program, encodeBase64(text)});
  }
  static int startWith(const std::vector<std::string>& arguments) {
    std::vector<const char*> pointers;
    for (const std::string& each : arguments) pointers.push_back(each.c_str());
    return runProcess(static_cast<int>(pointers.size()), pointers.data());
  }
  [[nodiscard]] std::string fields() const {
    return toUtf8(source_) + "|" + toUtf8(path(u"temp")) + "|" + toUtf8(path(u"backups"));
  }
  [[nodiscard]] std::string withLog() const { return fields() + "|" + toUtf8(log_); }

  const WideText source_ = path(u"commands.xml");
  const WideText log_ = path(u"log.xml");
  Boxes boxes_;
  Company registry_;
  RecordedPower power_;
};

TEST_F(ProcessEntryTest, AnEmptySequenceIsDoneWithoutAStatus) {
  EXPECT_EQ(start(fields()), 0);
  EXPECT_FALSE(fileExists(StatusXml::instance().statusFilePath()));
  EXPECT_TRUE(boxes_.shown.empty());
}

TEST_F(ProcessEntryTest, WrongParametersEndInTheBoxWithoutStatusOrLog) {
  writeFile(log_, "");
  const std::vector<std::vector<std::string>> wrong = {
      {"TevraCLI"},
      {"TevraCLI", ""},
      {"TevraCLI", "*"},
      {"TevraCLI", "QUI"},
      {"TevraCLI", encodeBase64("\" '")},
      {"TevraCLI", encodeBase64("a")},
      {"TevraCLI", encodeBase64("a|b")},
      {"TevraCLI", encodeBase64(withLog() + "|e")},
      {"TevraCLI", encodeBase64(fields() + "\xFF")},
  };
  for (const std::vector<std::string>& arguments : wrong) {
    boxes_.shown.clear();
    EXPECT_EQ(startWith(arguments), -1);
    EXPECT_EQ(boxes_.shown, (Lines{u"ZELMORA|Wrong parameters."}));
  }
  EXPECT_EQ(registry_.asked.front(), u"SOFTWARE\\ZELMORA\\ZELMORA tevra|Company");
  EXPECT_TRUE(statusHistory().empty());
  EXPECT_EQ(readFile(log_), "");
  EXPECT_EQ(power_.requests, "");
}

TEST_F(ProcessEntryTest, WithoutAnyArgumentAtAllTheBoxIsShown) {
  EXPECT_EQ(startWith({}), -1);
  EXPECT_EQ(boxes_.shown.size(), 1U);
}

TEST_F(ProcessEntryTest, QuotesAndBlanksAreTakenOff) {
  EXPECT_EQ(start(" \"'" + toUtf8(source_) + " |\t" + toUtf8(path(u"temp")) + "\t| " +
                  toUtf8(path(u"backups")) + "\n'\" "),
            0);
  EXPECT_TRUE(boxes_.shown.empty());
}

TEST_F(ProcessEntryTest, OnlyTheLastArgumentCounts) {
  EXPECT_EQ(startWith({"TevraCLI", "--option", "\xFF", encodeBase64(fields())}), 0);
  EXPECT_TRUE(boxes_.shown.empty());
}

TEST_F(ProcessEntryTest, AnEmptyFourthFieldLeavesTheLogOff) {
  EXPECT_EQ(start(fields() + "|"), 0);
  EXPECT_FALSE(BackendLogger::instance().isActive());
}

TEST_F(ProcessEntryTest, ALogThatDoesNotExistLeavesTheLogOff) {
  EXPECT_EQ(start(withLog()), 0);
  EXPECT_FALSE(BackendLogger::instance().isActive());
  EXPECT_FALSE(fileExists(log_));
}

TEST_F(ProcessEntryTest, TheLogTellsTheStartInItsOrder) {
  writeFile(log_, "");
  EXPECT_EQ(startWith({"/opt/x/TevraCLI.exe", "ignored\xFF", encodeBase64(withLog())}), 0);
  EXPECT_EQ(logLines(), (Lines{u"Backend started! ", u"Command line arguments: ", u"/opt/x/TevraCLI.exe",
                               u"ignored\uFFFD", toWide(encodeBase64(withLog())), u"Encoded arguments: ",
                               source_, path(u"temp"), path(u"backups"), log_, u"Backend finish!"}));
  EXPECT_TRUE(readFile(log_).ends_with("</TevraCLI>\n"));
}

TEST_F(ProcessEntryTest, TheLogIsNamedAfterTheProgramsLastComponent) {
  for (const auto& [program, root] :
       std::vector<std::pair<std::string, std::string>>{{"TevraCLI", "TevraCLI"},
                                                        {"C:\\tevra\\Other.exe", "Other"},
                                                        {"/opt/My", "My"},
                                                        {"", "TevraCLI"}}) {
    BackendLogger::destroy();
    writeFile(log_, "");
    EXPECT_EQ(start(withLog(), program), 0);
    EXPECT_TRUE(readFile(log_).ends_with("</" + root + ">\n")) << program;
  }
  EXPECT_EQ(start(fields(), "/opt/a\\b/c.exe"), 0);
  EXPECT_EQ(programFileName, u"c.exe");
}

TEST_F(ProcessEntryTest, AJobContinuesTheLogOfOneThatWasKilledInTheMiddleOfALine) {
  writeFile(log_, "");
  EXPECT_EQ(start(withLog()), 0);
  const Lines first = logLines();
  const std::string whole = readFile(log_);
  writeFile(log_, whole.substr(0, whole.rfind("finish!")));
  BackendLogger::destroy();
  EXPECT_EQ(start(withLog()), 0);
  Lines both(first.begin(), first.end() - 1);
  both.insert(both.end(), first.begin(), first.end());
  EXPECT_EQ(logLines(), both);
}

TEST_F(ProcessEntryTest, AProgramInAFolderWhoseNameIsNoTextRuns) {
  EXPECT_EQ(start(fields(), "/opt/\xFF/TevraCLI"), 0);
  EXPECT_EQ(programFileName, u"TevraCLI");
  EXPECT_TRUE(boxes_.shown.empty());
}

TEST_F(ProcessEntryTest, AFileSetsTheValuesOfAJobInFiles) {
  channelName = "before";
  commandsInSharedMemory = true;
  writeCommands("<Command CommandName=\"UNKNOWN\"/>");
  EXPECT_EQ(start(fields()), -1);
  EXPECT_EQ(channelName, "ZELMORATevra_tmp");
  EXPECT_FALSE(commandsInSharedMemory);
  EXPECT_EQ(userTempFolder, path(u"temp"));
  EXPECT_EQ(workTempFolder, path(u"temp") + u"\\ZELMORATevra_tmp");
  EXPECT_EQ(backupRootFolder, path(u"backups"));
}

TEST_F(ProcessEntryTest, AnUnknownCommandIsMinusOneWithoutAStatus) {
  writeFile(log_, "");
  writeCommands("<Command CommandName=\"INSTALL_TEVRAFILE\"/>");
  EXPECT_EQ(start(withLog()), -1);
  EXPECT_TRUE(statusHistory().empty());
  const Lines lines = logLines();
  EXPECT_EQ(
      Lines(lines.end() - 3, lines.end()),
      (Lines{u"Start reading INSTALL_TEVRAFILE", u"Fail to read INSTALL_TEVRAFILE", u"Backend finish!"}));
}

TEST_F(ProcessEntryTest, ADocumentThatCannotBeReadIsMinusOneAnd1027) {
  writeFile(log_, "");
  writeFile(source_, "no xml");
  EXPECT_EQ(start(withLog()), -1);
  EXPECT_EQ(status().exitCode(), u"1027");
  EXPECT_EQ(logLines().back(), u"Backend finish!");
}

TEST_F(ProcessEntryTest, AFailedReadingStillLetsTheMachineSleep) {
  writeFile(source_, "no xml");
  EXPECT_EQ(start(fields()), -1);
  EXPECT_EQ(power_.requests, "away sleep ");
}

TEST_F(ProcessEntryTest, TheMachineIsKeptAwakeForTheJob) {
  EXPECT_EQ(start(fields()), 0);
  EXPECT_EQ(power_.requests, "away sleep ");
  power_.requests.clear();
  power_.knowsAwayMode = false;
  EXPECT_EQ(start(fields()), 0);
  EXPECT_EQ(power_.requests, "away awake sleep ");
}

TEST_F(ProcessEntryTest, TheExecutionTimeCountsFromTheStart) {
  writeFile(source_, "no xml");
  EXPECT_EQ(start(fields()), -1);
  EXPECT_EQ(status().attributes.at(u"executionTime"), u"0");
}

TEST_F(ProcessEntryTest, AnExceptionEndsTheJobWithMinusOne) {
  writeCommands("<Command CommandName=\"\xFF\"/>");
  EXPECT_EQ(start(fields()), -1);
  EXPECT_EQ(boxes_.shown, (Lines{u"TevraCLI|Invalid UTF-8"}));
}

class SharedJobTest : public ProcessEntryTest {
 protected:
  ~SharedJobTest() override { boost::interprocess::shared_memory_object::remove(name_.c_str()); }

  const std::string name_ = "tevra_test_" + std::to_string(::getpid()) + "_job";

  void putIntoBlock(const std::string& text) {
    SharedTextBlock block(name_);
    ASSERT_EQ(block.create(), 0);
    ASSERT_EQ(block.write(text), 0);
  }
  [[nodiscard]] SavedStatus statusInBlock() const {
    SharedTextBlock block(name_);
    std::string text;
    EXPECT_EQ(block.open(), 0);
    EXPECT_EQ(block.read(text), 0);
    return parseStatus(text);
  }
  [[nodiscard]] std::string sharedFields() const {
    return name_ + "|" + toUtf8(path(u"temp")) + "|" + toUtf8(path(u"backups"));
  }
};

TEST_F(SharedJobTest, ABlockSetsTheValuesOfAJobInSharedMemory) {
  putIntoBlock("<CommandSequence><Command CommandName=\"UNKNOWN\"/></CommandSequence>");
  EXPECT_EQ(start(sharedFields()), -1);
  EXPECT_EQ(channelName, name_);
  EXPECT_TRUE(commandsInSharedMemory);
  EXPECT_EQ(workTempFolder, path(u"temp") + u"\\" + toWide(name_));
}

TEST_F(SharedJobTest, ABadDocumentInTheBlockIsReportedThere) {
  putIntoBlock("no xml");
  EXPECT_EQ(start(sharedFields()), -1);
  EXPECT_EQ(statusInBlock().exitCode(), u"1027");
}

TEST_F(SharedJobTest, NeitherBlockNorFileIs1247InABlockThatIsMade) {
  EXPECT_EQ(start(sharedFields()), -1);
  EXPECT_TRUE(commandsInSharedMemory);
  EXPECT_EQ(statusInBlock().state, 7);
  EXPECT_EQ(statusInBlock().descriptions, (Lines{u"100", u"INTERNAL ERROR!!!"}));
  EXPECT_EQ(statusInBlock().exitCode(), u"1247");
}

TEST_F(SharedJobTest, AnEmptyCommandSourceIsMinusOneAndToldByTheLog) {
  writeFile(log_, "");
  EXPECT_EQ(start("|" + toUtf8(path(u"temp")) + "|" + toUtf8(path(u"backups")) + "|" + toUtf8(log_)), -1);
  EXPECT_TRUE(logHas(u"exitCode: 1247"));
  EXPECT_TRUE(boxes_.shown.empty());
}

}  // namespace
}  // namespace ZelmoraTevra
