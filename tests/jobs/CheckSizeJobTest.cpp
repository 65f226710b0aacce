#include <algorithm>

#include "core/Globals.h"
#include "core/Text.h"
#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

constexpr std::int64_t cluster = 32'768;

// What the front end asks before it downloads anything, on a device with capacities of its own.
class CheckSizeJobTest : public ProgramTest {
 protected:
  // Of these bytes for flash and card. The files are nowhere yet, and neither is the zip.
  static CommandPackage package(std::int64_t forFlash, std::int64_t forCard) {
    CommandPackage package;
    package.zip = std::string(1000, 'z');
    package.url = "http://example.com/spring.zip?x";
    package.description.update("Navigator", "storage_for_software", forFlash - cluster + 1)
        .file("n", "apps/navigator.bin", "n");
    if (forCard > 0)
      package.description.update("Maps", "storage_for_content", forCard - cluster + 1)
          .file("m", "content/maps/alps.dat", "m");
    return package;
  }
  static CommandPackage olderPackage(std::int64_t size) {
    CommandPackage package;
    package.zip = "z";
    package.url = "http://example.com/old.zip?x";
    package.description.update("Old", "", size).file("o", "apps/old.bin", "o");
    return package;
  }
  static CommandDocument command(const CommandPackage& package, const std::string& card = "F:") {
    CommandDocument document("CHECK_SIZE");
    document.encoded("StorageCardDriveLetter", "E:");
    if (!card.empty()) document.encoded("SecondDriveLetter", card);
    document.encoded("IndicatorFileContent", "not for this command");
    return document.package(package);
  }
  // Runs the command and expects that the device and all folders are left alone.
  JobResult check(const CommandDocument& document, int exitValue = 0) {
    const Tree flash = job.tree("flash");
    const Tree card = job.tree("card");
    const JobResult result = job.run(document.text());
    EXPECT_EQ(result.exitValue, exitValue);
    EXPECT_EQ(job.tree("flash"), flash);
    EXPECT_EQ(job.tree("card"), card);
    expectEmptyWorkFolder();
    return result;
  }
  static std::string text(std::int64_t number) { return std::to_string(number); }
  using Attributes = std::map<std::string, std::string>;
  static Attributes amounts(int exitCode, const std::array<std::int64_t, 6>& bytes) {
    return {{"exitCode", std::to_string(exitCode)},
            {"availableSpaceSoftwareStorage", text(bytes[0])},
            {"neededSpaceSoftwareStorage", text(bytes[1])},
            {"availableSpacePostInstSoftwareStorage", text(bytes[2])},
            {"availableSpaceContentStorage", text(bytes[3])},
            {"neededSpaceContentStorage", text(bytes[4])},
            {"availableSpacePostInstContentStorage", text(bytes[5])}};
  }
  static std::string fits(int exitCode, const std::array<std::int64_t, 6>& bytes) {
    return terminalDocument(11, {}, amounts(exitCode, bytes));
  }
  static std::string tooLarge(int exitCode, const std::array<std::int64_t, 6>& bytes,
                              const std::string& card = "F:") {
    Attributes attributes = amounts(exitCode, bytes);
    attributes["DriveName"] = "E:";
    attributes["DriveNameExternal"] = card;
    return terminalDocument(10, {"110"}, attributes);
  }
};

TEST_F(CheckSizeJobTest, WhatFitsExactlyIsToldWithTheSixAmounts) {
  job.flash.capacity = reserveBytes + 100'000;
  job.card.capacity = reserveBytes + 300'000;
  EXPECT_EQ(check(command(package(100'000, 300'000))).document(),
            fits(1159, {reserveBytes + 100'000, 0, reserveBytes, reserveBytes + 300'000, 0, reserveBytes}));
}

TEST_F(CheckSizeJobTest, WhatLacksOneByteIsTooLargeAndTheJobEndsWell) {
  job.flash.capacity = reserveBytes + 99'999;
  job.card.capacity = reserveBytes + 300'000;
  EXPECT_EQ(
      check(command(package(100'000, 300'000))).document(),
      tooLarge(1042, {reserveBytes + 99'999, 1, reserveBytes - 1, reserveBytes + 300'000, 0, reserveBytes}));
}

TEST_F(CheckSizeJobTest, WithoutACardTheContentStorageHasNoRoomAndLacksNone) {
  job.flash.capacity = reserveBytes + 99'999;
  EXPECT_EQ(check(command(package(100'000, 0), "")).document(),
            tooLarge(1042, {reserveBytes + 99'999, 1, reserveBytes - 1, 0, 0, 0}, ""));
}

TEST_F(CheckSizeJobTest, AnOlderPackageGoesToTheStorageThatHasRoom) {
  job.flash.capacity = reserveBytes + 99'999;
  job.card.capacity = reserveBytes + 100'000;
  EXPECT_EQ(
      check(command(olderPackage(100'000))).document(),
      fits(1160, {reserveBytes + 99'999, 0, reserveBytes + 99'999, reserveBytes + 100'000, 0, reserveBytes}));
  job.card.capacity = reserveBytes + 99'998;
  EXPECT_EQ(check(command(olderPackage(100'000)).attribute("NotRunMoveMap", "true")).document(),
            tooLarge(1281, {reserveBytes + 99'999, 1, reserveBytes + 99'999, reserveBytes + 99'998, 2,
                            reserveBytes + 99'998}));
}

TEST_F(CheckSizeJobTest, AMapThatCanBeMovedMakesItFit) {
  const std::string map = noise(50'000, 7);
  job.write("flash/ZELMORA/map/alps.map", map);
  job.flash.capacity = reserveBytes + 120'000;
  job.card.capacity = reserveBytes + 400'000;
  EXPECT_EQ(check(command(package(100'000, 300'000))).document(),
            fits(1159, {reserveBytes + 70'000, 30'000, reserveBytes - 30'000, reserveBytes + 400'000, 0,
                        reserveBytes + 100'000}));
  const std::vector<std::string> lines = job.logLines();
  const auto line = std::find(lines.begin(), lines.end(), "START CHECKING IF MOVE MAP CAN BE APPLY");
  ASSERT_LT(line, lines.end() - 2);
  EXPECT_EQ(line[1], "MOVE MAP CAN BE PERFORM. MAP: E:\\ZELMORA\\map\\alps.map");
  EXPECT_EQ(line[2], "MOVE MAP ENDED!");
}

TEST_F(CheckSizeJobTest, AMissingDeviceIsReported) {
  job.flash.present = false;
  EXPECT_EQ(check(command(package(100'000, 0)), 255).document(),
            terminalDocument(7, {"100"}, {{"exitCode", "1066"}}));
}

TEST_F(CheckSizeJobTest, AMissingCardIsReported) {
  job.card.present = false;
  EXPECT_EQ(check(command(package(100'000, 0)), 255).document(),
            errorDocument(1156, "Storage card drive does not exists!", {{"PATH", "F:"}, {"DRIVE", "F:"}}));
}

TEST_F(CheckSizeJobTest, AWriteProtectedDeviceIsStillMeasured) {
  job.flash.readOnly = true;
  job.card.readOnly = true;
  EXPECT_EQ(check(command(package(100'000, 300'000))).last.exitCode(), u"1159");
}

TEST_F(CheckSizeJobTest, ADownloadThatIsTooLargeForTheTempFolderIsReported) {
  std::string document = command(package(100'000, 0)).text();
  const std::size_t start = document.find("<fileSize>") + std::string("<fileSize>").size();
  document.replace(start, document.find('<', start) - start, "4611686018427387904");
  const JobResult result = job.run(document);
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(
      result.document(),
      errorDocument(1016,
                    "The selected components would not fit to your temporary folder. Please delete files "
                    "that are no longer needed or select less components and then try again.",
                    {{"PATH", job.path("temp")}, {"DRIVE", ""}}));
}

TEST_F(CheckSizeJobTest, AContentElementWithoutAnythingIsPassedOver) {
  job.flash.capacity = reserveBytes;
  std::string document = command(olderPackage(100'000)).text();
  const std::size_t start = document.find("<content>");
  const std::string end = "</content>";
  document.replace(start, document.find(end) + end.size() - start, "<content/>");
  const JobResult result = job.run(document);
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.last.exitCode(), u"1160");
}

TEST_F(CheckSizeJobTest, TwoChecksInOneJobHaveNothingToDoWithEachOther) {
  job.flash.capacity = reserveBytes + 150'000;
  job.card.capacity = reserveBytes;
  const CommandDocument once = command(package(100'000, 0));
  const JobResult result =
      job.run(CommandDocument::sequenceOf({once.element(), once.element(), once.element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.last.exitCode(), u"1159");
  EXPECT_EQ(result.last.attributes.at(u"availableSpacePostInstSoftwareStorage"),
            numberText(reserveBytes + 50'000));
}

}  // namespace
}  // namespace ZelmoraTevra
