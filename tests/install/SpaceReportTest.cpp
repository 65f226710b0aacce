#include "core/StatusXml.h"
#include "install/SpaceReport.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class SpaceReportTest : public JobTest {
 protected:
  static constexpr NotEnoughSpaceCodes codes{1, 2, 3};

  SavedStatus notEnough(std::int64_t missingSoftware, std::int64_t missingContent) {
    reportNotEnoughSpace({.availableSoftware = 100,
                          .availableContent = 200,
                          .missingSoftware = missingSoftware,
                          .missingContent = missingContent,
                          .neededSoftware = 30,
                          .neededContent = 250},
                         codes, u"E:", u"F:", SpaceAfterwards::told);
    return status();
  }
};

TEST_F(SpaceReportTest, TheCodeTellsWhichStorageIsShort) {
  EXPECT_EQ(notEnough(5, 0).exitCode(), u"1");
  EXPECT_EQ(notEnough(5, -7).exitCode(), u"1");
  EXPECT_EQ(notEnough(0, 5).exitCode(), u"2");
  EXPECT_EQ(notEnough(-7, 5).exitCode(), u"2");
  EXPECT_EQ(notEnough(5, 5).exitCode(), u"3");
}

TEST_F(SpaceReportTest, WhatIsLeftOverIsNoAmountThatLacks) {
  const SavedStatus saved = notEnough(5, -7);
  EXPECT_EQ(saved.attributes.at(u"neededSpaceSoftwareStorage"), u"5");
  EXPECT_EQ(saved.attributes.at(u"neededSpaceContentStorage"), u"0");
}

TEST_F(SpaceReportTest, WhereNothingLacksInNumbersTheReserveDoes) {
  const SavedStatus saved = notEnough(0, 0);
  EXPECT_EQ(saved.exitCode(), u"1");
  EXPECT_EQ(saved.attributes.at(u"neededSpaceSoftwareStorage"), u"10485760");
  EXPECT_EQ(saved.attributes.at(u"neededSpaceContentStorage"), u"0");
}

TEST_F(SpaceReportTest, NotEnoughSpaceNamesDrivesAndFigures) {
  const SavedStatus saved = notEnough(5, 9);
  EXPECT_EQ(saved.state, statNotEnoughSpace);
  EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"110"}));
  EXPECT_EQ(saved.attributes.at(u"DriveName"), u"E:");
  EXPECT_EQ(saved.attributes.at(u"DriveNameExternal"), u"F:");
  EXPECT_EQ(saved.attributes.at(u"availableSpaceSoftwareStorage"), u"100");
  EXPECT_EQ(saved.attributes.at(u"availableSpaceContentStorage"), u"200");
  EXPECT_EQ(saved.attributes.at(u"availableSpacePostInstSoftwareStorage"), u"70");
  EXPECT_EQ(saved.attributes.at(u"availableSpacePostInstContentStorage"), u"-50");
}

TEST_F(SpaceReportTest, WhatWouldBeLeftCanBeOmitted) {
  reportNotEnoughSpace({.missingSoftware = 1}, codes, u"E:", u"", SpaceAfterwards::omitted);
  EXPECT_FALSE(status().attributes.contains(u"availableSpacePostInstSoftwareStorage"));
  EXPECT_FALSE(status().attributes.contains(u"availableSpacePostInstContentStorage"));
  EXPECT_TRUE(status().attributes.contains(u"neededSpaceContentStorage"));
}

TEST_F(SpaceReportTest, FittingHasTheSixFiguresAndNoPercent) {
  reportFits({.availableSoftware = 100, .neededSoftware = 30}, 1159);
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, statFitsToTarget);
  EXPECT_EQ(saved.exitCode(), u"1159");
  EXPECT_TRUE(saved.descriptions.empty());
  EXPECT_EQ(saved.attributes.at(u"availableSpacePostInstSoftwareStorage"), u"70");
  EXPECT_EQ(saved.attributes.at(u"neededSpaceSoftwareStorage"), u"0");
  EXPECT_FALSE(saved.attributes.contains(u"DriveName"));
}

TEST_F(SpaceReportTest, TheNeedCanBeAllThatIsPlacedWhileTheCodeTellsWhatIsMissing) {
  reportNotEnoughSpace(
      {.missingSoftware = -7, .missingContent = 5, .neededSoftware = 30, .neededContent = 250}, codes, u"E:",
      u"F:", SpaceAfterwards::omitted, NeededSpace::placed);
  EXPECT_EQ(status().exitCode(), u"2");
  EXPECT_EQ(status().attributes.at(u"neededSpaceSoftwareStorage"), u"30");
  EXPECT_EQ(status().attributes.at(u"neededSpaceContentStorage"), u"250");
  reportFits({.availableSoftware = 100, .neededSoftware = 30, .neededContent = -1}, 4, NeededSpace::placed);
  EXPECT_EQ(status().attributes.at(u"neededSpaceSoftwareStorage"), u"30");
  EXPECT_EQ(status().attributes.at(u"neededSpaceContentStorage"), u"0");
}

TEST_F(SpaceReportTest, OfNothingThatIsPlacedTheNeedIsTheReserveAndEverythingIsLeft) {
  reportFits({.availableSoftware = 100}, 4, NeededSpace::placed);
  EXPECT_EQ(status().attributes.at(u"neededSpaceSoftwareStorage"), u"10485760");
  EXPECT_EQ(status().attributes.at(u"availableSpacePostInstSoftwareStorage"), u"100");
}

}  // namespace
}  // namespace ZelmoraTevra
