#include <cstdint>
#include <exception>
#include <limits>
#include <string>

#include "install/InstallXml.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

const WideText invalidInformation =
    u"Invalid installation information! Retry later or contact Customer Support.";

// One description with everything that can be in one.
const std::string wholeDescription = R"(<?xml version="1.0" encoding="utf-8"?>
<install version="2.1">
  <extraSpaceSoftware>1048576</extraSpaceSoftware>
  <extraSpaceContent>2097152</extraSpaceContent>
  <update install_location="storage_for_content" update_size="5000000000">
    <company>Zelmora</company>
    <name>Österreich</name>
    <version>1.2.3</version>
    <update>7</update>
    <uninstall>3</uninstall>
    <file file_size="4999999999" hash_key="00112233445566778899aabbccddeeff">
      <local>maps/austria.map</local>
      <client updateflag="2" platform="5">maps\austria.map</client>
    </file>
    <file>
      <client>maps\austria.txt</client>
    </file>
    <xmlentry>
      <file>config/software/version.xml</file>
      <key creationflag="4">
        <base>/version/maps/map</base>
        <condition>name/Austria</condition>
        <alter>name/Austria</alter>
        <alter>size/12</alter>
      </key>
    </xmlentry>
  </update>
  <update install_location="storage_for_software" update_size="12" temporary="true">
    <company>Zelmora</company>
    <name>Voices</name>
    <version>4</version>
    <file><client>voices/anna.zip</client></file>
  </update>
</install>
)";

std::string describe(const std::string& updateAttributes, const std::string& children) {
  return "<install><update " + updateAttributes + "><company>c</company><name>n</name><version>v</version>" +
         children + "</update></install>";
}

const std::string someFile = "<file><client>a</client></file>";

class InstallXmlTest : public JobTest {
 protected:
  int load(const std::string& description) { return installXml.load(toWide(description)); }

  const InstallUpdate& onlyUpdate() {
    EXPECT_EQ(installXml.getUpdates().size(), 1U);
    static const InstallUpdate none;
    return installXml.getUpdates().size() == 1 ? installXml.getUpdates().front() : none;
  }

  void expectReport(const WideText& exitCode, const WideText& message) {
    ASSERT_EQ(statusHistory().size(), 1U);
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_EQ(saved.exitCode(), exitCode);
    EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"100", message}));
    EXPECT_FALSE(installXml.isValid());
    EXPECT_TRUE(installXml.getUpdates().empty());
  }

  InstallXml installXml;
};

TEST_F(InstallXmlTest, ReadsEverythingThatAPackageTells) {
  ASSERT_EQ(load(wholeDescription), 0);
  EXPECT_TRUE(installXml.isValid());
  EXPECT_EQ(installXml.text(), toWide(wholeDescription));
  EXPECT_EQ(installXml.version(), u"2.1");
  EXPECT_TRUE(installXml.needsMemoryCard());
  EXPECT_EQ(installXml.extraSpaceSoftware(), 1'048'576);
  EXPECT_EQ(installXml.extraSpaceContent(), 2'097'152);
  EXPECT_EQ(installXml.temporarySpaceSoftware(), 12);
  EXPECT_EQ(installXml.temporarySpaceContent(), 0);
  ASSERT_EQ(installXml.getUpdates().size(), 2U);

  const InstallUpdate& map = installXml.getUpdates()[0];
  EXPECT_EQ(map.company, u"Zelmora");
  EXPECT_EQ(map.name, u"Österreich");
  EXPECT_EQ(map.version, u"1.2.3");
  EXPECT_EQ(map.update, 7U);
  EXPECT_EQ(map.uninstall, 3U);
  EXPECT_EQ(map.updateSize, 5'000'000'000);
  EXPECT_TRUE(map.locationContent);
  EXPECT_FALSE(map.locationSoftware);
  EXPECT_FALSE(map.locationOther);
  EXPECT_EQ(map.neededPrimary, -1);
  EXPECT_EQ(map.neededSecondary, -1);
  EXPECT_EQ(map.clusterOverhead, -1);
  EXPECT_TRUE(map.localSource.empty());

  ASSERT_EQ(map.files.size(), 2U);
  EXPECT_EQ(map.files[0].local, u"maps/austria.map");
  EXPECT_EQ(map.files[0].client, u"maps\\austria.map");
  EXPECT_EQ(map.files[0].updateFlag, 2);
  EXPECT_EQ(map.files[0].platform, 5);
  EXPECT_EQ(map.files[0].fileSize, 4'999'999'999);
  EXPECT_EQ(map.files[0].hashKey, u"00112233445566778899aabbccddeeff");
  EXPECT_EQ(map.files[1].local, u"");
  EXPECT_EQ(map.files[1].updateFlag, 0);
  EXPECT_EQ(map.files[1].platform, 0);
  EXPECT_EQ(map.files[1].fileSize, 0);
  EXPECT_EQ(map.files[1].hashKey, u"");

  ASSERT_EQ(map.xmlEntries.size(), 1U);
  EXPECT_EQ(map.xmlEntries[0].file, u"config/software/version.xml");
  EXPECT_EQ(map.xmlEntries[0].creationFlag, 4);
  EXPECT_EQ(map.xmlEntries[0].base, u"/version/maps/map");
  EXPECT_EQ(map.xmlEntries[0].condition, u"name/Austria");
  EXPECT_EQ(map.xmlEntries[0].alters, (std::vector<WideText>{u"name/Austria", u"size/12"}));

  const InstallUpdate& voices = installXml.getUpdates()[1];
  EXPECT_TRUE(voices.locationSoftware);
  EXPECT_FALSE(voices.locationContent);
  EXPECT_FALSE(voices.locationOther);
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(InstallXmlTest, EmptyTextFailsWithoutAReport) {
  EXPECT_EQ(load(""), -1);
  EXPECT_FALSE(installXml.isValid());
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(InstallXmlTest, TextThatIsNoXmlIs1167) {
  EXPECT_EQ(load("hello"), -1);
  expectReport(u"1167", invalidInformation);
}

TEST_F(InstallXmlTest, BlankTextIs1167) {
  EXPECT_EQ(load(" \n "), -1);
  expectReport(u"1167", invalidInformation);
}

TEST_F(InstallXmlTest, UnclosedElementIs1167) {
  EXPECT_EQ(load("<install><update>"), -1);
  expectReport(u"1167", invalidInformation);
}

TEST_F(InstallXmlTest, DeepNestingIs1167) {
  std::string text;
  for (int depth = 0; depth < 10'000; ++depth) text += "<install>";
  EXPECT_EQ(load(text), -1);
  expectReport(u"1167", invalidInformation);
}

TEST_F(InstallXmlTest, AnotherRootIs1168) {
  EXPECT_EQ(load("<uninstall/>"), -1);
  expectReport(u"1168", invalidInformation);
}

TEST_F(InstallXmlTest, InstallBesideTheRootIs1168) {
  EXPECT_EQ(load("<other/>" + describe("", someFile)), -1);
  expectReport(u"1168", invalidInformation);
}

TEST_F(InstallXmlTest, DocumentWithoutAnElementIs1168) {
  EXPECT_EQ(load("<!-- nothing -->"), -1);
  expectReport(u"1168", invalidInformation);
}

TEST_F(InstallXmlTest, DescriptionWithoutUpdatesIs1168) {
  EXPECT_EQ(load("<install version='1'/>"), -1);
  expectReport(u"1168", u"Update vector empty!!!");
}

TEST_F(InstallXmlTest, OnlyUpdateWithoutCompanyIs1168) {
  EXPECT_EQ(load("<install><update><company></company><name>n</name><version>v</version>" + someFile +
                 "</update></install>"),
            -1);
  expectReport(u"1168", u"Update vector empty!!!");
}

TEST_F(InstallXmlTest, UpdatesThatAreIncompleteAreDropped) {
  const std::string noName = "<update><company>c</company><version>v</version>" + someFile + "</update>";
  const std::string noVersion = "<update><company>c</company><name>n</name>" + someFile + "</update>";
  const std::string noFiles = "<update><company>c</company><name>n</name><version>v</version></update>";
  const std::string good =
      "<update><company>c</company><name>kept</name><version>v</version>" + someFile + "</update>";
  ASSERT_EQ(load("<install>" + noName + noVersion + good + noFiles + "</install>"), 0);
  EXPECT_EQ(onlyUpdate().name, u"kept");
}

TEST_F(InstallXmlTest, XmlEntryAloneKeepsAnUpdate) {
  ASSERT_EQ(load(describe(
                "", "<xmlentry><file>f</file><key><base>b</base><condition>c</condition></key></xmlentry>")),
            0);
  EXPECT_TRUE(onlyUpdate().files.empty());
  ASSERT_EQ(onlyUpdate().xmlEntries.size(), 1U);
  EXPECT_EQ(onlyUpdate().xmlEntries[0].creationFlag, 0);
  EXPECT_TRUE(onlyUpdate().xmlEntries[0].alters.empty());
}

TEST_F(InstallXmlTest, DroppedUpdateStillAsksForTheMemoryCard) {
  ASSERT_EQ(load("<install><update install_location='storage_for_content' temporary='true' update_size='5'/>"
                 "<update install_location='storage_for_software'><company>c</company><name>n</name>"
                 "<version>v</version>" +
                 someFile + "</update></install>"),
            0);
  EXPECT_TRUE(installXml.needsMemoryCard());
  EXPECT_EQ(installXml.temporarySpaceContent(), 5);
  EXPECT_TRUE(onlyUpdate().locationSoftware);
}

TEST_F(InstallXmlTest, UpdateWithoutLocationHasNoneOfTheThreeFlags) {
  ASSERT_EQ(load(describe("", someFile)), 0);
  EXPECT_FALSE(onlyUpdate().locationContent);
  EXPECT_FALSE(onlyUpdate().locationSoftware);
  EXPECT_FALSE(onlyUpdate().locationOther);
  EXPECT_FALSE(installXml.needsMemoryCard());
}

TEST_F(InstallXmlTest, AnyOtherLocationIsTheOtherOne) {
  for (const char* location : {"", "storage", "STORAGE_FOR_CONTENT", "storage_for_content "}) {
    ASSERT_EQ(load(describe(std::string("install_location='") + location + "'", someFile)), 0);
    EXPECT_FALSE(onlyUpdate().locationContent) << location;
    EXPECT_FALSE(onlyUpdate().locationSoftware) << location;
    EXPECT_TRUE(onlyUpdate().locationOther) << location;
    EXPECT_FALSE(installXml.needsMemoryCard()) << location;
  }
}

TEST_F(InstallXmlTest, TemporaryIsOnlyWhatSaysExactlyTrue) {
  for (const char* value : {"TRUE", "True", "1", "yes", "", " true"}) {
    ASSERT_EQ(
        load(describe(
            std::string("install_location='storage_for_software' update_size='9' temporary='") + value + "'",
            someFile)),
        0);
    EXPECT_EQ(installXml.temporarySpaceSoftware(), 0) << value;
  }
}

TEST_F(InstallXmlTest, TemporaryUpdatesAddUpByStorage) {
  const auto update = [](const std::string& attributes) {
    return "<update " + attributes + "><company>c</company><name>n</name><version>v</version>" + someFile +
           "</update>";
  };
  ASSERT_EQ(
      load("<install>" + update("install_location='storage_for_software' update_size='1' temporary='true'") +
           update("install_location='storage_for_software' update_size='2' temporary='true'") +
           update("install_location='storage_for_software' update_size='4'") +
           update("install_location='storage_for_content' update_size='8' temporary='true'") +
           update("install_location='anywhere' update_size='16' temporary='true'") +
           update("update_size='32' temporary='true'") + "</install>"),
      0);
  EXPECT_EQ(installXml.temporarySpaceSoftware(), 3);
  EXPECT_EQ(installXml.temporarySpaceContent(), 8);
}

TEST_F(InstallXmlTest, HostileTemporarySizesStopAtTheEndOfTheRange) {
  const auto update = [](const std::string& location, const std::string& size) {
    return "<update temporary='true' install_location='" + location + "' update_size='" + size +
           "'><company>c</company><name>n</name><version>v</version>" + someFile + "</update>";
  };
  ASSERT_EQ(load("<install>" + update("storage_for_software", "9223372036854775807") +
                 update("storage_for_software", "99999999999999999999") +
                 update("storage_for_content", "-9223372036854775808") + update("storage_for_content", "-5") +
                 "</install>"),
            0);
  EXPECT_EQ(installXml.temporarySpaceSoftware(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(installXml.temporarySpaceContent(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(installXml.getUpdates()[3].updateSize, -5);
}

TEST_F(InstallXmlTest, NumbersCountWithTheirLeadingDigits) {
  ASSERT_EQ(
      load("<install><extraSpaceSoftware>12 MB</extraSpaceSoftware>"
           "<extraSpaceContent>none</extraSpaceContent><update update_size='7x'>"
           "<company>c</company><name>n</name><version>v</version><update>5a</update>"
           "<uninstall>x</uninstall><file file_size=' 8 9'><client updateflag='4;' platform=''>a</client>"
           "</file></update></install>"),
      0);
  EXPECT_EQ(installXml.extraSpaceSoftware(), 12);
  EXPECT_EQ(installXml.extraSpaceContent(), 0);
  EXPECT_EQ(onlyUpdate().updateSize, 7);
  EXPECT_EQ(onlyUpdate().update, 5U);
  EXPECT_EQ(onlyUpdate().uninstall, 0U);
  EXPECT_EQ(onlyUpdate().files[0].fileSize, 8);
  EXPECT_EQ(onlyUpdate().files[0].updateFlag, 4);
  EXPECT_EQ(onlyUpdate().files[0].platform, 0);
}

TEST_F(InstallXmlTest, MissingNumbersAreZero) {
  ASSERT_EQ(load(describe("update_size=''", someFile)), 0);
  EXPECT_EQ(onlyUpdate().updateSize, 0);
  EXPECT_EQ(onlyUpdate().update, 0U);
  EXPECT_EQ(onlyUpdate().uninstall, 0U);
  EXPECT_EQ(installXml.version(), u"");
}

TEST_F(InstallXmlTest, ExtraSpaceWithoutTextIsIgnored) {
  ASSERT_EQ(load("<install><extraSpaceSoftware/><extraSpaceContent></extraSpaceContent><update>"
                 "<company>c</company><name>n</name><version>v</version>" +
                 someFile + "</update></install>"),
            0);
  EXPECT_EQ(installXml.extraSpaceSoftware(), 0);
  EXPECT_EQ(installXml.extraSpaceContent(), 0);
}

TEST_F(InstallXmlTest, FileWithoutClientIsDroppedAndTheOthersStay) {
  ASSERT_EQ(load(describe("",
                          "<file><client>a</client></file><file><local>b</local></file>"
                          "<file><client></client></file><file><client>c</client></file>")),
            0);
  ASSERT_EQ(onlyUpdate().files.size(), 2U);
  EXPECT_EQ(onlyUpdate().files[0].client, u"a");
  EXPECT_EQ(onlyUpdate().files[1].client, u"c");
}

TEST_F(InstallXmlTest, UnknownElementsBetweenTheListsAreNotRead) {
  ASSERT_EQ(load("<install><note/><update><company>c</company><name>n</name><version>v</version>"
                 "<file><client>a</client></file><other><file><client>x</client></file></other>"
                 "<file><client>b</client></file></update><note/></install>"),
            0);
  EXPECT_EQ(onlyUpdate().files.size(), 2U);
}

TEST_F(InstallXmlTest, XmlEntryWithoutFileBaseOrConditionIsDropped) {
  const std::string noFile = "<xmlentry><key><base>b</base><condition>c</condition></key></xmlentry>";
  const std::string noKey = "<xmlentry><file>f</file></xmlentry>";
  const std::string noBase = "<xmlentry><file>f</file><key><condition>c</condition></key></xmlentry>";
  const std::string emptyCondition =
      "<xmlentry><file>f</file><key><base>b</base><condition></condition><alter>a</alter></key></xmlentry>";
  const std::string good =
      "<xmlentry><file>good</file><key><base>b</base><condition>c</condition></key></xmlentry>";
  ASSERT_EQ(load(describe("", noFile + noKey + noBase + emptyCondition + good)), 0);
  ASSERT_EQ(onlyUpdate().xmlEntries.size(), 1U);
  EXPECT_EQ(onlyUpdate().xmlEntries[0].file, u"good");
}

TEST_F(InstallXmlTest, SecondKeyIsIgnored) {
  ASSERT_EQ(
      load(describe("",
                    "<xmlentry><file>f</file>"
                    "<key creationflag='1'><base>b1</base><condition>c1</condition><alter>a1</alter></key>"
                    "<key creationflag='2'><base>b2</base><condition>c2</condition><alter>a2</alter></key>"
                    "</xmlentry>")),
      0);
  ASSERT_EQ(onlyUpdate().xmlEntries.size(), 1U);
  EXPECT_EQ(onlyUpdate().xmlEntries[0].base, u"b1");
  EXPECT_EQ(onlyUpdate().xmlEntries[0].condition, u"c1");
  EXPECT_EQ(onlyUpdate().xmlEntries[0].creationFlag, 1);
  EXPECT_EQ(onlyUpdate().xmlEntries[0].alters, std::vector<WideText>{u"a1"});
}

TEST_F(InstallXmlTest, SecondLoadStartsFromNothing) {
  ASSERT_EQ(load(wholeDescription), 0);
  ASSERT_EQ(load(describe("", someFile)), 0);
  EXPECT_EQ(onlyUpdate().name, u"n");
  EXPECT_FALSE(installXml.needsMemoryCard());
  EXPECT_EQ(installXml.extraSpaceSoftware(), 0);
  EXPECT_EQ(installXml.temporarySpaceSoftware(), 0);
  EXPECT_EQ(load("<install/>"), -1);
  EXPECT_FALSE(installXml.isValid());
  EXPECT_TRUE(installXml.getUpdates().empty());
}

TEST_F(InstallXmlTest, TextThatIsNoneIs1167) {
  EXPECT_EQ(installXml.load(WideText(u"<install/>") + char16_t(0xD800)), -1);
  EXPECT_EQ(status().exitCode(), u"1167");
  EXPECT_EQ(load("<install><update><company>c</company><name>&#xD800;</name><version>1</version>" + someFile +
                 "</update></install>"),
            -1);
  EXPECT_EQ(status().exitCode(), u"1167");
  EXPECT_FALSE(installXml.isValid());
  EXPECT_TRUE(installXml.getUpdates().empty());
}

// A damaged description is either still one, or reported; the only exception is that of damaged UTF-8.
class DamagedInstallXmlTest : public InstallXmlTest {
 protected:
  void expectReportOrUpdates(const std::string& description) {
    const std::size_t saved = statusHistory().size();
    int result = 0;
    try {
      result = load(description);
    } catch (const std::exception&) {
      return;
    }
    if (result == 0) {
      EXPECT_TRUE(installXml.isValid());
      EXPECT_FALSE(installXml.getUpdates().empty());
      EXPECT_EQ(statusHistory().size(), saved);
      return;
    }
    EXPECT_EQ(result, -1);
    EXPECT_FALSE(installXml.isValid());
    EXPECT_TRUE(installXml.getUpdates().empty());
    if (description.empty()) return;
    ASSERT_EQ(statusHistory().size(), saved + 1);
    const WideText exitCode = statusHistory().back().exitCode();
    EXPECT_TRUE(exitCode == u"1167" || exitCode == u"1168");
  }
};

TEST_F(DamagedInstallXmlTest, TruncatedAtEveryLengthIsReportedOrStillGood) {
  for (std::size_t length = 0; length <= wholeDescription.size(); ++length) {
    SCOPED_TRACE(length);
    expectReportOrUpdates(wholeDescription.substr(0, length));
  }
}

TEST_F(DamagedInstallXmlTest, FlippedBytesAreReportedOrStillGood) {
  for (const int mask : {0x01, 0x20, 0x80})
    for (std::size_t position = 0; position < wholeDescription.size(); ++position) {
      SCOPED_TRACE("byte " + std::to_string(position) + ", mask " + std::to_string(mask));
      std::string damaged = wholeDescription;
      damaged[position] = static_cast<char>(damaged[position] ^ mask);
      expectReportOrUpdates(damaged);
    }
}

}  // namespace
}  // namespace ZelmoraTevra
