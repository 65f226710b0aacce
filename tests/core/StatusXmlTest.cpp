#include <sys/stat.h>
#include <tinyxml.h>

#include <filesystem>
#include <functional>

#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/ForwardingProcesses.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

// The status of a program that is called "TevraCLI".
class NamedStatus : public StatusXml {
 public:
  NamedStatus() { initExecutableBaseName(); }
};

struct StateRow {
  std::int32_t state;
  WideView name;
  bool running;
  bool exitReport;
};

constexpr StateRow states[] = {
    {-1, u"statInvalid", false, false},
    {0, u"statPreparing", true, false},
    {1, u"statDownloadInProgress", true, false},
    {2, u"statExtractInProgress", true, false},
    {3, u"statInstalllnProgress", true, false},
    {4, u"statBackupInProgress", true, false},
    {5, u"statRestoreInProgress", true, false},
    {6, u"statDeleteInProgress", true, false},
    {7, u"statErrorOccured", false, true},
    {8, u"statAbort", false, true},
    {9, u"statSuccess", false, true},
    {10, u"statNotEnoughSpace", false, true},
    {11, u"statFitsToTarget", false, true},
    {12, u"statMoveBackupFolderInProgress", true, false},
    {13, u"statConvertBackupInProgress", true, false},
    {14, u"statImportKmlInProgress", true, false},
    {15, u"statExportKmlInProgress", true, false},
    {16, u"statConnectionLost", false, true},
    {17, u"statHaskValidation", true, false},
};

class StatusXmlTest : public JobTest {
 protected:
  StatusXml& status_ = StatusXml::instance();
  // The module's name is that of the test program.
  const std::string name_ = toUtf8(status_.executableBaseName());

  [[nodiscard]] std::string document() const { return readFile(status_.statusFilePath()); }
  // A document with these lines between the root's tags.
  [[nodiscard]] std::string expected(const std::string& lines) const {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<" + name_ + ">\n" + lines + "</" + name_ + ">\n";
  }
};

TEST_F(StatusXmlTest, EveryStateHasItsName) {
  for (const StateRow& row : states) EXPECT_EQ(statusName(row.state), row.name);
  EXPECT_EQ(statusName(-2), u"");
  EXPECT_EQ(statusName(18), u"");
}

TEST_F(StatusXmlTest, OnlyStatesThatAreNotRunningTellTheExecutionTime) {
  for (const StateRow& row : states) {
    status_.setState(row.state);
    ASSERT_TRUE(status_.save());
    EXPECT_EQ(status().state, row.state);
    EXPECT_EQ(status().attributes.contains(u"executionTime"), !row.running) << row.state;
  }
  for (const std::int32_t unknown : {-2, 18}) {
    status_.setState(unknown);
    ASSERT_TRUE(status_.save());
    EXPECT_TRUE(status().attributes.contains(u"executionTime"));
  }
}

TEST_F(StatusXmlTest, OnlyExitReportsAreLoggedAsSuch) {
  startLog();
  std::size_t before = 0;
  for (const StateRow& row : states) {
    if (row.state == -1) continue;
    status_.setStartTime(clock.seconds);
    status_.setState(row.state);
    status_.setPercent(100);
    status_.setDescriptionWithAttribute(u"text", u"unit");
    status_.setAttribute(u"exitCode", u"1010");
    ASSERT_TRUE(status_.save());
    std::vector<WideText> expectedLines{u"Status changed: " + WideText(row.name)};
    if (row.exitReport) {
      expectedLines.insert(expectedLines.end(), {u"Exit status reported: " + numberText(row.state), u"100",
                                                 u"text", u"exitCode: 1010", u"Backend execution time: 0"});
    }
    std::vector<WideText> lines = logLines();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(lines, expectedLines) << row.state;
    before += lines.size();
  }
}

TEST_F(StatusXmlTest, AChangeOfStateIsLoggedOnce) {
  startLog();
  status_.setState(3);
  status_.save();
  status_.setState(3);
  status_.save();
  status_.setState(99);
  status_.save();
  EXPECT_EQ(logLines(),
            (std::vector<WideText>{u"Status changed: statInstalllnProgress", u"Status changed: "}));
}

TEST_F(StatusXmlTest, TheFirstStateIsNoChange) {
  startLog();
  status_.save();
  EXPECT_TRUE(logLines().empty());
  EXPECT_EQ(status().state, -1);
}

TEST_F(StatusXmlTest, ASaveWithNothingSetWritesJustRootAndState) {
  status_.setState(1);
  status_.setPercent(5);
  status_.setAttribute(u"FILE", u"x");
  ASSERT_TRUE(status_.save());
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(document(), expected("    <stat>1</stat>\n"));
}

TEST_F(StatusXmlTest, ThePercentIsADescriptionLikeTheOthers) {
  status_.setState(1);
  status_.setPercent(100);
  status_.setDescription(u"x");
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(document(), expected("    <stat>1</stat>\n"
                                 "    <description0>100</description0>\n"
                                 "    <description1>x</description1>\n"));
}

TEST_F(StatusXmlTest, ADescriptionHasTheAttributeOfItsIndexOnlyIfItIsNotEmpty) {
  status_.setState(1);
  status_.setDescription(u"a");
  status_.setDescriptionWithAttribute(u"12", u"KB/s");
  status_.setDescriptionWithAttribute(u"13", u"");
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(document(), expected("    <stat>1</stat>\n"
                                 "    <description0>a</description0>\n"
                                 "    <description1 attribute1=\"KB/s\">12</description1>\n"
                                 "    <description2>13</description2>\n"));
}

TEST_F(StatusXmlTest, NamedValuesAreSortedBehindTheDescriptions) {
  status_.setState(7);
  status_.setStartTime(clock.seconds - 12);
  status_.setAttribute(u"exitCode", u"1001");
  status_.setAttribute(u"PATH", u"/a");
  status_.setAttribute(u"DRIVE", u"");
  status_.setPercent(119);
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(document(), expected("    <stat>7</stat>\n"
                                 "    <description0>119</description0>\n"
                                 "    <DRIVE></DRIVE>\n"
                                 "    <PATH>/a</PATH>\n"
                                 "    <exitCode>1001</exitCode>\n"
                                 "    <executionTime>12</executionTime>\n"));
}

TEST_F(StatusXmlTest, TheFirstValueOfANameStays) {
  status_.setState(1);
  status_.setAttribute(u"exitCode", u"1");
  status_.setAttribute(u"exitCode", u"2");
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(status().exitCode(), u"1");
}

TEST_F(StatusXmlTest, TheSerialNumberStandsBehindTheNamedValuesAndStays) {
  status_.setDeviceSerialNumber(4'294'967'295);
  status_.setState(9);
  status_.setStartTime(clock.seconds);
  status_.setAttribute(u"zeta", u"1");
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(document(), expected("    <stat>9</stat>\n"
                                 "    <zeta>1</zeta>\n"
                                 "    <serialNumber>4294967295</serialNumber>\n"
                                 "    <executionTime>0</executionTime>\n"));
  status_.setState(1);
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(document(), expected("    <stat>1</stat>\n    <serialNumber>4294967295</serialNumber>\n"));
}

TEST_F(StatusXmlTest, TheSecondTerminalSaveTellsNearlyTheTimeSinceTheEpoch) {
  status_.setStartTime(clock.seconds);
  clock.seconds += 42;
  status_.setState(9);
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(status().attributes.at(u"executionTime"), u"42");
  clock.seconds += 5;
  status_.setState(9);
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(status().attributes.at(u"executionTime"), numberText(clock.seconds - 42));
}

TEST_F(StatusXmlTest, TheDocumentIsWhatTheXmlLibrarySavesForTheSameTree) {
  const std::vector<WideText> texts = {
      u"",
      u" ",
      u"  leading and trailing  ",
      u"<tag attribute=\"x\">&amp;'</tag>",
      u"]]>",
      u"&#x41; &#65; &lt; & &#x",
      u"line\nbreak\r\n\ttab",
      WideText{1, 0x1F, 0x7F, 0x80, 0xFFFD},
      u"\u00E4\u20AC\U0001F600",
      WideText(100'000, u'x'),
  };
  TiXmlDocument tree;
  tree.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
  TiXmlElement* const root = new TiXmlElement(name_);
  tree.LinkEndChild(root);
  const auto add = [&](const std::string& name, const std::string& text) {
    TiXmlElement* const element = new TiXmlElement(name);
    element->LinkEndChild(new TiXmlText(text));
    root->LinkEndChild(element);
    return element;
  };

  status_.setState(7);
  status_.setStartTime(clock.seconds);
  add("stat", "7");
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string index = std::to_string(i);
    status_.setDescriptionWithAttribute(texts[i], texts[texts.size() - 1 - i]);
    TiXmlElement* const element = add("description" + index, toUtf8(texts[i]));
    const WideText& attribute = texts[texts.size() - 1 - i];
    if (!attribute.empty()) element->SetAttribute("attribute" + index, toUtf8(attribute));
  }
  for (std::size_t i = 0; i < texts.size(); ++i) {
    status_.setAttribute(u"name" + numberText(static_cast<std::int64_t>(i)), texts[i]);
    add("name" + std::to_string(i), toUtf8(texts[i]));
  }
  add("executionTime", "0");
  ASSERT_TRUE(status_.save());
  ASSERT_TRUE(tree.SaveFile((folder.native() / "saved.xml").string()));
  EXPECT_EQ(document(), readFile(path(u"saved.xml")));
}

TEST_F(StatusXmlTest, ATextThatIsNoValidTextIsReportedReadable) {
  status_.setState(1);
  status_.setDescriptionWithAttribute(WideText{u'a', 0xDCFF}, WideText{0xD800});
  status_.setAttribute(u"FILE", WideText{u'/', 0xDC80, u'b'});
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"a\uFFFD"}));
  EXPECT_EQ(status().descriptionAttributes, (std::vector<WideText>{u"\uFFFD"}));
  EXPECT_EQ(status().attributes.at(u"FILE"), u"/\uFFFDb");
}

TEST_F(StatusXmlTest, TheFileStandsInTheChannelsFolderBelowTmp) {
  const WideText temp = path(u"tmp");
  EXPECT_EQ(status_.statusFilePath(), temp + u"\\ZELMORATevra_tmp\\ud_" + toWide(name_) + u".xml");
  EXPECT_EQ(status_.abortFilePath(), temp + u"\\ZELMORATevra_tmp\\ud_" + toWide(name_) + u"_abort.xml");
  channelName = "other";
  EXPECT_EQ(status_.statusFilePath(), temp + u"\\other\\ud_" + toWide(name_) + u".xml");
  const ScopedEnvironment none("TMP", std::nullopt);
  EXPECT_EQ(status_.statusFilePath(), u"\\other\\ud_" + toWide(name_) + u".xml");
}

TEST_F(StatusXmlTest, TheRootIsNamedAfterTheProgramsOwnFile) {
  class Names : public platform::Processes {
   public:
    bool isRunning(const WideText& name) override { return name == u"Tevra.exe" && frontEndRuns; }
    WideText modulePath() override { return module; }
    WideText environment(const WideText&) override { return {}; }
    void showErrorBox(const WideText&, const WideText&) override {}
    [[noreturn]] void end(int) override { std::abort(); }
    WideText module;
    bool frontEndRuns = false;
  } names;
  platform::Machine machine = platform::machine();
  machine.processes = &names;
  useMachine(machine);
  for (const auto& [module, base] :
       std::vector<std::pair<WideText, WideText>>{{u"/opt/x.y/TevraCLI", u"TevraCLI"},
                                                  {u"C:\\a.b\\TevraCLI.exe", u"TevraCLI"},
                                                  {u"a.b.c", u"a.b"}}) {
    names.module = module;
    EXPECT_EQ(NamedStatus().executableBaseName(), base);
  }
  EXPECT_FALSE(status_.isParentRunning());
  names.frontEndRuns = true;
  EXPECT_TRUE(status_.isParentRunning());
}

TEST_F(StatusXmlTest, TheRootOfAProgramWhoseNameIsNoElementNameCanBeRead) {
  ProgramAt processes(*platform::machine().processes, u"/opt/Tevra CLI 2");
  platform::Machine machine = platform::machine();
  machine.processes = &processes;
  useMachine(machine);
  NamedStatus status;
  status.setState(1);
  EXPECT_TRUE(status.save());
  const std::string saved = readFile(status.statusFilePath());
  EXPECT_NE(saved.find("<TevraCLI>"), std::string::npos) << saved;
  EXPECT_TRUE(saved.ends_with("</TevraCLI>\n")) << saved;
}

TEST_F(StatusXmlTest, ARunningStateThatCannotBeSavedIsLost) {
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  faulty.failAt = 1;
  faulty.failAllAfter = true;
  status_.setState(1);
  status_.setPercent(5);
  status_.setAttribute(u"FILE", u"x");
  EXPECT_FALSE(status_.save());
  EXPECT_EQ(clock.slept, 0U);
  faulty.failAt = 0;
  EXPECT_TRUE(status_.save());
  EXPECT_EQ(document(), expected("    <stat>1</stat>\n"));
}

TEST_F(StatusXmlTest, ATerminalStateIsTriedFiveTimesWithAPauseAndThenKept) {
  startLog();
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  faulty.before = [&](int, const std::string& operation) {
    if (operation == "open") faulty.failAt = faulty.count;
  };
  std::vector<std::uint32_t> pauses;
  clock.onSleep = [&](std::uint32_t milliseconds) { pauses.push_back(milliseconds); };
  status_.setStartTime(clock.seconds - 3);
  status_.setState(7);
  status_.setPercent(100);
  status_.setAttribute(u"exitCode", u"1000");
  EXPECT_FALSE(status_.save());
  EXPECT_EQ(pauses, (std::vector<std::uint32_t>{10, 10, 10, 10, 10}));
  EXPECT_EQ(status().state, -100);
  const std::vector<WideText> lines = logLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), u"Atempt to save fail! Go to sleep 10 ms and retry!"), 5);
  EXPECT_EQ(lines[lines.size() - 6], u"Backend execution time: 3");

  faulty.before = nullptr;
  faulty.failAt = 0;
  status_.setState(9);
  status_.setDescription(u"later");
  EXPECT_TRUE(status_.save());
  EXPECT_EQ(status().state, 9);
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", u"later"}));
  EXPECT_EQ(status().exitCode(), u"1000");
}

TEST_F(StatusXmlTest, ATerminalStateThatIsSavedLaterIsNotTriedAgain) {
  startLog();
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  faulty.failAt = 1;
  faulty.failAllAfter = true;
  int pauses = 0;
  clock.onSleep = [&](std::uint32_t) {
    if (++pauses == 2) faulty.failAt = 0;
  };
  status_.setState(9);
  status_.setPercent(100);
  EXPECT_TRUE(status_.save());
  EXPECT_EQ(pauses, 2);
  status_.setState(1);
  EXPECT_TRUE(status_.save());
  EXPECT_TRUE(status().descriptions.empty());
}

TEST_F(StatusXmlTest, TheDocumentIsWrittenBesideAndRenamed) {
  status_.setState(1);
  ASSERT_TRUE(status_.save());
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  const std::string before = document();
  std::vector<std::string> operations;
  faulty.before = [&](int, const std::string& operation) {
    operations.push_back(operation);
    EXPECT_EQ(document(), before) << operation;
  };
  status_.setPercent(5);
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(operations, (std::vector<std::string>{"open", "write", "rename"}));
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"5"}));
  EXPECT_EQ(tree(path(u"tmp")).size(), 2U);
}

TEST_F(StatusXmlTest, WhereItCannotBeRenamedTheDocumentIsWrittenDirectly) {
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  faulty.failAt = 3;
  status_.setState(1);
  status_.setPercent(5);
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"5"}));
  EXPECT_EQ(tree(path(u"tmp")).size(), 2U);
}

TEST_F(StatusXmlTest, WhatOthersPutBesideTheDocumentMakesWayAndIsNotWrittenTo) {
  const fs::path victim = folder.native() / "victim";
  const fs::path document = folder.native() / "tmp/ZELMORATevra_tmp" / ("ud_" + name_ + ".xml");
  const fs::path beside = document.string() + ".new";
  const std::vector<std::function<void()>> tricks = {
      [&] { fs::create_symlink(victim, beside); },
      [&] { fs::create_symlink(folder.native() / "missing", beside); },
      [&] { fs::create_hard_link(victim, beside); },
      [&] { ASSERT_EQ(::mkfifo(beside.c_str(), 0600), 0); },
      [&] { writeFile(status_.statusFilePath() + u".new", "of a job that was killed"); },
  };
  writeFile(path(u"victim"), "mine");
  for (const auto& trick : tricks) {
    trick();
    for (const int state : {1, 9}) {
      status_.setState(state);
      ASSERT_TRUE(status_.save());
      ASSERT_TRUE(fs::is_regular_file(fs::symlink_status(document)));
      EXPECT_EQ(status().state, state);
    }
    EXPECT_EQ(readFile(path(u"victim")), "mine");
    EXPECT_FALSE(fs::exists(folder.native() / "missing"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(beside)));
  }
}

TEST_F(StatusXmlTest, ALinkInTheDocumentsPlaceIsReplacedAndNeverWrittenThrough) {
  const fs::path document = folder.native() / "tmp/ZELMORATevra_tmp" / ("ud_" + name_ + ".xml");
  writeFile(path(u"victim"), "mine");
  fs::create_symlink(folder.native() / "victim", document);
  // Neither beside it nor by a rename: the document would have to be written directly.
  FaultyFileSystem faulty(files());
  faulty.failAt = 3;
  useFileSystem(faulty);
  status_.setState(1);
  EXPECT_FALSE(status_.save());
  EXPECT_EQ(readFile(path(u"victim")), "mine");
  faulty.failAt = 0;
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(status().state, 1);
  EXPECT_FALSE(fs::is_symlink(document));
  EXPECT_EQ(readFile(path(u"victim")), "mine");
}

TEST_F(StatusXmlTest, WhereNothingCanBeWrittenBesideTheDocumentIsWrittenDirectly) {
  makeFolder(status_.statusFilePath() + u".new");
  status_.setState(9);
  status_.setPercent(100);
  ASSERT_TRUE(status_.save());
  EXPECT_EQ(status().state, 9);
}

TEST_F(StatusXmlTest, AReaderNeverSeesHalfADocumentWhateverFails) {
  status_.setState(1);
  status_.setDescription(WideText(5000, u'a'));
  ASSERT_TRUE(status_.save());
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  for (const bool allAfter : {false, true}) {
    faulty.failAllAfter = allAfter;
    for (int number = 1;; ++number) {
      faulty.count = 0;
      faulty.failAt = number;
      // What is written directly, when nothing can be renamed, a reader may have to read again.
      bool direct = false;
      std::string failed;
      faulty.before = [&](int count, const std::string& operation) {
        if (count == number) failed = operation;
        if (count > 1 && operation == "open") direct = true;
        if (!direct) {
          EXPECT_TRUE(document().ends_with("</" + name_ + ">\n")) << number << operation;
        }
      };
      status_.setState(2);
      status_.setDescription(WideText(3000, u'b'));
      const bool saved = status_.save();
      // Where the disk is full, a running job's old document stays.
      EXPECT_EQ(saved, faulty.count < number || (!allAfter && failed != "write")) << number;
      if (saved || !direct) {
        EXPECT_TRUE(document().ends_with("</" + name_ + ">\n")) << number;
      }
      if (faulty.count < number) break;
    }
  }
}

TEST_F(StatusXmlTest, OnAFullDiskTheLastDocumentMayHaveTheRoomOfTheOldOne) {
  status_.setState(1);
  ASSERT_TRUE(status_.save());
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  faulty.failAt = 2;  // the write beside
  status_.setState(2);
  EXPECT_FALSE(status_.save());
  EXPECT_EQ(status().state, 1);
  faulty.count = 0;
  status_.setState(9);
  EXPECT_TRUE(status_.save());
  EXPECT_EQ(status().state, 9);
}

TEST_F(StatusXmlTest, WithoutTheFolderASaveFails) {
  channelName = "elsewhere";
  status_.setState(1);
  EXPECT_FALSE(status_.save());
  EXPECT_FALSE(fileExists(path(u"tmp/elsewhere")));
}

TEST_F(StatusXmlTest, EverySnapshotIsAWholeDocumentOfItsOwn) {
  for (int i = 0; i < 3; ++i) {
    status_.setState(2);
    status_.setPercent(static_cast<std::uint64_t>(i));
    ASSERT_TRUE(status_.save());
  }
  ASSERT_EQ(statusHistory().size(), 3U);
  EXPECT_EQ(statusHistory()[1].descriptions, (std::vector<WideText>{u"1"}));
}

class AbortFileTest : public StatusXmlTest {
 protected:
  const WideText abortFile_ = status_.abortFilePath();

  void check(const std::string& content) {
    writeFile(abortFile_, content);
    status_.checkAbort();
  }
  static std::string request(const std::string& flag) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<tevraCLIAbortSequence>\n    <Command>\n        "
           "<abortFlag>" +
           flag + "</abortFlag>\n    </Command>\n</tevraCLIAbortSequence>\n";
  }
  [[nodiscard]] bool isRequested() const { return *status_.abortRequested(); }
};

TEST_F(AbortFileTest, WithoutAFileTheFlagStays) {
  startLog();
  status_.checkAbort();
  EXPECT_FALSE(isRequested());
  check(request("true"));
  status_.checkAbort();
  EXPECT_TRUE(isRequested());
  EXPECT_TRUE(logLines().empty());
}

TEST_F(AbortFileTest, TrueRequestsTheAbortAndTheFileGoes) {
  check(request("true"));
  EXPECT_TRUE(isRequested());
  EXPECT_FALSE(fileExists(abortFile_));
}

TEST_F(AbortFileTest, AnythingElseClearsTheFlagAndTheFileGoes) {
  for (const std::string flag : {"false", "TRUE", "1", "", "truetrue"}) {
    check(request("true"));
    ASSERT_TRUE(isRequested());
    check(request(flag));
    EXPECT_FALSE(isRequested()) << flag;
    EXPECT_FALSE(fileExists(abortFile_)) << flag;
  }
  check(request("true"));
  check("<tevraCLIAbortSequence />");
  EXPECT_FALSE(isRequested());
  EXPECT_FALSE(fileExists(abortFile_));
}

TEST_F(AbortFileTest, AFileOfAnotherRootIsDeletedAndTheFlagStays) {
  check("<other><Command><abortFlag>true</abortFlag></Command></other>");
  EXPECT_FALSE(isRequested());
  EXPECT_FALSE(fileExists(abortFile_));
  check(request("true"));
  check("<other />");
  EXPECT_TRUE(isRequested());
  EXPECT_FALSE(fileExists(abortFile_));
}

TEST_F(AbortFileTest, ABrokenFileStaysAndIsReadAtTheNextCheck) {
  startLog();
  const std::string whole = request("true");
  for (std::size_t length = 0; length + 24 < whole.size(); ++length) {
    if (whole.substr(0, length).find("<tevra") == std::string::npos && length > 0) continue;
    check(whole.substr(0, length));
    EXPECT_FALSE(isRequested()) << length;
    EXPECT_TRUE(fileExists(abortFile_)) << length;
  }
  check(whole);
  EXPECT_TRUE(isRequested());
  EXPECT_TRUE(logLines().empty());
  EXPECT_TRUE(statusHistory().empty());
}

}  // namespace
}  // namespace ZelmoraTevra
