#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "core/Globals.h"
#include "tests/jobs/ProgramTest.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

constexpr int killed = 99;
constexpr std::int64_t cluster = 32'768;

// A whole session, cut off at every operation on the disk: a map is moved to the card, files are placed on
// both storages, entries go into XML files of the device in turns, the register is told, and all is
// validated. However it ends, the device holds nothing half, and the same job again comes to the same end.
class InterruptedSessionJobTest : public ::testing::Test {
 protected:
  using Setup = std::function<void(JobWatch&, const JobProcess&)>;

  InterruptedSessionJobTest() {
    JobProcess job(TEVRA_PROGRAM);
    makeDevice(job);
    const JobResult result = run(job, [](JobWatch& watch, const JobProcess& job) {
      watch.files.before = [&job](int number, const std::string&) {
        job.write("operations", std::to_string(number));
      };
    });
    EXPECT_EQ(result.exitValue, 0) << result.last.document << result.errors;
    flashAfterwards = job.tree("flash");
    cardAfterwards = job.tree("card");
    operations = std::stoi(job.read("operations"));
    EXPECT_EQ(job.read(registerFile), registerText("storage_for_content", 2));
    EXPECT_EQ(job.read(versionFile), versionText(true, true, true));
    EXPECT_EQ(job.read(settingsFile), settingsText("de"));
    EXPECT_EQ(job.read(newFile), newText);
    EXPECT_EQ(flashAfterwards.size(), 13U) << "nothing is left beside what belongs there";
    EXPECT_EQ(cardAfterwards.size(), 7U);
  }

  static void makeDevice(const JobProcess& job) {
    job.write(registerFile, registerText("storage_for_software", 0));
    job.write("flash/games/chess.bin", "a game");
    job.write("flash/apps/navigator.bin", std::string(1'000, 'o'));
    job.write(mapOnFlash, map());
    job.write(versionFile, versionText(false, false, false));
    job.write(settingsFile, settingsText("en"));
    job.write("card/content/maps.dat", "old maps");
    job.write("card/content/there.dat", "an old file");
  }
  static std::string command(const JobProcess& job) {
    const std::string version = "config/software/version.xml";
    CommandPackage package;
    package.zip = ZipBuilder().add("nav", navigator()).add("maps", "new maps").bytes();
    package.url = job.path("p.zip");
    package.description
        .update("Navigator", "storage_for_software", static_cast<std::int64_t>(navigator().size()))
        .file("nav", "apps/navigator.bin", navigator())
        .xmlEntry(version, 3, "config/maps/map", "name/nordic", {"name/nordic", "version/5"})
        .xmlEntry("config/settings.xml", 5, "config/language", "de")
        .xmlEntry(version, 0, "config/maps/map", "name/alps", {"version/7"})
        .update("Maps", "storage_for_content", 8)
        .file("maps", "content/maps.dat", "new maps")
        .file("maps", "content/once.dat", "new maps", 1)
        .file("maps", "content/there.dat", "new maps", 3)
        .xmlEntry("config/new/list.xml", 3, "list/item", "name/a", {"name/a"})
        .xmlEntry(version, 6, "config/maps/map", "name/iberia");
    job.write("p.zip", package.zip);
    return CommandDocument::installPackage()
        .attribute("CheckHashFile", "true")
        .localInstall()
        .package(package)
        .text();
  }
  static JobResult run(JobProcess& job, const Setup& setup) {
    job.keepsLog = false;
    // What lacks is a part of the map; what stands on the main storage from an attempt before gives its room
    // back to the next one.
    const auto size = static_cast<std::int64_t>(navigator().size());
    const std::int64_t demand = size + cluster - size % cluster;
    job.flash.capacity = 6'000 + static_cast<std::int64_t>(map().size()) + reserveBytes + demand - 20'000;
    job.card.capacity = 2 * reserveBytes;
    return runWatched(job, command(job), [&](JobWatch& watch) { setup(watch, job); });
  }

  static const std::string& map() {
    static const std::string bytes = noise(60'000, 41);
    return bytes;
  }
  static std::string navigator() { return noise(3'000, 42); }
  static std::string registerText(const std::string& mapLocation, int newUpdates) {
    const std::string version = "config/software/version.xml";
    std::vector<std::string> entries = {
        InstallDescription::registerEntry("Chess", "storage_for_software", {"games/chess.bin"}),
        InstallDescription::registerEntry("Alps map", mapLocation, {"ZELMORA/map/alps.map"}),
        InstallDescription::registerEntry(
            "Navigator", "storage_for_software", {"apps/navigator.bin"},
            {{version, 3, "config/maps/map", "name/nordic"}, {version, 0, "config/maps/map", "name/alps"}}),
        InstallDescription::registerEntry("Maps", "storage_for_content",
                                          {"content/maps.dat", "content/once.dat", "content/there.dat"},
                                          {{"config/new/list.xml", 3, "list/item", "name/a"},
                                           {version, 6, "config/maps/map", "name/iberia"}})};
    entries.resize(2 + static_cast<std::size_t>(newUpdates));
    return InstallDescription::registerOf(entries);
  }
  static std::string versionText(bool hasNordic, bool isChanged, bool isRemoved) {
    const auto element = [](const std::string& name, const std::string& version) {
      return "        <map>\n            <name>" + name + "</name>\n            <version>" + version +
             "</version>\n        </map>\n";
    };
    return "<?xml version=\"1.0\" ?>\n<config>\n    <maps>\n" + element("alps", isChanged ? "7" : "1") +
           (isRemoved ? "" : element("iberia", "1")) + (hasNordic ? element("nordic", "5") : "") +
           "    </maps>\n</config>\n";
  }
  static std::string settingsText(const std::string& language) {
    return "<config>\n    <language>" + language + "</language>\n</config>\n";
  }

  // All that a file may ever hold under its name.
  static std::map<std::string, std::vector<std::string>> wholeContents() {
    std::map<std::string, std::vector<std::string>> contents;
    for (const char* location : {"storage_for_software", "storage_for_content"})
      for (const int newUpdates : {0, 1, 2})
        contents[registerFile].push_back(registerText(location, newUpdates));
    for (const bool hasNordic : {false, true})
      for (const bool isChanged : {false, true})
        for (const bool isRemoved : {false, true})
          contents[versionFile].push_back(versionText(hasNordic, isChanged, isRemoved));
    contents[settingsFile] = {settingsText("en"), settingsText("de")};
    contents[newFile] = {newText};
    return contents;
  }
  // A file has its name and is whole, or waits whole beside for the next job while nothing has the name.
  static void expectWholeFiles(const JobProcess& job) {
    for (const auto& [file, contents] : wholeContents()) {
      SCOPED_TRACE(file);
      const std::string content = job.read(file);
      if (content != "<missing>") {
        EXPECT_THAT(contents, ::testing::Contains(content));
        continue;
      }
      if (file == newFile) continue;
      EXPECT_TRUE(waitsBeside(job, file, contents));
    }
  }
  static bool waitsBeside(const JobProcess& job, const std::string& file,
                          const std::vector<std::string>& contents) {
    const std::filesystem::path path(file);
    for (const auto& entry : std::filesystem::directory_iterator(job.path(path.parent_path()))) {
      const std::string name = entry.path().filename();
      if (!name.starts_with(path.filename().string())) continue;
      const std::string content = job.read(path.parent_path() / name);
      if (std::find(contents.begin(), contents.end(), content) != contents.end()) return true;
    }
    return false;
  }
  // The map is never half under its name, and is where the register says.
  static void expectWholeMap(const JobProcess& job) {
    for (const std::string& place : {mapOnFlash, mapOnCard}) {
      const std::string content = job.read(place);
      EXPECT_TRUE(content == "<missing>" || content == map()) << place;
    }
    const std::string content = job.read(registerFile);
    if (content == "<missing>") return;
    const bool saysCard = content.find("storage_for_content") < content.find("Alps map");
    EXPECT_TRUE(job.exists(saysCard ? mapOnCard : mapOnFlash));
  }
  void expectFinishedByTheSameJob(JobProcess& job) const {
    const JobResult result = run(job, [](JobWatch&, const JobProcess&) {});
    EXPECT_EQ(result.exitValue, 0) << result.last.document << result.errors;
    EXPECT_EQ(job.tree("flash"), flashAfterwards);
    EXPECT_EQ(job.tree("card"), cardAfterwards);
  }
  // Runs the job with a fault at an operation, and once more without.
  void tryWithFaultAt(int operation, const Setup& setup,
                      const std::function<void(const JobResult&, const JobProcess&)>& expect) const {
    SCOPED_TRACE("operation " + std::to_string(operation));
    JobProcess job(TEVRA_PROGRAM);
    makeDevice(job);
    const JobResult result = run(job, setup);
    expect(result, job);
    expectWholeFiles(job);
    expectWholeMap(job);
    expectFinishedByTheSameJob(job);
  }
  void failAtEachOperation(bool failsForGood) const {
    for (int operation = 1; operation <= operations && !HasFailure(); ++operation) {
      tryWithFaultAt(
          operation,
          [=](JobWatch& watch, const JobProcess&) {
            watch.files.failAt = operation;
            watch.files.failAllAfter = failsForGood;
          },
          [](const JobResult& result, const JobProcess& job) {
            EXPECT_EQ(result.signal, 0) << result.errors;
            EXPECT_THAT(result.exitValue, ::testing::AnyOf(0, 1, 255));
            // Success is told only of files and a register that are there.
            if (result.exitValue == 0) {
              EXPECT_THAT(job.read(registerFile), ::testing::AnyOf(registerText("storage_for_content", 2),
                                                                   registerText("storage_for_software", 2)));
              EXPECT_EQ(md5Of(job.read("flash/apps/navigator.bin")), md5Of(navigator()));
              EXPECT_EQ(job.read("card/content/maps.dat"), "new maps");
            }
          });
    }
  }

  static inline const std::string registerFile = "flash/ZELMORA/updates.xml";
  static inline const std::string versionFile = "flash/config/software/version.xml";
  static inline const std::string settingsFile = "flash/config/settings.xml";
  static inline const std::string newFile = "flash/config/new/list.xml";
  static inline const std::string newText =
      "<list>\n    <item>\n        <name>a</name>\n    </item>\n</list>\n";
  static inline const std::string mapOnFlash = "flash/ZELMORA/map/alps.map";
  static inline const std::string mapOnCard = "card/ZELMORA/map/alps.map";
  Tree flashAfterwards;
  Tree cardAfterwards;
  int operations = 0;
};

TEST_F(InterruptedSessionJobTest, AtWhicheverOperationItIsKilledTheSameJobFinishesIt) {
  ASSERT_GT(operations, 100);
  for (int operation = 1; operation <= operations && !HasFailure(); ++operation) {
    tryWithFaultAt(
        operation,
        [operation](JobWatch& watch, const JobProcess&) {
          watch.files.before = [operation](int number, const std::string&) {
            if (number == operation) ::_exit(killed);
          };
        },
        [](const JobResult& result, const JobProcess&) {
          EXPECT_EQ(result.exitValue, killed) << result.last.document << result.errors;
        });
  }
}

TEST_F(InterruptedSessionJobTest, WhicheverOperationFailsTheSameJobFinishesIt) {
  failAtEachOperation(false);
}

TEST_F(InterruptedSessionJobTest, FromWhicheverOperationTheDisksAreGoneTheSameJobFinishesIt) {
  failAtEachOperation(true);
}

TEST_F(InterruptedSessionJobTest, AtWhicheverOperationTheWishToAbortComesTheSameJobFinishesIt) {
  int aborted = 0;
  for (int operation = 1; operation <= operations && !HasFailure(); operation += 3) {
    tryWithFaultAt(
        operation,
        [operation](JobWatch& watch, const JobProcess& job) {
          watch.files.before = [operation, &job](int number, const std::string&) {
            if (number == operation) job.writeAbortFile();
          };
        },
        [&aborted](const JobResult& result, const JobProcess& job) {
          // Behind the last look nothing stops the job, and nobody takes the file away.
          const bool isAborted = result.exitValue != 0;
          EXPECT_EQ(result.last.state, isAborted ? 8 : 9);
          EXPECT_EQ(job.abortFileExists(), !isAborted);
          std::filesystem::remove(job.statusFolder() + "/ud_jobs_tests_abort.xml");
          if (!isAborted) return;
          ++aborted;
          EXPECT_TRUE(result.last.descriptions.empty());
          if (result.last.exitCode().empty()) {
            EXPECT_EQ(job.read("flash/apps/navigator.bin"), std::string(1'000, 'o'))
                << "before the placement";
          } else {
            EXPECT_EQ(result.last.exitCode(), u"1020");
          }
        });
  }
  EXPECT_GT(aborted, operations / 6);
}

// The same of a package that comes from a server. The part that was fetched stays for the next job; the last
// one takes away all that was fetched.
TEST_F(InterruptedSessionJobTest, AtWhicheverOperationADownloadIsKilledTheSameJobFinishesIt) {
  CommandPackage package;
  package.zip = ZipBuilder().add("nav", navigator()).add("maps", "new maps").bytes();
  const auto server = ScriptedServer::start([&](const std::string& request) -> ScriptedServer::Reply {
    return {rangeReply(request, package.zip)};
  });
  SKIP_WITHOUT(server);
  package.url = "http://" + server->host() + "/p.zip?1";
  package.description.update("Navigator", "storage_for_software", 10)
      .file("nav", "apps/navigator.bin", navigator())
      .xmlEntry("config/settings.xml", 5, "config/language", "de");
  const std::string text =
      CommandDocument::installPackage().attribute("CheckHashFile", "true").package(package).text();
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE("operation " + std::to_string(operation));
    JobProcess job(TEVRA_PROGRAM);
    job.keepsLog = false;
    makeDevice(job);
    const int exitValue = runWatched(job, text, [operation](JobWatch& watch) {
                            watch.files.before = [operation](int number, const std::string&) {
                              if (number == operation) ::_exit(killed);
                            };
                          }).exitValue;
    const JobResult result = runWatched(job, text, [](JobWatch&) {});
    EXPECT_EQ(result.exitValue, 0) << result.last.document << result.errors;
    EXPECT_EQ(md5Of(job.read("flash/apps/navigator.bin")), md5Of(navigator()));
    EXPECT_EQ(job.read(settingsFile), settingsText("de"));
    for (const auto& [name, content] : job.tree("temp"))
      EXPECT_EQ(name.find("p.zip"), std::string::npos) << name;
    if (HasFailure()) break;
    if (exitValue == killed) continue;
    EXPECT_EQ(exitValue, 0);
    EXPECT_GT(operation, 40);
    break;
  }
}

// The folder of a storage goes, and must not come up again as a folder on the computer.
class PulledStorageTest : public InterruptedSessionJobTest {
 protected:
  void pullAtEachOperation(const std::string& storage) const {
    for (int operation = 2; operation <= operations && !HasFailure(); operation += 2) {
      tryWithFaultAt(
          operation,
          [operation, &storage](JobWatch& watch, const JobProcess& job) {
            watch.files.before = [operation, &storage, &job](int number, const std::string&) {
              if (number == operation) std::filesystem::rename(job.path(storage), job.path("pulled"));
            };
          },
          [&storage](const JobResult& result, const JobProcess& job) {
            EXPECT_EQ(result.signal, 0) << result.errors;
            EXPECT_THAT(result.exitValue, ::testing::AnyOf(0, 1, 255));
            EXPECT_FALSE(job.exists(storage)) << result.last.document;
            std::filesystem::remove_all(job.path(storage));
            std::filesystem::rename(job.path("pulled"), job.path(storage));
            if (result.exitValue == 0) {
              EXPECT_EQ(job.read(registerFile), registerText("storage_for_content", 2));
            }
          });
    }
  }
};

TEST_F(PulledStorageTest, WheneverTheMainStorageIsPulledTheSameJobFinishesIt) {
  pullAtEachOperation("flash");
}

TEST_F(PulledStorageTest, WheneverTheCardIsPulledTheSameJobFinishesIt) {
  pullAtEachOperation("card");
}

}  // namespace
}  // namespace ZelmoraTevra
