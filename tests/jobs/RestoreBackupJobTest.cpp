#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <tuple>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/BackupBuilder.h"
#include "tests/support/SmallVolume.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// The real program puts backups back, on a simulated device and on plain folders.
class RestoreBackupJobTest : public ProgramTest {
 protected:
  RestoreBackupJobTest() { job.write("flash/ZELMORA/version.xml", version); }

  [[nodiscard]] BackupBuilder backupNamed(const std::string& name) const {
    return {job.path("backups"), name};
  }
  // Of the device's flash and card as they are now.
  [[nodiscard]] BackupBuilder backupOfDevice(bool withCard) const {
    BackupBuilder backup = backupNamed("b");
    backup.softwareTree(job.path("flash"));
    if (withCard) backup.contentTree(job.path("card"));
    return backup;
  }
  [[nodiscard]] static CommandDocument restore(const std::string& flash = "E:",
                                               const std::string& card = "F:") {
    CommandDocument command("RESTORE_BACKUP");
    command.plain("BackupName", "b").encoded("StorageCardDriveLetter", flash);
    if (!card.empty()) command.encoded("SecondDriveLetter", card);
    return command;
  }
  // On plain folders, which are cleared in the place of a format.
  [[nodiscard]] std::string restoreOnFolders(bool withCard) const {
    std::string text = restore(job.path("flash"), withCard ? job.path("card") : "").text();
    for (const std::string element : {"<StorageCardDriveLetter", "<SecondDriveLetter"}) {
      const std::size_t start = text.find(element);
      if (start != std::string::npos) text.insert(start + element.size(), " DisableFormat=\"true\"");
    }
    return text;
  }
  void empty(const std::string& folder) const {
    fs::remove_all(job.path(folder));
    fs::create_directory(job.path(folder));
  }

  const std::string version =
      "<config><software><brand>ZELMORA</brand><platform>NAV</platform><version>7.1.0</version><id>HW1</id>"
      "<productid>UID1</productid></software></config>";
};

TEST_F(RestoreBackupJobTest, AFullImageTakesThePlaceOfAllThatIsOnTheDevice) {
  backupNamed("b").software("ZELMORA/version.xml", version).software("a/b", "x").content("c", "y").write();
  job.write("flash/old", "o");
  job.write("card/old", "o");
  const JobResult result = job.run(restore().text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"},
                                     {"ZELMORA/version.xml", md5Of(version)},
                                     {"a", "folder"},
                                     {"a/b", md5Of("x")}}));
  EXPECT_EQ(job.tree("card"), (Tree{{"c", md5Of("y")}}));
  EXPECT_THAT(job.read("machine.xml"), HasSubstr("label=\"ZELMORASD\""));
  EXPECT_EQ(job.loggedStates().front(), "statDeleteInProgress");
  EXPECT_EQ(job.loggedStates().back(), "statSuccess");
}

TEST_F(RestoreBackupJobTest, APersonalBackupIsLaidOverTheDevice) {
  backupNamed("b").personal().software("a/b", "x").content("c", "y").write();
  job.write("flash/kept", "k");
  job.write("card/c", "old");
  const JobResult result = job.run(restore().text());
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.read("flash/a/b"), "x");
  EXPECT_EQ(job.read("flash/kept"), "k");
  EXPECT_EQ(job.read("card/c"), "y");
  EXPECT_THAT(job.read("machine.xml"), testing::Not(HasSubstr("label")));
}

TEST_F(RestoreBackupJobTest, TheNeedMayBeAsLargeAsTheStorage) {
  backupNamed("b").software("a", noise(100'000, 1)).content("c", noise(50'000, 2)).write();
  job.flash.capacity = 99'999;
  job.card.capacity = 50'000;
  JobResult result = job.run(restore().text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(7, {"110", "The backup not fit to device!"},
                                                {{"exitCode", "1081"}, {"PATH", "E:"}, {"DRIVE", "E:"}}));
  EXPECT_TRUE(job.exists("flash/ZELMORA/version.xml"));
  job.flash.capacity = 100'000;
  EXPECT_EQ(job.run(restore().text()).document(), success);
}

TEST_F(RestoreBackupJobTest, TheIndicatorFileLiesOnTheDeviceWhileTheBackupIsRestored) {
  backupNamed("b").software("a", "x").write();
  const std::string command = restore("E:", "").encoded("IndicatorFileContent", "<action/>").text();
  const JobResult result = runWatched(job, command, [&](JobWatch& watch) {
    watch.onRead = [&](const std::string& path) {
      if (path.ends_with("storage_for_software/a"))
        job.write("seen",
                  job.read("flash/tevra-action.xml") + (job.exists("flash/ZELMORA") ? "" : ", formatted"));
    };
  });
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(job.read("seen"), "<action/>, formatted");
  EXPECT_EQ(job.tree("flash"), (Tree{{"a", md5Of("x")}}));
}

TEST_F(RestoreBackupJobTest, ADriveThatCannotBeFormattedIsTold) {
  backupNamed("b").software("a", "x").write();
  job.flash.readOnly = true;
  EXPECT_EQ(job.run(restore().text()).document(),
            errorDocument(1103, "The media is write protected!", {{"PATH", "E:"}, {"DRIVE", "E:"}}));
  job.flash.readOnly = false;
  job.run(CommandDocument("GET_BACKUPS").text());  // leaves a machine file
  job.makesMachine = false;
  const std::string machine = job.read("machine.xml");
  for (const auto& [drive, exitCode] : {std::pair("\"E\"", "1255"), std::pair("\"F\"", "1259")}) {
    std::string text = machine;
    text.insert(text.find(drive) + 3, " formatFails=\"FAT, FAT32\"");
    job.write("machine.xml", text);
    EXPECT_EQ(job.run(restore().text()).document(), terminalDocument(7, {"100"}, {{"exitCode", exitCode}}));
  }
}

TEST_F(RestoreBackupJobTest, PlainFoldersAreClearedButNeverFormatted) {
  job.simulatesMachine = false;
  backupNamed("b").software("a", "x").content("c", "y").write();
  job.write("card/old", "o");
  const Tree flash = job.tree("flash");
  JobResult result = job.run(restore(job.path("flash"), job.path("card")).text());
  EXPECT_EQ(result.document(),
            errorDocument(1260, "An error occurred when try to format your device. Please retry."));
  EXPECT_EQ(job.tree("flash"), flash);
  result = job.run(restoreOnFolders(true));
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.tree("flash"), (Tree{{"a", md5Of("x")}}));
  EXPECT_EQ(job.tree("card"), (Tree{{"c", md5Of("y")}}));
}

TEST_F(RestoreBackupJobTest, ARestoreNeedsANameAndAStorage) {
  for (const std::string& text :
       {CommandDocument("RESTORE_BACKUP").plain("BackupName", "b").text(), restore("").text()}) {
    const JobResult result = job.run(text);
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(),
              errorDocument(1038, "Error on reading the restore backup command's parameters!"));
  }
}

TEST_F(RestoreBackupJobTest, AnAbortInTheMiddleIsToldAndTakesTheFileInHandAway) {
  backupNamed("b").software("a", noise(100'000, 1)).software("z", noise(5'000'000, 2)).write();
  const Tree backups = job.tree("backups");
  bool asked = false;
  const JobResult result = runWatched(job, restore().text(), [&](JobWatch& watch) {
    watch.onRead = [&](const std::string& path) {
      if (path.ends_with("storage_for_software/z") && job.exists("flash/a") && !asked) {
        asked = true;
        job.writeAbortFile();
      }
    };
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  EXPECT_EQ(job.tree("flash"), (Tree{{"a", md5Of(noise(100'000, 1))}}));
  EXPECT_EQ(job.tree("backups"), backups);
}

TEST_F(RestoreBackupJobTest, ADeviceThatFillsUpLeavesNoHalfFile) {
  job.simulatesMachine = false;
  const SmallVolume flash(job.path("flash"), 1 << 20);
  if (!flash.isMounted()) GTEST_SKIP() << "a small volume can't be mounted here";
  backupNamed("b").personal().software("a", noise(300'000, 1)).software("z", noise(700'000, 2)).write();
  // The test of the room sees a smaller file than there is.
  const std::string text = job.read("backups/b/b.xml");
  std::string smaller = text;
  smaller.replace(smaller.find("700000"), 6, "500000");
  job.write("backups/b/b.xml", smaller);
  job.write("flash/other", noise(150'000, 3));
  const JobResult result = job.run(restore(job.path("flash"), "").text());
  EXPECT_EQ(result.document(), errorDocument(1094, "An error occurred at the copy process!",
                                             {{"FILE", job.path("backups/b/storage_for_software/z")}}));
  EXPECT_EQ(job.tree("flash"), (Tree{{"a", md5Of(noise(300'000, 1))}, {"other", md5Of(noise(150'000, 3))}}));
}

// --- any tree is restored as it was

// Names of all lengths and kinds that a device of a user may hold.
class RandomTree {
 public:
  // A file for the card is told by the name of its storage anywhere in the path: without a card no name has
  // it.
  RandomTree(std::uint64_t seed, bool withCard) : random_(seed) {
    if (withCard) pieces_.insert(pieces_.end(), {"storage_for_content", "storage_for_software"});
  }

  void fill(const fs::path& root, int files) {
    std::vector<fs::path> folders = {root};
    for (int number = 0; number < files; ++number) {
      fs::path folder = folders[below(folders.size())];
      if (below(3) == 0 && folder.native().size() < 2'000) {
        folder /= name();
        if (fs::is_regular_file(folder)) continue;
        fs::create_directories(folder);
        folders.push_back(folder);
      }
      const fs::path file = folder / name();
      if (fs::exists(file)) continue;
      std::ofstream(file, std::ios::binary) << noise(below(4) == 0 ? 0 : below(5'000), random_());
    }
    // A deep one.
    fs::path deep = root;
    for (int level = 0; level < 60; ++level) deep /= "d" + std::to_string(level);
    fs::create_directories(deep);
    std::ofstream(deep / "deepest") << "d";
  }

 private:
  std::size_t below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
  }
  std::string name() {
    const std::size_t bytes = below(8) == 0 ? 255 : 1 + below(40);
    std::string text = below(10) == 0 ? ".hidden" : "n";
    while (true) {
      const std::string& piece = pieces_[below(pieces_.size())];
      if (text.size() + piece.size() > bytes) break;
      text += piece;
    }
    if (bytes == 255) text.resize(255, 'x');
    // A FAT takes no blank and no dot at the end.
    if (text.back() == ' ' || text.back() == '.') text.back() = 'x';
    return text;
  }

  std::mt19937_64 random_;
  std::vector<std::string> pieces_ = {"a",
                                      "B",
                                      "9",
                                      ".",
                                      " ",
                                      "&",
                                      "<",
                                      ">",
                                      "'",
                                      "\"",
                                      "%",
                                      "#",
                                      "~",
                                      "ä",
                                      "ß",
                                      "é",
                                      "e\xCC\x81",
                                      "地",
                                      "図",
                                      "Ж",
                                      "ש",
                                      "\xF0\x9F\x97\xBA",
                                      "\xF0\x90\x8C\xB0"};
};

// Files and their digests; folders come with the files in them.
Tree filesOf(Tree tree) {
  std::erase_if(tree, [](const auto& entry) { return entry.second == "folder"; });
  return tree;
}

class RestoredTreeTest : public RestoreBackupJobTest,
                         public testing::WithParamInterface<std::tuple<bool, bool>> {};

TEST_P(RestoredTreeTest, IsTheSame) {
  const auto [simulates, withCard] = GetParam();
  RandomTree random(simulates ? 1 : 2, withCard);
  random.fill(job.path("flash"), 120);
  if (withCard) random.fill(job.path("card"), 80);
  const Tree flash = filesOf(job.tree("flash"));
  const Tree card = filesOf(job.tree("card"));
  backupOfDevice(withCard).write();
  const Tree backups = job.tree("backups");
  empty("flash");
  empty("card");
  job.simulatesMachine = simulates;
  const JobResult result =
      job.run(simulates ? restore("E:", withCard ? "F:" : "").text() : restoreOnFolders(withCard));
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(filesOf(job.tree("flash")), flash);
  EXPECT_EQ(filesOf(job.tree("card")), card);
  EXPECT_EQ(job.tree("backups"), backups);
}

// Whether a path holds what no backup takes.
bool isHidden(const std::string& path) {
  return path.starts_with('.') || path.find("/.") != std::string::npos;
}

TEST_P(RestoredTreeTest, IsTheSameWithABackupOfThisProgram) {
  const auto [simulates, withCard] = GetParam();
  job.simulatesMachine = simulates;
  RandomTree random(simulates ? 3 : 4, withCard);
  random.fill(job.path("flash"), 50);
  if (withCard) random.fill(job.path("card"), 30);
  Tree flash = filesOf(job.tree("flash"));
  Tree card = filesOf(job.tree("card"));
  for (Tree* tree : {&flash, &card})
    std::erase_if(*tree, [](const auto& file) { return isHidden(file.first); });

  CommandDocument make("MAKE_BACKUP");
  make.plain("BackupName", "b").encoded("StorageCardDriveLetter", simulates ? "E:" : job.path("flash"));
  if (withCard) make.encoded("SecondDriveLetter", simulates ? "F:" : job.path("card"));
  ASSERT_EQ(job.run(make.text()).document(), success);
  const Tree backups = job.tree("backups");
  EXPECT_EQ(job.run(CommandDocument("GET_BACKUPS").text()).exitValue, 0);
  EXPECT_THAT(job.read("tmp/ZELMORATevra_tmp/ud_TevraCLI.xml"), HasSubstr("<name>b</name>"));
  empty("flash");
  empty("card");
  const JobResult result =
      job.run(simulates ? restore("E:", withCard ? "F:" : "").text() : restoreOnFolders(withCard));
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(filesOf(job.tree("flash")), flash);
  EXPECT_EQ(filesOf(job.tree("card")), card);
  EXPECT_EQ(job.tree("backups"), backups);
}

INSTANTIATE_TEST_SUITE_P(OnEachKindOfDevice, RestoredTreeTest,
                         testing::Combine(testing::Bool(), testing::Bool()), [](const auto& info) {
                           return std::string(std::get<0>(info.param) ? "Drives" : "Folders") +
                                  (std::get<1>(info.param) ? "WithCard" : "FlashAlone");
                         });

}  // namespace
}  // namespace ZelmoraTevra
