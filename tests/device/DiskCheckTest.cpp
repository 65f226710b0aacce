#include <gmock/gmock.h>

#include "device/DiskCheck.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {

namespace {

using platform::DiskCheckStep;
using testing::ElementsAre;
using testing::IsEmpty;

class DiskCheckTest : public DeviceTest {
 protected:
  DiskCheckTest() { startLog(); }
};

TEST_F(DiskCheckTest, WithoutDrivesAllIsWellAndNothingIsAsked) {
  EXPECT_EQ(checkDisk({}), 0);
  EXPECT_EQ(checkDisk({.fixErrors = true}), 0);
  EXPECT_THAT(maintenance.calls, IsEmpty());
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DiskCheckTest, WithoutFixingTheSystemIsOnlyAsked) {
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .secondaryDrive = u"f:\\", .forceDismount = true}), 0);
  EXPECT_THAT(maintenance.calls, ElementsAre("dirty E", "dirty F"));
  EXPECT_THAT(logLines(),
              ElementsAre(u"Check volume dirty: SUCCESS for E:", u"Check volume dirty: SUCCESS for F:"));
}

TEST_F(DiskCheckTest, ADirtyVolumeIsAFailure) {
  maintenance.dirt[u'E'] = {.dirty = true};
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .secondaryDrive = u"F:"}), 6);
  EXPECT_THAT(logLines(),
              ElementsAre(u"Check volume dirty: FAIL for E:", u"Check volume dirty: SUCCESS for F:"));
  EXPECT_EQ(checkDisk({.secondaryDrive = u"E:"}), 7);
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .secondaryDrive = u"E:"}), 8);
}

TEST_F(DiskCheckTest, FixingChecksWithItsParameters) {
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .fixErrors = true}), 0);
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .fixErrors = true, .forceDismount = true}), 0);
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .fixErrors = true, .recoverBadSectors = true}), 0);
  EXPECT_THAT(maintenance.calls, ElementsAre("check E fix", "check E fix dismount", "check E fix recover"));
}

TEST_F(DiskCheckTest, ReturnValuesZeroAndOneAreSuccessAndAllOthersFailures) {
  for (const std::uint32_t value : {0U, 1U, 2U, 3U, 4'294'967'295U}) {
    maintenance.checks[u'E'] = {.returnValue = value};
    EXPECT_EQ(checkDisk({.primaryDrive = u"E:\\", .fixErrors = true}), value <= 1 ? 0 : 6) << value;
    EXPECT_EQ(logLines().back(), u"Check disk: Return code " + numberText(value) + u" for drive E:");
  }
}

TEST_F(DiskCheckTest, TheTwoResultsAreCombined) {
  maintenance.checks[u'E'] = {.returnValue = 2};
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .secondaryDrive = u"F:", .fixErrors = true}), 6);
  EXPECT_EQ(checkDisk({.primaryDrive = u"F:", .secondaryDrive = u"E:", .fixErrors = true}), 7);
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .secondaryDrive = u"E:", .fixErrors = true}), 8);
  EXPECT_EQ(checkDisk({.secondaryDrive = u"E:", .fixErrors = true}), 7);
}

TEST_F(DiskCheckTest, EachStepThatFailsHasItsLine) {
  const std::vector<std::pair<DiskCheckStep, WideText>> lines = {
      {DiskCheckStep::initialise, u"Check disk: Fail to initialize com!"},
      {DiskCheckStep::security, u"Check disk: Fail to set general COM security levels!"},
      {DiskCheckStep::locate, u"Check disk: Fail to Obtain the initial locator to WMI!"},
      {DiskCheckStep::connect,
       u"Check disk: Fail to Connect to WMI through the IWbemLocator::ConnectServer method!"},
      {DiskCheckStep::secureConnection, u"Check disk: Fail to Set security levels for the proxy!"},
      {DiskCheckStep::findDiskClass, u"Check disk: Fail to Create class Logical disk!"},
      {DiskCheckStep::findCheckMethod, u"Check disk: Fail to Get chkdsk method!"},
      {DiskCheckStep::execute, u"Check disk: Fail to Execute Method!"},
      {DiskCheckStep::query, u"Check disk: Can't execute query"},
      {DiskCheckStep::findQueryResult, u"Check disk: Can't find query result"},
      {DiskCheckStep::readQueryResult, u"Check disk: Can't get data from result"}};
  for (const auto& [step, line] : lines) {
    maintenance.checks[u'E'] = {.failed = step};
    maintenance.dirt[u'E'] = {.failed = step};
    EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .fixErrors = true}), 6);
    EXPECT_EQ(logLines().back(), line);
    EXPECT_EQ(checkDisk({.secondaryDrive = u"E:"}), 7);
    EXPECT_EQ(logLines().back(), line);
  }
  EXPECT_EQ(logLines().size(), 2 * lines.size());
}

TEST_F(DiskCheckTest, AParameterThatCannotBeSetIsNamed) {
  maintenance.checks[u'E'] = {.failed = DiskCheckStep::setParameter, .parameter = u"ForceDismount"};
  EXPECT_EQ(checkDisk({.primaryDrive = u"E:", .fixErrors = true}), 6);
  EXPECT_THAT(logLines(), ElementsAre(u"Check disk: Fail to Set up chkdsk parameter: ForceDismount"));
}

TEST_F(DiskCheckTest, APlainFolderHasNoLetterToAskFor) {
  maintenance.dirt[u'\0'] = {.failed = DiskCheckStep::findQueryResult};
  EXPECT_EQ(checkDisk({.primaryDrive = u"/srv/device"}), 6);
  EXPECT_THAT(maintenance.calls, ElementsAre("dirty none"));
}

}  // namespace

}  // namespace ZelmoraTevra
