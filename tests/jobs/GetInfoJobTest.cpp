#include <gmock/gmock.h>

#include <algorithm>

#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

// The real program asked for what is connected.
class GetInfoJobTest : public ProgramTest {
 protected:
  GetInfoJobTest() {
    job.makesMachine = false;
    job.write("machine.xml", R"(<machine><node id="HTREE\ROOT\0"><node id="USB\VID_1F5A&amp;PID_0001\A1">
      <node id="USBSTOR\DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00\A1&amp;0"><node id="STORAGE\ZELMORA&amp;0">
        <volume letter="E" folder="flash" label="NAVFLASH" serial="1" capacity="1000000"/></node></node>
      <node id="USBSTOR\DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00\A1&amp;1"><node id="STORAGE\ZELMORA&amp;1">
        <volume letter="F" folder="card" label="NAVCARD" serial="2" capacity="3000000"/></node></node>
    </node></node></machine>)");
    job.write("flash/ZELMORA/version.xml", version);
    job.write("flash/ZELMORA/MAP/alps.map", "map");
  }

  [[nodiscard]] static CommandDocument getInfo() { return CommandDocument("GET_INFO"); }
  [[nodiscard]] std::string response() const { return job.read("tmp/ZELMORATevra_tmp/ud_TevraCLI.xml"); }

  const std::string version =
      "<config><software><brand>ZELMORA</brand><platform>NX</platform><version>7</version></software></"
      "config>";
};

TEST_F(GetInfoJobTest, APairIsToldAndNoStatusBesideIt) {
  const JobResult result = job.run(getInfo().attribute("computeMapsInfo", "1").text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(response(), declaration + R"(<TevraCLI>
    <removable type="multiple">
        <disks>
            <disk type="storage_for_software">
                <driveletter>E:</driveletter>
                <name>NAVFLASH</name>
                <writeable>1</writeable>
                <serialNumber>1</serialNumber>
                <space>
                    <total>1000000</total>
                    <free>999894</free>
                </space>
            </disk>
            <disk type="storage_for_content">
                <driveletter>F:</driveletter>
                <name>NAVCARD</name>
                <writeable>1</writeable>
                <serialNumber>2</serialNumber>
                <space>
                    <total>3000000</total>
                    <free>3000000</free>
                </space>
            </disk>
        </disks>
        <kml>no</kml>
        <driveletter>E:</driveletter>
        <name>NAVFLASH</name>
        <writeable>1</writeable>
        <serialNumber>1</serialNumber>
        <MIS></MIS>
        <software>
            <brand>ZELMORA</brand>
            <platform>NX</platform>
            <version>7.0.0</version>
            <hardwareID></hardwareID>
            <gts></gts>
            <deviceUID></deviceUID>
            <IMEI></IMEI>
            <style></style>
            <maps>
                <map>
                    <name>alps.map</name>
                    <file>alps.map</file>
                    <md5SumFirst100kb>1D78DC8ED51214E518B5114FE24490AE</md5SumFirst100kb>
                    <size>3</size>
                    <deletable>0</deletable>
                    <company></company>
                    <version></version>
                    <storageForSoftware>true</storageForSoftware>
                </map>
            </maps>
            <serialNumber>1</serialNumber>
        </software>
        <seconddriveletter>F:</seconddriveletter>
        <space>
            <total>4000000</total>
            <free>3999894</free>
        </space>
    </removable>
</TevraCLI>
)");
  EXPECT_THAT(job.loggedStates(), IsEmpty());
  EXPECT_THAT(result.output, StartsWith("Disk identification start!!!!!!\n"));
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(job.tree("temp"), (Tree{{"ZELMORATevra_tmp", "folder"}}));
  EXPECT_THAT(job.tree("flash"),
              Contains(std::pair(std::string(".DeviceConfigurationBackupFile/version_bkp"), md5Of(version))));
}

TEST_F(GetInfoJobTest, WithoutDevicesTheResponseIsAnEmptyRoot) {
  job.simulatesMachine = false;
  EXPECT_EQ(job.run(getInfo().text()).exitValue, 0);
  EXPECT_EQ(response(), declaration + "<TevraCLI />\n");
}

TEST_F(GetInfoJobTest, NamedFoldersAreToldWithoutALookAtTheDevices) {
  job.simulatesMachine = false;
  const JobResult result = job.run(
      getInfo().plain("FolderPath", job.path("flash")).plain("SecondaryFolderPath", job.path("card")).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(response(), HasSubstr("<driveletter>" + job.path("flash") + "</driveletter>"));
  EXPECT_THAT(response(), HasSubstr("<md5SumFirst100kb>MD5NOTNEEDTOCOMPUTED</md5SumFirst100kb>"));
}

TEST_F(GetInfoJobTest, TheNextCommandsStatusTakesThePlaceOfTheResponse) {
  const JobResult result =
      job.run(CommandDocument::sequenceOf({getInfo().element(), CommandDocument("CHECK_DISK").element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
}

TEST_F(GetInfoJobTest, ADamagedVersionFileDoesNotFailTheCommand) {
  job.write("flash/ZELMORA/version.xml", version.substr(0, 50));
  EXPECT_EQ(job.run(getInfo().text()).exitValue, 0);
  EXPECT_THAT(response(), Not(HasSubstr("<software>")));
  EXPECT_EQ(job.read("flash/ZELMORA/version.xml_damaged1"), version.substr(0, 50));
  EXPECT_EQ(
      job.read("flash/ZELMORA/version.xml"),
      "<config>\n    <software>\n        <brand>ZELMORA</brand>\n        <platform />\n    </software>\n"
      "</config>\n");
  EXPECT_THAT(job.logLines(), Contains("Version xml corrupted! Error id: 5 Path: E:\\ZELMORA\\version.xml"));
}

TEST_F(GetInfoJobTest, ADamagedVersionFileIsRestoredFromTheBackupOfAnEarlierJob) {
  EXPECT_EQ(job.run(getInfo().text()).exitValue, 0);
  const std::string before = response();
  job.write("flash/ZELMORA/version.xml", version.substr(0, 50));
  EXPECT_EQ(job.run(getInfo().text()).exitValue, 0);
  EXPECT_EQ(job.read("flash/ZELMORA/version.xml"), version);
  EXPECT_THAT(response(), HasSubstr("<brand>ZELMORA</brand>"));
  EXPECT_THAT(job.logLines(), Contains("Backuped to path: E:\\ZELMORA\\version.xml"));
}

TEST_F(GetInfoJobTest, ATextThatIsNotUtf8InADevicesFileEndsTheProgram) {
  job.write("flash/ZELMORA/version.xml", "<config><software><brand>\xFF</brand></software></config>");
  const JobResult result = job.run(getInfo().text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.errors, "TevraCLI: Invalid UTF-8\n");
  EXPECT_EQ(response(), "<missing>");
}

}  // namespace
}  // namespace ZelmoraTevra
