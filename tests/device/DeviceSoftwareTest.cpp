#include "device/DeviceSoftware.h"
#include "tests/device/DeviceFolderTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceSoftwareTest : public DeviceFolderTest {};

TEST_F(DeviceSoftwareTest, ADeviceOfEitherLayoutSaysWhatItIs) {
  put(u"KD3/version.xml", versionDocument(identityElement("kd3", "ZELMORA", "K1", "6.1")));
  std::optional<ClientSoftware> software = readDeviceSoftware(root_);
  ASSERT_TRUE(software);
  EXPECT_EQ(software->platform, u"K1");
  EXPECT_EQ(software->version(), u"6.1.0");

  put(u"ZELMORA/version.xml", versionDocument(identityElement("software", "ZELMORA", "NX5", "7.2.1")));
  software = readDeviceSoftware(root_);
  ASSERT_TRUE(software);
  EXPECT_EQ(software->brand, u"ZELMORA");
  EXPECT_EQ(software->platform, u"NX5");
  EXPECT_EQ(software->version(), u"7.2.1");
}

TEST_F(DeviceSoftwareTest, ADeviceWithoutAVersionFileSaysNothing) {
  startLog();
  makeFolder(onDevice(u"ZELMORA"));
  EXPECT_FALSE(readDeviceSoftware(root_));
  EXPECT_FALSE(readDeviceSoftware({}));
  EXPECT_EQ(log()[0], "Fail to find version xml at path: " + toUtf8(root_) + "/ZELMORA/version.xml");
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(DeviceSoftwareTest, ADamagedVersionFileSaysNothing) {
  startLog();
  put(u"ZELMORA/version.xml", "<config><software><brand>ZELMORA</brand>");
  EXPECT_FALSE(readDeviceSoftware(root_));
  EXPECT_THAT(log(), ElementsAre(testing::StartsWith("Version xml corrupted! Error id: ")));
}

TEST_F(DeviceSoftwareTest, AVersionFileThatIsNoUtf8SaysNothing) {
  put(u"ZELMORA/version.xml", versionDocument(identityElement("software", "\xFF\xFE")));
  EXPECT_FALSE(readDeviceSoftware(root_));
}

TEST_F(DeviceSoftwareTest, ADamagedVersionFileIsRestoredFromItsBackup) {
  put(u"ZELMORA/version.xml", "<config>");
  put(u".DeviceConfigurationBackupFile/version_bkp", soundVersionDocument());
  const std::optional<ClientSoftware> software = readDeviceSoftware(root_);
  ASSERT_TRUE(software);
  EXPECT_EQ(software->platform, u"NX");
}

}  // namespace
}  // namespace ZelmoraTevra
