#include <unistd.h>

#include <boost/interprocess/shared_memory_object.hpp>

#include "core/Base64.h"
#include "core/CommandSequence.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/ProcessEnd.h"
#include "core/SharedTextBlock.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

// What the workers of a test did, and what they are to answer.
struct Script {
  std::vector<WideText> done;
  int initResult = 0;
  int runResult = 0;
};

class ScriptedWorker : public ICommandWorker {
 public:
  explicit ScriptedWorker(Script& script) : script_(script) {}
  int init(const CommandRecord& record) override {
    name_ = record.commandName;
    script_.done.push_back(u"init " + name_);
    return script_.initResult;
  }
  int run() override {
    script_.done.push_back(u"run " + name_);
    return script_.runResult;
  }

 private:
  Script& script_;
  WideText name_;
};

// Empties its storage, and marks it again.
class FormattingWorker : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override {
    record_ = record;
    return 0;
  }
  int run() override {
    File_platformIndependent(record_.storageCardDriveLetter + u"/tevra-action.xml").remove();
    return record_.indicatorFile->write(record_.storageCardDriveLetter) ? 0 : -1;
  }

 private:
  CommandRecord record_;
};

class CommandSequenceTest : public JobTest {
 protected:
  CommandSequenceTest() {
    const ParameterReader storage = [](const TiXmlElement& element, CommandRecord& record) {
      record.storageCardDriveLetter = attributeText(element, "storage");
      return true;
    };
    const ParameterReader needy = [](const TiXmlElement& element, CommandRecord&) {
      if (element.Attribute("need") != nullptr) return true;
      ErrorReport(1039, u"Missing!").save();
      return false;
    };
    add(u"PLAIN", storage);
    add(u"NEEDY", needy);
    add(u"MARKING", storage).writesIndicatorFile = true;
    Command& formatting = add(u"FORMATTING", storage);
    formatting.writesIndicatorFile = true;
    formatting.makeWorker = [] { return std::make_unique<FormattingWorker>(); };
    add(u"MOVING", storage).movesFolder = true;
    add(u"FAILING", storage, failing_);
    failing_.runResult = 1;
    makeFolder(device_);
  }

  Command& add(const WideText& name, ParameterReader reader) { return add(name, std::move(reader), good_); }
  Command& add(const WideText& name, ParameterReader reader, Script& script) {
    Command& command = table_[name];
    command.read = std::move(reader);
    command.makeWorker = [&script] { return std::make_unique<ScriptedWorker>(script); };
    return command;
  }

  // A command document in a file; the commands are given with their attributes and content.
  void writeCommands(const std::string& commands) {
    writeFile(source_, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CommandSequence>" + commands +
                           "</CommandSequence>\n");
  }
  [[nodiscard]] bool read(CommandSequence& sequence) {
    return sequence.readCommandSequence(source_, temp_, backups_);
  }
  // Reads and runs; the sequence is gone afterwards.
  int job(const std::string& commands) {
    writeCommands(commands);
    CommandSequence sequence(table_);
    return read(sequence) ? sequence.runCommandSequence() : -1;
  }
  [[nodiscard]] static std::string command(const std::string& name, const std::string& attributes = "",
                                           const std::string& content = "") {
    return "<Command CommandName=\"" + name + "\" " + attributes + ">" + content + "</Command>";
  }
  [[nodiscard]] std::string marking(const WideText& storage, const std::string& content,
                                    const std::string& name = "MARKING") const {
    return command(name, "storage=\"" + toUtf8(storage) + "\"",
                   "<IndicatorFileContent>" + encodeBase64(content) + "</IndicatorFileContent>");
  }
  void expectReport(WideView percent, WideView message, WideView exitCode) {
    EXPECT_EQ(status().state, 7);
    EXPECT_EQ(status().descriptions, (std::vector<WideText>{WideText(percent), WideText(message)}));
    EXPECT_EQ(status().exitCode(), exitCode);
  }
  void removeFolder(const WideText& folder) {
    Directory_new(folder).remove();
    ASSERT_FALSE(Directory_new(folder).exists());
  }

  const WideText source_ = path(u"commands.xml");
  const WideText temp_ = path(u"temp");
  const WideText backups_ = path(u"backups");
  const WideText device_ = path(u"device");
  const WideText indicator_ = device_ + u"/tevra-action.xml";
  CommandTable table_;
  Script good_;
  Script failing_;
};

TEST_F(CommandSequenceTest, CommandsAreReadAndRunInTheirOrder) {
  startLog();
  EXPECT_EQ(job(command("PLAIN") + "<Other/>" + command("NEEDY", "need='1'") + command("PLAIN")), 0);
  EXPECT_EQ(good_.done, (std::vector<WideText>{u"init PLAIN", u"run PLAIN", u"init NEEDY", u"run NEEDY",
                                               u"init PLAIN", u"run PLAIN"}));
  EXPECT_EQ(logLines(),
            (std::vector<WideText>{u"Start reading PLAIN", u"Readed OK PLAIN", u"Start reading NEEDY",
                                   u"Readed OK NEEDY", u"Start reading PLAIN", u"Readed OK PLAIN"}));
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(CommandSequenceTest, ASequenceWithoutCommandsRunsNothingAndWritesNoStatus) {
  EXPECT_EQ(job(""), 0);
  EXPECT_EQ(job("<Other/>"), 0);
  EXPECT_TRUE(good_.done.empty());
  EXPECT_FALSE(fileExists(StatusXml::instance().statusFilePath()));
}

TEST_F(CommandSequenceTest, ASecondBadCommandKeepsTheFirstFromRunning) {
  startLog();
  EXPECT_EQ(job(command("PLAIN") + command("NEEDY") + command("PLAIN")), -1);
  EXPECT_TRUE(good_.done.empty());
  expectReport(u"100", u"Missing!", u"1039");
  EXPECT_TRUE(logHas(u"Readed OK PLAIN"));
  EXPECT_EQ(logLines().back(), u"Fail to read NEEDY");
}

TEST_F(CommandSequenceTest, AFailedCommandEndsTheSequence) {
  EXPECT_EQ(job(command("PLAIN") + command("FAILING") + command("PLAIN")), -1);
  EXPECT_EQ(good_.done, (std::vector<WideText>{u"init PLAIN", u"run PLAIN"}));
  EXPECT_EQ(failing_.done, (std::vector<WideText>{u"init FAILING", u"run FAILING"}));
}

TEST_F(CommandSequenceTest, ACommandWhoseStartFailsIsNotRun) {
  failing_.initResult = 1;
  EXPECT_EQ(job(command("FAILING") + command("PLAIN")), -1);
  EXPECT_EQ(failing_.done, (std::vector<WideText>{u"init FAILING"}));
  EXPECT_TRUE(good_.done.empty());
}

TEST_F(CommandSequenceTest, AnUnknownNameFailsWithoutAStatusButWithALogLine) {
  startLog();
  for (const std::string name : {"UNKNOWN", "plain", "INSTALL_TEVRAFILE", "PLAIN ", ""}) {
    EXPECT_EQ(job(command("PLAIN") + command(name)), -1) << name;
    EXPECT_EQ(logLines().back(), u"Fail to read " + toWide(name));
  }
  EXPECT_EQ(job("<Command/>"), -1);
  EXPECT_EQ(logLines().back(), u"Fail to read ");
  EXPECT_TRUE(statusHistory().empty());
  EXPECT_TRUE(good_.done.empty());
}

TEST_F(CommandSequenceTest, ADocumentThatCannotBeReadIs1027) {
  std::vector<std::string> documents{"", "no xml", "<CommandSequence>",
                                     "<CommandSequence><Command></CommandSequence>",
                                     "<CommandSequence>\xC3</CommandSequence>"};
  std::string deep;
  for (int i = 0; i < 10'000; ++i) deep += "<CommandSequence>";
  documents.push_back(deep);
  documents.push_back(std::string(8 << 20, 'x'));
  for (const std::string& text : documents) {
    StatusXml::destroy();
    writeFile(source_, text);
    CommandSequence sequence(table_);
    EXPECT_FALSE(read(sequence));
    expectReport(u"100", u"Command xml could not be read!", u"1027");
  }
  EXPECT_EQ(status().attributes.size(), 2U);  // the exit code and the execution time
}

TEST_F(CommandSequenceTest, AMissingDocumentIs1027) {
  CommandSequence sequence(table_);
  EXPECT_FALSE(read(sequence));
  expectReport(u"100", u"Command xml could not be read!", u"1027");
}

TEST_F(CommandSequenceTest, AnotherDocumentElementIs1028) {
  for (const std::string text :
       {"<Other><CommandSequence/></Other>", "<commandSequence/>", "<!-- none -->"}) {
    writeFile(source_, text);
    CommandSequence sequence(table_);
    EXPECT_FALSE(read(sequence));
    expectReport(u"100", u"The command sequence node from command xml couldn't be read!", u"1028");
  }
}

TEST_F(CommandSequenceTest, AReportThatCannotBeSavedIsToldByTheLog) {
  startLog();
  removeFolder(path(u"tmp/ZELMORATevra_tmp"));
  CommandSequence sequence(table_);
  EXPECT_FALSE(read(sequence));
  EXPECT_TRUE(logHas(u"exitCode: 1027"));
  EXPECT_TRUE(logHas(u"Atempt to save fail! Go to sleep 10 ms and retry!"));
  EXPECT_FALSE(Directory_new(path(u"tmp/ZELMORATevra_tmp")).exists());
}

TEST_F(CommandSequenceTest, TheDocumentIsReadBeforeTheFoldersAreLookedAt) {
  writeFile(source_, "no xml");
  CommandSequence sequence(table_);
  EXPECT_FALSE(sequence.readCommandSequence(source_, path(u"missing"), path(u"missing")));
  EXPECT_EQ(status().exitCode(), u"1027");
}

TEST_F(CommandSequenceTest, TheFoldersAreLookedAtBeforeTheName) {
  writeCommands(command("UNKNOWN"));
  CommandSequence sequence(table_);
  EXPECT_FALSE(sequence.readCommandSequence(source_, path(u"missing"), backups_));
  EXPECT_EQ(status().exitCode(), u"1001");
}

class PreparedFoldersTest : public CommandSequenceTest {};

TEST_F(PreparedFoldersTest, TheFoldersAreMadeAndTheirValuesSet) {
  removeFolder(path(u"tmp/ZELMORATevra_tmp"));
  removeFolder(path(u"temp/ZELMORATevra_tmp"));
  workTempFolder.clear();
  userTempFolder.clear();
  backupRootFolder.clear();
  EXPECT_TRUE(prepareFolders(temp_, backups_, false));
  EXPECT_TRUE(Directory_new(path(u"tmp/ZELMORATevra_tmp")).exists());
  EXPECT_TRUE(Directory_new(path(u"temp/ZELMORATevra_tmp")).exists());
  EXPECT_EQ(workTempFolder, temp_ + u"\\ZELMORATevra_tmp");
  EXPECT_EQ(userTempFolder, temp_);
  EXPECT_EQ(backupRootFolder, backups_);
  EXPECT_TRUE(tree(backups_).empty());
  EXPECT_TRUE(prepareFolders(temp_, backups_, false));
}

TEST_F(PreparedFoldersTest, AnOldProbeFolderGoesWithAllThatIsInIt) {
  writeFile(backups_ + u"/Tevra_131284_tmp/deep/file", "x");
  EXPECT_TRUE(prepareFolders(temp_, backups_, false));
  EXPECT_TRUE(tree(backups_).empty());
}

TEST_F(PreparedFoldersTest, AStatusFolderThatCannotBeMadeIs1000) {
  startLog();
  removeFolder(path(u"tmp/ZELMORATevra_tmp"));
  writeFile(path(u"tmp/ZELMORATevra_tmp"), "in the way");
  EXPECT_FALSE(prepareFolders(temp_, backups_, false));
  EXPECT_FALSE(prepareFolders(temp_, backups_, true));
  EXPECT_TRUE(logHas(u"The Zelmora temp folder inside windows folder couldn't be created!"));
  EXPECT_TRUE(logHas(u"exitCode: 1000"));
}

TEST_F(PreparedFoldersTest, TheStatusFoldersParentIsNotMade) {
  startLog();
  removeFolder(path(u"tmp"));
  EXPECT_FALSE(prepareFolders(temp_, backups_, false));
  EXPECT_TRUE(logHas(u"exitCode: 1000"));
}

TEST_F(PreparedFoldersTest, AMissingTempFolderIs1001WithThePercent119) {
  const WideText missing = path(u"missing");
  for (const bool moves : {false, true}) {
    EXPECT_FALSE(prepareFolders(missing, backups_, moves));
    expectReport(u"119", u"The user default temp folder does not exist!", u"1001");
    EXPECT_EQ(status().attributes.at(u"PATH"), missing);
    EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  }
}

TEST_F(PreparedFoldersTest, AMissingDriveIsTheDriveOfThePath) {
  EXPECT_FALSE(prepareFolders(u"Q:\\temp\\user", backups_, false));
  EXPECT_EQ(status().attributes.at(u"PATH"), u"Q:/temp/user");
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"Q:");
}

TEST_F(PreparedFoldersTest, AWorkFolderThatCannotBeMadeIs1002ExceptForAMove) {
  removeFolder(path(u"temp/ZELMORATevra_tmp"));
  writeFile(path(u"temp/ZELMORATevra_tmp"), "in the way");
  EXPECT_FALSE(prepareFolders(temp_, backups_, false));
  expectReport(u"100", u"The Zelmora temp folder inside user temp folder coudn't be created!", u"1002");
  EXPECT_EQ(status().attributes.at(u"PATH"), temp_);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  EXPECT_TRUE(prepareFolders(temp_, backups_, true));
  EXPECT_EQ(workTempFolder, temp_ + u"\\ZELMORATevra_tmp");
}

TEST_F(PreparedFoldersTest, AMissingBackupFolderIs1003WithThePercent120) {
  const WideText missing = path(u"missing");
  for (const bool moves : {false, true}) {
    EXPECT_FALSE(prepareFolders(temp_, missing, moves));
    expectReport(u"120", u"The backup folder path does not exist!", u"1003");
    EXPECT_EQ(status().attributes.at(u"PATH"), missing);
    EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  }
}

TEST_F(PreparedFoldersTest, ABackupFolderThatTakesNoWriteIs1004ExceptForAMove) {
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  faulty.before = [&](int count, const std::string& operation) {
    faulty.failAt = operation == "createFolder" ? count : 0;
  };
  EXPECT_FALSE(prepareFolders(temp_, backups_, false));
  expectReport(u"100", u"The folder for the new backup is write protected!", u"1004");
  EXPECT_EQ(status().attributes.at(u"PATH"), backups_);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  backupRootFolder.clear();
  EXPECT_TRUE(prepareFolders(temp_, backups_, true));
  EXPECT_EQ(backupRootFolder, backups_);
}

TEST_F(PreparedFoldersTest, AFileInPlaceOfTheProbeIs1004) {
  writeFile(backups_ + u"/Tevra_131284_tmp", "in the way");
  EXPECT_FALSE(prepareFolders(temp_, backups_, false));
  EXPECT_EQ(status().exitCode(), u"1004");
}

TEST_F(PreparedFoldersTest, AnEmptyFileThatAKilledJobLeftOfItsTestGoes) {
  writeFile(backups_ + u"/Tevra_131284_tmp", "");
  EXPECT_TRUE(prepareFolders(temp_, backups_, false));
  EXPECT_TRUE(tree(backups_).empty());
}

TEST_F(PreparedFoldersTest, TheTableTellsWhichCommandMovesAFolder) {
  writeFile(backups_ + u"/Tevra_131284_tmp", "in the way");
  EXPECT_EQ(job(command("MOVING")), 0);
  EXPECT_TRUE(statusHistory().empty());
  EXPECT_EQ(job(command("MOVING") + command("PLAIN")), -1);
  EXPECT_EQ(status().exitCode(), u"1004");
}

class SharedCommandsTest : public CommandSequenceTest {
 protected:
  SharedCommandsTest() {
    commandsInSharedMemory = true;
    channelName = name_;
    makeFolder(path(u"tmp/") + toWide(name_));
  }
  ~SharedCommandsTest() override { boost::interprocess::shared_memory_object::remove(name_.c_str()); }

  const std::string name_ = "tevra_test_" + std::to_string(::getpid()) + "_commands";

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
  [[nodiscard]] bool readShared(CommandSequence& sequence) {
    return sequence.readCommandSequence(toWide(name_), temp_, backups_);
  }
};

TEST_F(SharedCommandsTest, CommandsAreReadFromTheBlock) {
  putIntoBlock("<CommandSequence>" + command("PLAIN") + "</CommandSequence>");
  CommandSequence sequence(table_);
  ASSERT_TRUE(readShared(sequence));
  EXPECT_EQ(sequence.runCommandSequence(), 0);
  EXPECT_EQ(good_.done.size(), 2U);
  EXPECT_EQ(workTempFolder, temp_ + u"\\" + toWide(name_));
  EXPECT_TRUE(Directory_new(path(u"temp/") + toWide(name_)).exists());
}

TEST_F(SharedCommandsTest, WithoutABlockItIs1247InABlockThatIsMade) {
  CommandSequence sequence(table_);
  EXPECT_FALSE(readShared(sequence));
  const SavedStatus saved = statusInBlock();
  EXPECT_EQ(saved.state, 7);
  EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"100", u"INTERNAL ERROR!!!"}));
  EXPECT_EQ(saved.exitCode(), u"1247");
}

TEST_F(SharedCommandsTest, AnEmptyNameIs1247ThatOnlyTheLogTells) {
  startLog();
  channelName.clear();
  CommandSequence sequence(table_);
  EXPECT_FALSE(sequence.readCommandSequence(u"", temp_, backups_));
  EXPECT_TRUE(logHas(u"exitCode: 1247"));
  EXPECT_TRUE(logHas(u"Fail to open shared memory!!! "));
}

TEST_F(SharedCommandsTest, ABlockThatCannotBeReadIs1248) {
  startLog();
  boost::interprocess::shared_memory_object empty(boost::interprocess::create_only, name_.c_str(),
                                                  boost::interprocess::read_write);
  CommandSequence sequence(table_);
  EXPECT_FALSE(readShared(sequence));
  EXPECT_TRUE(logHas(u"exitCode: 1248"));
  EXPECT_TRUE(logHas(u"INTERNAL ERROR!!!"));
  EXPECT_TRUE(logHas(u"Fail to write into shared memory!!! " + toWide(name_)));
}

TEST_F(SharedCommandsTest, ABadTextIs1027AndAnotherRoot1028) {
  putIntoBlock("");
  EXPECT_FALSE(readShared(*std::make_unique<CommandSequence>(table_)));
  EXPECT_EQ(statusInBlock().exitCode(), u"1027");
  putIntoBlock(std::string(8'388'607, '<'));
  EXPECT_FALSE(readShared(*std::make_unique<CommandSequence>(table_)));
  EXPECT_TRUE(statusInBlock().exitCode() == u"1027" || statusInBlock().exitCode() == u"1028");
  putIntoBlock("<Other/>");
  EXPECT_FALSE(readShared(*std::make_unique<CommandSequence>(table_)));
  EXPECT_EQ(statusInBlock().exitCode(), u"1028");
}

TEST_F(SharedCommandsTest, AStatusFolderThatCannotBeMadeIs1000InTheBlock) {
  removeFolder(path(u"tmp"));
  putIntoBlock("<CommandSequence>" + command("PLAIN") + "</CommandSequence>");
  CommandSequence sequence(table_);
  EXPECT_FALSE(readShared(sequence));
  const SavedStatus saved = statusInBlock();
  EXPECT_EQ(saved.state, 7);
  EXPECT_EQ(
      saved.descriptions,
      (std::vector<WideText>{u"100", u"The Zelmora temp folder inside windows folder couldn't be created!"}));
  EXPECT_EQ(saved.exitCode(), u"1000");
}

class IndicatorFileTest : public CommandSequenceTest {
 protected:
  [[nodiscard]] std::ptrdiff_t timesLogged(const WideText& line) const {
    const std::vector<WideText> lines = logLines();
    return std::count(lines.begin(), lines.end(), line);
  }
};

TEST_F(IndicatorFileTest, MarksTheDeviceForAsLongAsTheSequenceLives) {
  startLog();
  writeCommands(marking(device_, "<action/>"));
  {
    CommandSequence sequence(table_);
    ASSERT_TRUE(read(sequence));
    EXPECT_EQ(readFile(indicator_), "<action/>");
    EXPECT_EQ(sequence.indicatorFile()->content(), "<action/>");
    EXPECT_EQ(sequence.runCommandSequence(), 0);
    EXPECT_TRUE(fileExists(indicator_));
  }
  EXPECT_FALSE(fileExists(indicator_));
  EXPECT_EQ(logLines(),
            (std::vector<WideText>{u"Start reading MARKING", u"Created indicator file for: MARKING",
                                   u"Readed OK MARKING", u"Deleted indicator file!"}));
}

TEST_F(IndicatorFileTest, IsNeverWrittenOrDeletedThroughALink) {
  writeFile(path(u"mine"), "user's");
  std::filesystem::create_symlink(folder.native() / "mine", std::filesystem::path(toUtf8(indicator_)));
  EXPECT_EQ(job(marking(device_, "x")), 0);
  EXPECT_EQ(readFile(path(u"mine")), "user's");
  EXPECT_TRUE(std::filesystem::is_symlink(toUtf8(indicator_)));
}

TEST_F(IndicatorFileTest, GoesAlsoAfterAFailure) {
  EXPECT_EQ(job(marking(device_, "x") + command("FAILING")), -1);
  EXPECT_FALSE(fileExists(indicator_));
  EXPECT_EQ(job(marking(device_, "x") + command("NEEDY")), -1);
  EXPECT_FALSE(fileExists(indicator_));
}

TEST_F(IndicatorFileTest, OnlyCommandsThatMarkTheDeviceMakeOne) {
  startLog();
  writeCommands(command("PLAIN", "storage=\"" + toUtf8(device_) + "\"",
                        "<IndicatorFileContent>" + encodeBase64("x") + "</IndicatorFileContent>"));
  CommandSequence sequence(table_);
  ASSERT_TRUE(read(sequence));
  EXPECT_FALSE(fileExists(indicator_));
  EXPECT_EQ(sequence.indicatorFile(), nullptr);
}

TEST_F(IndicatorFileTest, WithoutContentNothingIsMadeOrDeleted) {
  startLog();
  writeFile(indicator_, "of another job");
  EXPECT_EQ(job(command("MARKING", "storage=\"" + toUtf8(device_) + "\"")), 0);
  EXPECT_EQ(job(command("MARKING", "storage=\"" + toUtf8(device_) + "\"", "<IndicatorFileContent/>")), 0);
  EXPECT_EQ(readFile(indicator_), "of another job");
  EXPECT_FALSE(logHas(u"Deleted indicator file!"));
}

TEST_F(IndicatorFileTest, HoldsTheTextUpToItsFirstNul) {
  writeCommands(marking(device_, std::string("ab\0cd", 5)));
  CommandSequence sequence(table_);
  ASSERT_TRUE(read(sequence));
  EXPECT_EQ(readFile(indicator_), "ab");
}

TEST_F(IndicatorFileTest, IsEmptyWhereItsContentDecodesToNothing) {
  writeCommands(command("MARKING", "storage=\"" + toUtf8(device_) + "\"",
                        "<IndicatorFileContent>*</IndicatorFileContent>"));
  CommandSequence sequence(table_);
  ASSERT_TRUE(read(sequence));
  EXPECT_EQ(readFile(indicator_), "");
}

TEST_F(IndicatorFileTest, StandsOnTheStorageOfTheFirstCommand) {
  startLog();
  const WideText other = path(u"other");
  makeFolder(other);
  writeCommands(command("PLAIN", "storage=\"" + toUtf8(device_) + "\"") + marking(other, "x"));
  {
    CommandSequence sequence(table_);
    ASSERT_TRUE(read(sequence));
    EXPECT_EQ(readFile(indicator_), "x");
    EXPECT_TRUE(tree(other).empty());
    EXPECT_TRUE(logHas(u"Created indicator file for: PLAIN"));
  }
  EXPECT_TRUE(tree(device_).empty());
}

TEST_F(IndicatorFileTest, GoesFromEveryStorageOnWhichItWasWrittenAgainAndIsLoggedOnce) {
  startLog();
  const WideText other = path(u"other");
  makeFolder(other);
  writeCommands(marking(device_, "x") + marking(other, "x", "FORMATTING"));
  {
    CommandSequence sequence(table_);
    ASSERT_TRUE(read(sequence));
    EXPECT_TRUE(tree(other).empty());
    EXPECT_EQ(sequence.runCommandSequence(), 0);
    EXPECT_EQ(readFile(other + u"/tevra-action.xml"), "x");
  }
  EXPECT_TRUE(tree(device_).empty());
  EXPECT_TRUE(tree(other).empty());
  EXPECT_EQ(timesLogged(u"Deleted indicator file!"), 1);
}

TEST_F(IndicatorFileTest, TheMarkOfAKilledJobStaysOnAStorageThatNoCommandHasMarked) {
  const WideText other = path(u"other");
  writeFile(other + u"/tevra-action.xml", "of a killed job");
  for (const char* name : {"MARKING", "FORMATTING"}) {
    EXPECT_EQ(job(marking(device_, "x") + command("FAILING") + marking(other, "x", name)), -1);
    EXPECT_TRUE(tree(device_).empty());
    EXPECT_EQ(readFile(other + u"/tevra-action.xml"), "of a killed job");
  }
  EXPECT_EQ(job(marking(device_, "x") + marking(other, "x")), 0);
  EXPECT_EQ(readFile(other + u"/tevra-action.xml"), "of a killed job");
}

TEST_F(IndicatorFileTest, TheMarkOfAnotherJobStaysOnADeviceThatCameTooLate) {
  startLog();
  const WideText late = path(u"late");
  writeCommands(marking(late, "x"));
  {
    CommandSequence sequence(table_);
    ASSERT_TRUE(read(sequence));
    writeFile(late + u"/tevra-action.xml", "of another job");
  }
  EXPECT_EQ(readFile(late + u"/tevra-action.xml"), "of another job");
  EXPECT_EQ(timesLogged(u"Deleted indicator file!"), 0);
}

TEST_F(IndicatorFileTest, IsLoggedAsDeletedOnlyWhenItHasGone) {
  startLog();
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  writeCommands(marking(device_, "x"));
  {
    CommandSequence sequence(table_);
    ASSERT_TRUE(read(sequence));
    faulty.failAt = 1;
    faulty.failAllAfter = true;
  }
  EXPECT_TRUE(fileExists(indicator_));
  EXPECT_EQ(timesLogged(u"Deleted indicator file!"), 0);
  EXPECT_TRUE(logHas(u"FILE: exception when try to delete " + toBackslashes(indicator_)));
}

TEST_F(IndicatorFileTest, IsLoggedAsDeletedAlsoWhenSomebodyElseHasRemovedIt) {
  startLog();
  writeCommands(marking(device_, "x"));
  {
    CommandSequence sequence(table_);
    ASSERT_TRUE(read(sequence));
    std::filesystem::remove(toUtf8(indicator_));
  }
  EXPECT_EQ(timesLogged(u"Deleted indicator file!"), 1);
}

TEST_F(IndicatorFileTest, NeverMakesTheDevicesFolder) {
  const WideText missing = path(u"unplugged");
  EXPECT_EQ(job(marking(missing, "x")), 0);
  EXPECT_FALSE(Directory_new(missing).exists());
  EXPECT_EQ(job(marking(u"Q:", "x")), 0);
}

TEST_F(IndicatorFileTest, WithoutAStorageThereIsNone) {
  writeCommands(marking(u"", "x"));
  CommandSequence sequence(table_);
  ASSERT_TRUE(read(sequence));
  EXPECT_FALSE(fileExists(u"/tevra-action.xml"));
}

TEST_F(IndicatorFileTest, OnAFullDeviceTheCommandGoesOn) {
  writeCommands(marking(device_, "x"));
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  for (int number = 1;; ++number) {
    faulty.count = 0;
    faulty.failAt = number;
    bool onDevice = false;
    {
      CommandSequence sequence(table_);
      onDevice = read(sequence);
    }
    if (faulty.count < number) break;
    EXPECT_TRUE(onDevice || status().exitCode() == u"1004") << number;
  }
}

TEST_F(IndicatorFileTest, StaysWhenTheProcessIsEndedAtOnce) {
  struct Ended {
    int value;
  };
  class EndingProcesses : public platform::Processes {
   public:
    bool isRunning(const WideText&) override { return false; }
    WideText modulePath() override { return u"/TevraCLI"; }
    WideText environment(const WideText& name) override {
      return platform::nativeMachine().processes->environment(name);
    }
    void showErrorBox(const WideText&, const WideText&) override {}
    [[noreturn]] void end(int value) override { throw Ended{value}; }
  } processes;
  platform::Machine machine = platform::machine();
  machine.processes = &processes;
  useMachine(machine);
  writeCommands(marking(device_, "x"));
  CommandSequence sequence(table_);
  ASSERT_TRUE(read(sequence));
  try {
    endProcess(1);
  } catch (const Ended& ended) {
    EXPECT_EQ(ended.value, 1);
  }
  EXPECT_TRUE(fileExists(indicator_));
}

TEST(ProcessEndTest, TheLatestActionComesFirstAndEachOnlyWhileItLives) {
  struct Ended {};
  class EndingProcesses : public platform::Processes {
   public:
    bool isRunning(const WideText&) override { return false; }
    WideText modulePath() override { return {}; }
    WideText environment(const WideText&) override { return {}; }
    void showErrorBox(const WideText&, const WideText&) override {}
    [[noreturn]] void end(int) override { throw Ended(); }
  } processes;
  platform::Machine machine = platform::machine();
  machine.processes = &processes;
  const platform::ScopedMachine scope(machine);
  std::string order;
  const AtProcessEnd first([&] { order += "first "; });
  {
    const AtProcessEnd over([&] { order += "over "; });
  }
  const AtProcessEnd second([&] { order += "second "; });
  // It needn't be the youngest one that ends.
  auto third = std::make_unique<AtProcessEnd>([&] { order += "third "; });
  const AtProcessEnd fourth([&] { order += "fourth "; });
  third.reset();
  EXPECT_THROW(endProcess(1), Ended);
  EXPECT_EQ(order, "fourth second first ");
}

}  // namespace
}  // namespace ZelmoraTevra
