#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/Machine.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

using testing::IsEmpty;

const std::string completeMachine = R"(<?xml version="1.0" encoding="UTF-8"?>
<machine>
  <node id="HTREE\ROOT\0">
    <node id="USB\VID_1F5A&amp;PID_0001\A1">
      <node id="USBSTOR\DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00\A1&amp;0">
        <node id="STORAGE\REMOVABLEMEDIA\ZELMORA&amp;0">
          <volume letter="E" folder="flash" label="ZELMORA" serial="305419896" capacity="2000000000"/>
        </node>
      </node>
      <node id="USBSTOR\DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00\A1&amp;1">
        <volume letter="f" folder="card/inner" readOnly="true"/>
      </node>
    </node>
    <volume folder="plain"/>
  </node>
</machine>
)";

class SimulatedMachineTest : public testing::Test {
 protected:
  SimulatedMachineTest() {
    for (const char* const name : {"flash", "card", "card/inner", "plain"}) {
      std::filesystem::create_directory(folder_.native() / name);
    }
    std::ofstream(folder_.native() / "flash/file") << "12345";
  }

  void open(const std::string& content) {
    std::ofstream(folder_.native() / "machine.xml", std::ios::binary | std::ios::trunc) << content;
    open(folder_.path() + u"/machine.xml");
  }

  void open(const WideText& path) {
    testing::internal::CaptureStderr();
    machine_ = openSimulatedMachine(path);
    complaint_ = testing::internal::GetCapturedStderr();
  }

  // A machine with one volume of these attributes.
  void openVolume(const std::string& attributes) {
    open("<machine><node id=\"R\"><volume " + attributes + "/></node></machine>");
  }

  [[nodiscard]] const std::vector<Volume>& volumes() const { return machine_->machine().volumes->volumes(); }
  [[nodiscard]] FileSystem& files() const { return *machine_->machine().files; }

  void expectRefused() const {
    EXPECT_THAT(volumes(), IsEmpty());
    EXPECT_EQ(std::count(complaint_.begin(), complaint_.end(), '\n'), 1);
    EXPECT_TRUE(complaint_.ends_with('\n'));
  }

  TemporaryFolder folder_;
  std::unique_ptr<SimulatedMachine> machine_;
  std::string complaint_;
  ErrorCode error_;
};

TEST_F(SimulatedMachineTest, readsTheVolumesOfNestedNodesInEveryBranch) {
  open(completeMachine);
  EXPECT_EQ(complaint_, "");
  ASSERT_EQ(volumes().size(), 3U);
  EXPECT_EQ(files().fileSize(u"E:\\file", error_), 5);
  EXPECT_EQ(files().kind(u"F:", error_), EntryKind::folder);
  Space space;
  EXPECT_TRUE(files().space(u"e:", space, error_));
  EXPECT_EQ(space.capacity, 2'000'000'000U);
  EXPECT_EQ(space.free, 1'999'999'995U);
}

TEST_F(SimulatedMachineTest, keepsDocumentOrder) {
  open(
      "<machine><node id=\"R\"><node id=\"A\"><volume letter=\"B\" folder=\"flash\"/></node>"
      "<node id=\"C\"><volume letter=\"A\" folder=\"card\"/></node></node></machine>");
  ASSERT_EQ(volumes().size(), 2U);
  EXPECT_EQ(volumes()[0].letter, u'B');
  EXPECT_EQ(volumes()[1].letter, u'A');
}

TEST_F(SimulatedMachineTest, aLetterCountsInEitherCase) {
  openVolume("letter=\"g\" folder=\"flash\"");
  ASSERT_EQ(volumes().size(), 1U);
  EXPECT_EQ(volumes()[0].letter, u'G');
  EXPECT_EQ(files().kind(u"G:/file", error_), EntryKind::file);
}

TEST_F(SimulatedMachineTest, aVolumeWithoutALetterIsReachedByItsFolderOnly) {
  openVolume("folder=\"flash\" readOnly=\"true\"");
  ASSERT_EQ(volumes().size(), 1U);
  EXPECT_EQ(volumes()[0].letter, u'\0');
  EXPECT_EQ(files().open(folder_.path() + u"/flash/file", OpenMode::truncate, error_), nullptr);
}

TEST_F(SimulatedMachineTest, aRelativeFolderCountsFromTheMachineFilesFolder) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.native() / "card");
  openVolume("letter=\"E\" folder=\"card/../flash/\"");
  EXPECT_EQ(files().kind(u"E:/file", error_), EntryKind::file);
  open(u"../machine.xml");
  EXPECT_EQ(files().kind(u"E:/file", error_), EntryKind::file);
  std::filesystem::current_path(folder_.native());
  open(u"machine.xml");
  EXPECT_EQ(files().kind(u"E:/file", error_), EntryKind::file);
  std::filesystem::current_path(before);
  EXPECT_EQ(files().kind(u"E:/file", error_), EntryKind::file);
}

TEST_F(SimulatedMachineTest, aFolderMayHaveBackslashesAndNamesBeyondAscii) {
  std::filesystem::create_directories(folder_.native() / u8"Gerät/ein");
  openVolume("letter=\"E\" folder=\"Ger\xC3\xA4t\\ein\"");
  EXPECT_EQ(files().kind(u"E:", error_), EntryKind::folder);
}

TEST_F(SimulatedMachineTest, anAbsoluteFolderStandsForItself) {
  openVolume("letter=\"E\" folder=\"" + (folder_.native() / "flash").string() + "\"");
  EXPECT_EQ(files().kind(u"E:/file", error_), EntryKind::file);
}

TEST_F(SimulatedMachineTest, aFolderThatDoesNotExistIsAnEmptyReader) {
  openVolume("letter=\"E\" folder=\"nothing\" capacity=\"1000\"");
  EXPECT_EQ(complaint_, "");
  ASSERT_EQ(volumes().size(), 1U);
  EXPECT_EQ(files().kind(u"E:", error_), EntryKind::missing);
  EXPECT_FALSE(error_);
  Space space;
  EXPECT_FALSE(files().space(u"E:", space, error_));
  EXPECT_EQ(files().open(u"E:/x", OpenMode::truncate, error_), nullptr);
}

TEST_F(SimulatedMachineTest, readOnlyIsTheTextTrueAndNothingElse) {
  openVolume("letter=\"E\" folder=\"flash\" readOnly=\"true\"");
  EXPECT_FALSE(files().removeFile(u"E:/file", error_));
  EXPECT_EQ(error_, boost::system::errc::read_only_file_system);
  openVolume("letter=\"E\" folder=\"flash\" readOnly=\"false\"");
  EXPECT_FALSE(volumes().at(0).readOnly);
  openVolume("letter=\"E\" folder=\"flash\"");
  EXPECT_FALSE(volumes().at(0).readOnly);
  EXPECT_TRUE(files().removeFile(u"E:/file", error_));
}

TEST_F(SimulatedMachineTest, anEjectedVolumeIsGoneWithItsLetter) {
  openVolume("letter=\"E\" folder=\"flash\" ejected=\"true\"");
  EXPECT_EQ(complaint_, "");
  EXPECT_THAT(volumes(), IsEmpty());
  EXPECT_EQ(files().kind(u"E:/file", error_), EntryKind::missing);
  openVolume("letter=\"E\" folder=\"flash\" ejected=\"false\"");
  EXPECT_EQ(volumes().size(), 1U);
}

TEST_F(SimulatedMachineTest, withoutACapacitySpaceIsThatOfTheDisk) {
  openVolume("letter=\"E\" folder=\"flash\"");
  Space space;
  EXPECT_TRUE(files().space(u"E:", space, error_));
  EXPECT_EQ(space.capacity, std::filesystem::space(folder_.native()).capacity);
}

TEST_F(SimulatedMachineTest, onlyTheFirstNodeIsTheTree) {
  open("<machine><node id=\"R\"/><node id=\"S\"><volume letter=\"E\" folder=\"flash\"/></node></machine>");
  EXPECT_THAT(volumes(), IsEmpty());
  EXPECT_EQ(complaint_, "");
}

TEST_F(SimulatedMachineTest, aMachineWithoutNodesHasNoVolumes) {
  open("<machine/>");
  EXPECT_THAT(volumes(), IsEmpty());
  EXPECT_EQ(complaint_, "");
}

TEST_F(SimulatedMachineTest, theOtherRolesAreThoseOfTheComputer) {
  open(completeMachine);
  const Machine& simulated = machine_->machine();
  const Machine& native = nativeMachine();
  EXPECT_EQ(simulated.processes, native.processes);
  EXPECT_EQ(simulated.power, native.power);
  EXPECT_EQ(simulated.registry, native.registry);
  EXPECT_EQ(simulated.clock, native.clock);
  EXPECT_EQ(simulated.identifiers, native.identifiers);
  EXPECT_NE(simulated.files, native.files);
  EXPECT_NE(simulated.volumes, native.volumes);
}

TEST_F(SimulatedMachineTest, aMissingFileIsAMachineWithoutVolumesAndOneLine) {
  open(folder_.path() + u"/none.xml");
  expectRefused();
  EXPECT_NE(complaint_.find("none.xml"), std::string::npos);
  open(folder_.path());
  expectRefused();
}

TEST_F(SimulatedMachineTest, aFileTruncatedAtAnyLengthIsAMachineWithoutVolumesAndOneLine) {
  const std::size_t complete = completeMachine.rfind('>') + 1;
  for (std::size_t length = 0; length < complete; ++length) {
    SCOPED_TRACE(length);
    open(completeMachine.substr(0, length));
    expectRefused();
  }
}

TEST_F(SimulatedMachineTest, aFileWithAnyByteChangedNeverCrashes) {
  for (std::size_t position = 0; position < completeMachine.size(); ++position) {
    for (const char byte : {'\0', '<', '"'}) {
      std::string damaged = completeMachine;
      damaged[position] = byte;
      open(damaged);
      EXPECT_LE(volumes().size(), 3U);
    }
  }
}

TEST_F(SimulatedMachineTest, wrongValuesAreRefused) {
  for (const std::string attributes :
       {"letter=\"E\"", "letter=\"E\" folder=\"\"", "letter=\"EE\" folder=\"flash\"",
        "letter=\"1\" folder=\"flash\"", "letter=\"\xC3\xA4\" folder=\"flash\"",
        "folder=\"flash\" capacity=\"x\"", "folder=\"flash\" capacity=\"-1\"",
        "folder=\"flash\" capacity=\"1k\"", "folder=\"flash\" capacity=\"18446744073709551616\"",
        "folder=\"fl\xFFsh\""}) {
    SCOPED_TRACE(attributes);
    openVolume(attributes);
    expectRefused();
  }
}

TEST_F(SimulatedMachineTest, anotherDocumentIsRefused) {
  open("<device><node id=\"R\"><volume letter=\"E\" folder=\"flash\"/></node></device>");
  expectRefused();
  open(std::string("<machine/>\0<x>", 14));
  expectRefused();
}

TEST_F(SimulatedMachineTest, nodesNestAThousandLevels) {
  std::string document = "<machine>";
  for (int level = 0; level < 1000; ++level) document += "<node id=\"N\">";
  document += "<volume letter=\"E\" folder=\"flash\"/>";
  for (int level = 0; level < 1000; ++level) document += "</node>";
  open(document + "</machine>");
  EXPECT_EQ(complaint_, "");
  EXPECT_EQ(volumes().size(), 1U);
}

TEST_F(SimulatedMachineTest, aFileBeyondAllBoundsIsRefused) {
  std::string deep = "<machine>";
  for (int level = 0; level < 100'000; ++level) deep += "<n>";
  open(deep);
  expectRefused();
  std::string wide = "<machine";
  for (int number = 0; number < 30'000; ++number)
    wide.append(" a").append(std::to_string(number)).append("=\"\"");
  open(wide + "/>");
  expectRefused();
  std::string document = "<machine>";
  document.append(5 * 1024 * 1024, ' ');
  open(document + "</machine>");
  expectRefused();
}

}  // namespace

}  // namespace ZelmoraTevra::platform
