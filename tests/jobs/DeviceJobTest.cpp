#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

using testing::HasSubstr;
using testing::Not;

// The real program on a simulated device: what one job does to the machine, the next one finds.
class DeviceJobTest : public ProgramTest {
 protected:
  DeviceJobTest() {
    job.makesMachine = false;
    job.write("flash/ZELMORA/version.xml", "<version/>");
    writeMachine("", "");
  }

  // A pair with these attributes of its two volumes.
  void writeMachine(const std::string& flash, const std::string& card) const {
    job.write("machine.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<machine>
  <!-- a device as the front end's developers know it -->
  <node id="HTREE\ROOT\0">
    <node id="USB\VID_1F5A&amp;PID_0001\A1">
      <node id="USBSTOR\DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00\A1&amp;0">
        <node id="STORAGE\REMOVABLEMEDIA\ZELMORA&amp;0">
          <volume letter="E" folder="flash" )" +
                                 flash + R"(/>
        </node>
      </node>
      <node id="USBSTOR\DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00\A1&amp;1">
        <node id="STORAGE\REMOVABLEMEDIA\ZELMORA&amp;1">
          <volume letter="F" folder="card" )" +
                                 card + R"(/>
        </node>
      </node>
    </node>
  </node>
</machine>
)");
  }
  static CommandDocument command(const std::string& name,
                                 const std::string& flash = "E:", const std::string& card = "F:") {
    CommandDocument command(name);
    if (!flash.empty()) command.encoded("StorageCardDriveLetter", flash);
    if (!card.empty()) command.encoded("SecondDriveLetter", card);
    return command;
  }
  [[nodiscard]] bool wasLogged(const std::string& line) const {
    const std::vector<std::string> lines = job.logLines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  const std::string stays = terminalDocument(7,
                                             {"121",
                                              "An error occurred when trying to remove the device. Please "
                                              "make sure it is not used by other programs."},
                                             {{"exitCode", "1072"}});
};

TEST_F(DeviceJobTest, ACleanPairIsChecked) {
  const JobResult result = job.run(command("CHECK_DISK").text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_TRUE(wasLogged("Check volume dirty: SUCCESS for E:"));
  EXPECT_TRUE(wasLogged("Check volume dirty: SUCCESS for F:"));
  EXPECT_EQ(result.output, "");
}

TEST_F(DeviceJobTest, CheckDiskWithoutLettersIsASuccess) {
  const JobResult result = job.run(command("CHECK_DISK", "", "").text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
}

TEST_F(DeviceJobTest, ADirtyVolumeIsToldAndStaysDirtyUntilItIsFixed) {
  writeMachine("dirty=\"true\"", "");
  EXPECT_EQ(job.run(command("CHECK_DISK").text()).document(),
            terminalDocument(7, {"100"}, {{"exitCode", "1296"}}));
  EXPECT_TRUE(wasLogged("Check volume dirty: FAIL for E:"));
  EXPECT_EQ(job.run(command("CHECK_DISK").plain("FixErrors", "true").text()).document(), success);
  EXPECT_TRUE(wasLogged("Check disk: Return code 0 for drive E:"));
  EXPECT_EQ(job.run(command("CHECK_DISK").text()).document(), success);
  EXPECT_THAT(job.read("machine.xml"), HasSubstr("<!-- a device as the front end's developers know it -->"));
}

TEST_F(DeviceJobTest, ACheckThatFailsIsToldForEachDrive) {
  const std::string fix = command("CHECK_DISK").plain("FixErrors", "true").text();
  writeMachine("", "checkReturn=\"4\"");
  JobResult result = job.run(fix);
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(7, {"100"}, {{"exitCode", "1297"}}));
  EXPECT_TRUE(wasLogged("Check disk: Return code 4 for drive F:"));
  writeMachine("checkReturn=\"2\"", "checkReturn=\"3\"");
  EXPECT_EQ(job.run(fix).document(), terminalDocument(7, {"100"}, {{"exitCode", "1298"}}));
}

TEST_F(DeviceJobTest, ACheckOfAStorageThatIsGoneRunsNothing) {
  JobResult result = job.run(CommandDocument::sequenceOf(
      {command("REMOVE_DEVICE").element(), command("CHECK_DISK", "G:\\").element()}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            terminalDocument(7, {"100"}, {{"exitCode", "1066"}, {"PATH", "G:/"}, {"DRIVE", "G:"}}));
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(job.run(command("CHECK_DISK", "E:", "G:").text()).document(),
            terminalDocument(7, {"100"}, {{"exitCode", "1156"}, {"PATH", "G:"}, {"DRIVE", "G:"}}));
  EXPECT_THAT(job.read("machine.xml"), Not(HasSubstr("ejected")));
}

TEST_F(DeviceJobTest, APlainFolderCannotBeChecked) {
  job.simulatesMachine = false;
  EXPECT_EQ(job.run(command("CHECK_DISK", job.path("flash"), "").text()).document(),
            terminalDocument(7, {"100"}, {{"exitCode", "1296"}}));
  EXPECT_TRUE(wasLogged("Check disk: Can't find query result"));
  EXPECT_EQ(
      job.run(command("CHECK_DISK", job.path("flash"), "").plain("FixErrors", "true").text()).document(),
      terminalDocument(7, {"100"}, {{"exitCode", "1296"}}));
  EXPECT_TRUE(wasLogged("Check disk: Fail to Execute Method!"));
}

TEST_F(DeviceJobTest, ADeviceThatIsRemovedIsGoneForTheNextJob) {
  const Tree flash = job.tree("flash");
  JobResult result = job.run(command("REMOVE_DEVICE", "e:", "").text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_TRUE(result.output.starts_with("Disk identification start!!!!!!\n\n\nProcessing drive: E:\\\n"));
  EXPECT_TRUE(
      result.output.ends_with("Existing disk info added!\nDisk identification ended!!!!!!\n\n\n\n\n\n"));
  EXPECT_EQ(job.tree("flash"), flash);

  result = job.run(command("CHECK_DISK", "", "F:").text());
  EXPECT_EQ(result.last.exitCode(), u"1156");
  result = job.run(command("REMOVE_DEVICE").text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), stays);
  EXPECT_EQ(result.output, "Disk identification start!!!!!!\nDisk identification ended!!!!!!\n\n\n\n\n\n");
}

TEST_F(DeviceJobTest, ADeviceThatVetoesTwiceIsRemoved) {
  writeMachine("", "ejectVetoes=\"2\"");
  EXPECT_EQ(job.run(command("REMOVE_DEVICE").text()).document(), success);
  EXPECT_THAT(job.read("machine.xml"), HasSubstr("ejectVetoes=\"0\""));
}

TEST_F(DeviceJobTest, ADeviceThatStaysIsReportedAndTheNextCommandRuns) {
  writeMachine("ejectVetoes=\"3\"", "");
  JobResult result = job.run(command("REMOVE_DEVICE").text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), stays);
  EXPECT_THAT(job.read("machine.xml"), Not(HasSubstr("ejected")));

  writeMachine("ejectVetoes=\"3\"", "dirty=\"true\"");
  result = job.run(
      CommandDocument::sequenceOf({command("REMOVE_DEVICE").element(), command("CHECK_DISK").element()}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.exitCode(), u"1297");
}

TEST_F(DeviceJobTest, RemoveDeviceNeedsAStorage) {
  const JobResult result = job.run(command("REMOVE_DEVICE", "").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1071, "Error on reading the remove device files parameters!"));
  EXPECT_EQ(result.output, "");
}

TEST_F(DeviceJobTest, APlainFolderOrARealComputersDriveCannotBeRemoved) {
  job.simulatesMachine = false;
  for (const std::string& storage : {job.path("flash"), std::string("E:")}) {
    const JobResult result = job.run(command("REMOVE_DEVICE", storage).text());
    EXPECT_EQ(result.document(), stays);
    EXPECT_EQ(result.output, "Disk identification start!!!!!!\n");
  }
}

TEST_F(DeviceJobTest, AMachineFileThatDoesNotParseIsAMachineWithoutNodes) {
  job.write("machine.xml", "<machine><node");
  const JobResult result = job.run(command("REMOVE_DEVICE").text());
  EXPECT_EQ(result.document(), stays);
  EXPECT_EQ(result.output, "Disk identification start!!!!!!\n");
  EXPECT_THAT(result.errors, HasSubstr("machine.xml: "));
  EXPECT_EQ(job.read("machine.xml"), "<machine><node");
}

TEST_F(DeviceJobTest, AFrontEndThatDoesNotReadTheOutputDoesNotEndTheJob) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ::close(ends[0]);
  job.standardOutput = ends[1];
  const JobResult result = job.run(command("REMOVE_DEVICE").text());
  ::close(ends[1]);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.document(), success);
}

}  // namespace
}  // namespace ZelmoraTevra
