#include <gmock/gmock.h>

#include <regex>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

using testing::HasSubstr;

// The real program with the user's lists of places on a device.
class UserFilesJobTest : public ProgramTest {
 protected:
  UserFilesJobTest() {
    job.write("home/places.csv", "8.68,49.88,Darmstadt\n2.35,48.85,Paris");
    job.write("home/places.bmp", "a picture");
    job.write("home/default.bmp", "the default picture");
    job.write("home/flag.png", "a flag");
    job.write("flash/ZELMORA/version.xml", "<version/>");
  }

  static CommandDocument command(const std::string& name) {
    return std::move(CommandDocument(name)
                         .encoded("StorageCardDriveLetter", "E:")
                         .encoded("SecondDriveLetter", "F:")
                         .plain("Extensions", "csv")
                         .plain("OptionalExtension", "bmp;png")
                         .plain("SearchingFolder", "Poi"));
  }
  [[nodiscard]] CommandDocument import() const {
    return std::move(command("IMPORT_FILES")
                         .plain("FileName", job.path("home/places.csv"))
                         .plain("DefaultFileToCopy", job.path("home/default.bmp"))
                         .plain("OptionalSearchingFolder", "Poi/Index")
                         .plain("OptionalDeleteExtension", "idx"));
  }
  // With the dates as "*".
  [[nodiscard]] std::string response() const {
    return std::regex_replace(job.read("tmp/ZELMORATevra_tmp/ud_TevraCLI.xml"),
                              std::regex(R"(\d{4}-\d{2}-\d{2})"), "*");
  }
  static std::string success(int exitCode) {
    return terminalDocument(9, {}, {{"exitCode", std::to_string(exitCode)}});
  }
};

TEST_F(UserFilesJobTest, AListIsBroughtToldAddedToFetchedAndDeleted) {
  job.write("card/Poi/Index/places.idx", "made from an older list");
  EXPECT_EQ(job.run(import().text()).document(), success(1224));
  EXPECT_EQ(job.tree("card/Poi"), (Tree{{"Index", "folder"},
                                        {"places.bmp", md5Of("a picture")},
                                        {"places.csv", md5Of(job.read("home/places.csv"))}}));

  EXPECT_EQ(job.run(command("GET_FILES").text()).exitValue, 0);
  EXPECT_EQ(response(), R"(<?xml version="1.0" encoding="UTF-8" ?>
<GetFilesResponse filesNumber="1">
    <File nr="2">
        <OptionalFileName CreationDate="*">F:/Poi/places.bmp</OptionalFileName>
        <FileName CreationDate="*">F:/Poi/places.csv</FileName>
    </File>
</GetFilesResponse>
)");

  CommandDocument add = command("ADD_FILE");
  add.plain("FileName", job.path("home/flag.png")).plain("FileNameAtDestination", "places.csv");
  EXPECT_EQ(job.run(add.text()).document(), success(1010));
  EXPECT_EQ(job.read("card/Poi/places.png"), "a flag");
  EXPECT_FALSE(job.exists("card/Poi/places.bmp"));

  job.write("fetched/old", "");
  CommandDocument fetch = command("EXPORT_FILES");
  fetch.plain("FileName", "places.csv").plain("DestinationFolder", job.path("fetched"));
  EXPECT_EQ(job.run(fetch.text()).document(), success(1010));
  EXPECT_EQ(job.read("fetched/places.csv"), job.read("home/places.csv"));

  EXPECT_EQ(job.run(command("DELETE_FILES").plain("FileName", "places").text()).document(), success(1010));
  EXPECT_EQ(job.tree("card/Poi"), (Tree{{"Index", "folder"}}));
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}, {"ZELMORA/version.xml", md5Of("<version/>")}}));
}

TEST_F(UserFilesJobTest, ACommandThatFailsEndsTheSequence) {
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {command("DELETE_FILES").plain("FileName", "places").element(), import().element()}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1210, "The specified file could not be found."));
  EXPECT_TRUE(job.tree("card").empty());
}

TEST_F(UserFilesJobTest, ABadParameterStopsTheJobBeforeAnythingIsTouched) {
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {import().element(), command("EXPORT_FILES").plain("FileName", "places").element()}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1201, "Error on reading the EXPORT_FILES parameters!"));
  EXPECT_TRUE(job.tree("card").empty());
}

TEST_F(UserFilesJobTest, AFullCardRefusesAnImportWithTheSizeThatIsNeeded) {
  job.write("home/places.bmp", std::string(0x280000, 'p'));
  job.card.capacity = 12'000'000;
  const JobResult result = job.run(import().text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            errorDocument(1220, "The files does not fit to device.",
                          {{"PATH", "F:"}, {"DRIVE", "F:"}, {"PATH_SIZE", "12.50"}, {"UNIT", "MB"}}));
  EXPECT_TRUE(job.tree("card").empty());
}

TEST_F(UserFilesJobTest, AnAbortInTheMiddleLeavesTheOldList) {
  job.write("card/Poi/places.csv", "old");
  job.write("card/Poi/places.bmp", "old");
  job.write("home/places.bmp", noise(3'000'000, 1));
  const JobResult result =
      runWatched(job, import().attribute("Overwrite", "true").text(), [&](JobWatch& watch) {
        watch.onNamed = [&](const std::string& path) {
          if (path.ends_with("Poi/places.csv")) job.writeAbortFile();
        };
      });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  EXPECT_EQ(job.tree("card/Poi"),
            (Tree{{"places.bmp", md5Of("old")}, {"places.csv", md5Of(job.read("home/places.csv"))}}));
}

TEST_F(UserFilesJobTest, ADeviceThatIsntThereIs1229) {
  job.card.present = false;
  CommandDocument get("GET_FILES");
  get.encoded("StorageCardDriveLetter", "F:").plain("Extensions", "csv");
  EXPECT_EQ(job.run(get.text()).document(),
            errorDocument(
                1229, "Could not access your device. Please make sure it is still connected and try again."));
}

TEST_F(UserFilesJobTest, NoCommandLeavesAnythingOutsideOfItsFolders) {
  job.write("outside.csv", "x");
  job.write("outside.bmp", "x");
  for (const std::string name : {"../outside", "..\\outside", "/outside"}) {
    EXPECT_EQ(job.run(command("DELETE_FILES").plain("FileName", name).text()).exitValue, 255);
    EXPECT_EQ(job.run(command("EXPORT_FILES")
                          .plain("FileName", name + ".csv")
                          .plain("DestinationFolder", job.path("home"))
                          .text())
                  .exitValue,
              255);
    EXPECT_EQ(job.run(command("ADD_FILE")
                          .plain("FileName", job.path("home/flag.png"))
                          .plain("FileNameAtDestination", name + ".csv")
                          .text())
                  .exitValue,
              255);
  }
  EXPECT_EQ(job.read("outside.csv"), "x");
  EXPECT_FALSE(job.exists("outside.png"));
  EXPECT_FALSE(job.exists("home/outside.csv"));
}

}  // namespace
}  // namespace ZelmoraTevra
