#include "core/ErrorReport.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class ErrorReportTest : public JobTest {};

TEST_F(ErrorReportTest, IsAnErrorOfAHundredPercentWithMessageAndExitCode) {
  ErrorReport(1028, u"Something went wrong!").save();
  EXPECT_EQ(status().state, 7);
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", u"Something went wrong!"}));
  EXPECT_EQ(status().exitCode(), u"1028");
}

TEST_F(ErrorReportTest, WithoutAMessageHasOnlyThePercent) {
  ErrorReport(1066).save();
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100"}));
}

TEST_F(ErrorReportTest, PassesPercentagesAboveAHundredOn) {
  ErrorReport(1001, u"x").percent(119).save();
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"119", u"x"}));
}

TEST_F(ErrorReportTest, TakesAnotherStateAndFurtherDescriptions) {
  ErrorReport(1274, u"first").state(statNotEnoughSpace).description(u"second").save();
  EXPECT_EQ(status().state, 10);
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", u"first", u"second"}));
}

TEST_F(ErrorReportTest, TellsAPathAndItsDriveWithForwardSlashes) {
  ErrorReport(1003).pathAndDrive(u"E:\\maps\\a/b").save();
  EXPECT_EQ(status().attributes.at(u"PATH"), u"E:/maps/a/b");
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"E:");
}

TEST_F(ErrorReportTest, TheDriveIsWrittenAlsoWhenItIsEmpty) {
  ErrorReport(1003).pathAndDrive(u"/srv/device").save();
  EXPECT_EQ(status().attributes.at(u"PATH"), u"/srv/device");
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  EXPECT_NE(status().document.find("<DRIVE></DRIVE>"), std::string::npos);
}

TEST_F(ErrorReportTest, ThePathOfADriveAloneIsItsDrive) {
  ErrorReport(1003).pathAndDrive(u"E:").save();
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"E:");
}

TEST_F(ErrorReportTest, TellsASizeInMebibytesWithItsUnit) {
  ErrorReport(1043).size(1'572'864).save();
  EXPECT_EQ(status().attributes.at(u"PATH_SIZE"), u"1.50");
  EXPECT_EQ(status().attributes.at(u"UNIT"), u"MB");
}

TEST_F(ErrorReportTest, TheFirstValueOfAnAttributeStays) {
  ErrorReport(1043).attribute(u"FILE", u"a").attribute(u"FILE", u"b").attribute(u"exitCode", u"1").save();
  EXPECT_EQ(status().attributes.at(u"FILE"), u"a");
  EXPECT_EQ(status().exitCode(), u"1043");
}

}  // namespace
}  // namespace ZelmoraTevra
