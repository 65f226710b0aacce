#include "core/ProgressObserver.h"
#include "core/StatusXml.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

constexpr std::int32_t installing = statInstalllnProgress;
constexpr std::int32_t downloading = statDownloadInProgress;

class ProgressObserverTest : public JobTest {
 protected:
  ProgressObserver& observer_ = ProgressObserver::instance();

  void load(std::vector<std::uint64_t> totals) {
    std::vector<ProgressEntry> entries;
    for (const std::uint64_t total : totals) entries.push_back({total, u"name", u"detail"});
    ASSERT_TRUE(observer_.load(std::move(entries)));
  }
  [[nodiscard]] std::size_t snapshots() const { return statusHistory().size(); }
  [[nodiscard]] const std::vector<WideText>& descriptions() const {
    return statusHistory().back().descriptions;
  }
};

TEST_F(ProgressObserverTest, WithoutAListNothingIsCounted) {
  EXPECT_FALSE(observer_.load({}));
  EXPECT_FALSE(observer_.setPosition(0));
  EXPECT_FALSE(observer_.addProgress(1, installing));
  EXPECT_FALSE(observer_.setDownloadPosition(1, downloading));
  EXPECT_EQ(snapshots(), 0U);
}

TEST_F(ProgressObserverTest, AnEmptyListChangesNothing) {
  load({100});
  EXPECT_FALSE(observer_.load({}));
  EXPECT_TRUE(observer_.addProgress(100, installing));
}

TEST_F(ProgressObserverTest, APositionBehindTheListIsLoggedAndRefused) {
  startLog();
  load({1, 2});
  EXPECT_TRUE(observer_.setPosition(1));
  EXPECT_FALSE(observer_.setPosition(2));
  EXPECT_EQ(observer_.position(), 1U);
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"Observer: the position is not valid! Internal error!"}));
}

TEST_F(ProgressObserverTest, ASnapshotHasSixDescriptionsInTheirOrder) {
  ASSERT_TRUE(observer_.load({{300, u"first", u"a"}, {100, u"second", u"b"}}));
  observer_.setPosition(1);
  EXPECT_TRUE(observer_.addProgress(50, installing));
  ASSERT_EQ(snapshots(), 1U);
  EXPECT_EQ(statusHistory()[0].state, 3);
  EXPECT_EQ(descriptions(), (std::vector<WideText>{u"12", u"50 / 400", u"50", u"50 / 100", u"second", u"b"}));
  EXPECT_TRUE(statusHistory()[0].attributes.empty());
}

TEST_F(ProgressObserverTest, TheTextsOfTheCurrentEntryCanBeChanged) {
  load({10});
  observer_.setTexts(u"other", u"text");
  observer_.addProgress(1, installing);
  EXPECT_EQ(descriptions()[4], u"other");
  EXPECT_EQ(descriptions()[5], u"text");
}

TEST_F(ProgressObserverTest, PercentagesAreCutToIntegers) {
  load({3});
  observer_.addProgress(2, installing);
  EXPECT_EQ(descriptions()[0], u"66");
  EXPECT_EQ(descriptions()[2], u"66");
}

TEST_F(ProgressObserverTest, TheFirstReportComesAtOnceAndTheNextAfterMoreThanASecond) {
  load({100});
  EXPECT_TRUE(observer_.addProgress(1, installing));
  EXPECT_EQ(snapshots(), 1U);
  clock.ticks += 1000;
  EXPECT_TRUE(observer_.addProgress(1, installing));
  EXPECT_EQ(snapshots(), 1U);
  clock.ticks += 1;
  EXPECT_TRUE(observer_.addProgress(1, installing));
  EXPECT_EQ(snapshots(), 2U);
  EXPECT_EQ(descriptions()[1], u"3 / 100");
}

TEST_F(ProgressObserverTest, ADownloadIsReportedAtTheSamePace) {
  load({100});
  EXPECT_TRUE(observer_.setDownloadPosition(1, downloading));
  clock.ticks += 1000;
  EXPECT_TRUE(observer_.setDownloadPosition(2, downloading));
  EXPECT_EQ(snapshots(), 1U);
  clock.ticks += 1;
  EXPECT_TRUE(observer_.setDownloadPosition(3, downloading));
  EXPECT_EQ(snapshots(), 2U);
}

TEST_F(ProgressObserverTest, ShortlyAfterTheSystemsStartTheFirstReportWaits) {
  clock.ticks = 1000;
  load({100});
  observer_.addProgress(1, installing);
  EXPECT_EQ(snapshots(), 0U);
  clock.ticks = 1001;
  observer_.addProgress(1, installing);
  EXPECT_EQ(snapshots(), 1U);
}

TEST_F(ProgressObserverTest, TheClockMayWrap) {
  clock.ticks = 0xFFFFFFFF;
  load({100});
  observer_.addProgress(1, installing);
  clock.ticks = 999;
  observer_.addProgress(1, installing);
  EXPECT_EQ(snapshots(), 1U);
  clock.ticks = 1000;
  observer_.addProgress(1, installing);
  EXPECT_EQ(snapshots(), 2U);
}

TEST_F(ProgressObserverTest, MoreThanTheTotalIsLoggedAndNotCounted) {
  startLog();
  load({100});
  observer_.addProgress(60, installing);
  EXPECT_FALSE(observer_.addProgress(41, installing));
  EXPECT_FALSE(observer_.addProgress(UINT64_MAX, installing));
  EXPECT_TRUE(observer_.addProgress(40, installing));
  EXPECT_EQ(logLines()[1], u"Amount bigger than total size!!!name");
  clock.ticks += 2000;
  EXPECT_TRUE(observer_.addProgress(0, installing));
  EXPECT_EQ(descriptions()[1], u"100 / 100");
}

TEST_F(ProgressObserverTest, ADownloadPositionBehindTheTotalIsLoggedAndRefused) {
  startLog();
  load({100});
  EXPECT_TRUE(observer_.setDownloadPosition(100, downloading));
  EXPECT_FALSE(observer_.setDownloadPosition(101, downloading));
  EXPECT_TRUE(logHas(u"Amount bigger than total size!!!"));
  EXPECT_EQ(snapshots(), 1U);
}

TEST_F(ProgressObserverTest, ADownloadCountsAllEntriesBeforeTheCurrentOne) {
  load({1000, 500, 500});
  observer_.setPosition(1);
  observer_.setDownloadPosition(250, statExtractInProgress);
  EXPECT_EQ(descriptions(),
            (std::vector<WideText>{u"62", u"1250 / 2000", u"50", u"250 / 500", u"name", u"detail"}));
}

TEST_F(ProgressObserverTest, ADownloadTellsItsMeanSpeedAndTheTimeLeft) {
  clock.ticks = 2000;
  load({10'240'000});
  // 1,024,000 bytes in 2 seconds: 500 KB/s; 9,000 KiB are left.
  observer_.setDownloadPosition(1'024'000, downloading);
  ASSERT_EQ(descriptions().size(), 8U);
  EXPECT_EQ(descriptions()[6], u"500");
  EXPECT_EQ(descriptions()[7], u"18");
  EXPECT_EQ(statusHistory().back().descriptionAttributes,
            (std::vector<WideText>{u"", u"", u"", u"", u"", u"", u"KB/s", u"s"}));
  // 1,024,000 bytes in 1.999 seconds, which count as one: 1000 KB/s, 750 in the mean of both.
  clock.ticks += 1999;
  observer_.setDownloadPosition(2'048'000, downloading);
  EXPECT_EQ(descriptions()[6], u"750");
  EXPECT_EQ(descriptions()[7], u"10");
}

TEST_F(ProgressObserverTest, SpeedAndTimeAreCutAtThePoint) {
  clock.ticks = 1001;
  load({10'000});
  observer_.setDownloadPosition(512, downloading);
  EXPECT_EQ(descriptions()[6], u"0");
  EXPECT_EQ(descriptions()[7], u"18");
}

TEST_F(ProgressObserverTest, AMeanSpeedOfZeroIsNotTold) {
  load({10'000});
  observer_.setDownloadPosition(0, downloading);
  EXPECT_EQ(descriptions().size(), 6U);
}

TEST_F(ProgressObserverTest, OnlyTheStateOfADownloadTellsTheSpeed) {
  load({10'000});
  observer_.setDownloadPosition(5'000, installing);
  EXPECT_EQ(descriptions().size(), 6U);
}

TEST_F(ProgressObserverTest, AnItemOfNoSizeIsComplete) {
  load({0, 100});
  EXPECT_TRUE(observer_.addProgress(0, installing));
  EXPECT_EQ(descriptions(), (std::vector<WideText>{u"0", u"0 / 100", u"100", u"0 / 0", u"name", u"detail"}));
  EXPECT_FALSE(observer_.addProgress(1, installing));
}

TEST_F(ProgressObserverTest, AListOfNoSizeIsLoaded) {
  load({0});
  EXPECT_TRUE(observer_.setDownloadPosition(0, downloading));
  EXPECT_EQ(descriptions()[0], u"100");
  EXPECT_EQ(descriptions()[1], u"0 / 0");
}

TEST_F(ProgressObserverTest, ANewListKeepsWhatWasCountedUntilTheObserverIsDestroyed) {
  load({100});
  observer_.addProgress(40, installing);
  load({200});
  clock.ticks += 2000;
  observer_.addProgress(10, installing);
  EXPECT_EQ(descriptions()[1], u"50 / 200");
  EXPECT_EQ(descriptions()[3], u"10 / 200");

  ProgressObserver::destroy();
  ProgressObserver& fresh = ProgressObserver::instance();
  ASSERT_TRUE(fresh.load({{200, u"", u""}}));
  fresh.addProgress(10, installing);
  EXPECT_EQ(descriptions()[1], u"10 / 200");
}

TEST_F(ProgressObserverTest, ANewListDoesNotBringTheNextReportForward) {
  load({100});
  observer_.addProgress(1, installing);
  clock.ticks += 1000;
  load({100});
  observer_.addProgress(1, installing);
  EXPECT_EQ(snapshots(), 1U);
  clock.ticks += 1;
  observer_.addProgress(1, installing);
  EXPECT_EQ(snapshots(), 2U);
}

TEST_F(ProgressObserverTest, ANewListForgetsTheSpeedsButNotHowManyThereWere) {
  clock.ticks = 2000;
  load({10'240'000});
  observer_.setDownloadPosition(1'024'000, downloading);
  EXPECT_EQ(descriptions()[6], u"500");
  load({10'240'000});
  clock.ticks += 2000;
  // 1,024,000 bytes more in 2 seconds: 500 KB/s, shared by two reports; 8,000 KiB are left.
  observer_.setDownloadPosition(2'048'000, downloading);
  ASSERT_EQ(descriptions().size(), 8U);
  EXPECT_EQ(descriptions()[6], u"250");
  EXPECT_EQ(descriptions()[7], u"32");
}

TEST_F(ProgressObserverTest, APositionThatANewListDoesNotHaveCountsNothing) {
  load({1, 2, 3});
  observer_.setPosition(2);
  load({5});
  EXPECT_FALSE(observer_.addProgress(1, installing));
  observer_.reportAbort(u"");
  EXPECT_EQ(statusHistory().back().state, 8);
}

TEST_F(ProgressObserverTest, AnAbortIsReportedWithoutRegardToTheTime) {
  load({300, 100});
  observer_.addProgress(300, installing);
  observer_.setPosition(1);
  observer_.addProgress(25, installing);
  ASSERT_EQ(snapshots(), 1U);
  observer_.reportAbort(u"");
  ASSERT_EQ(snapshots(), 2U);
  EXPECT_EQ(status().state, 8);
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"81", u"325 / 400", u"25", u"25 / 100", u"name"}));
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_FALSE(status().attributes.contains(u"downloadPackageID"));
  observer_.reportAbort(u"");
  EXPECT_EQ(snapshots(), 3U);
}

TEST_F(ProgressObserverTest, AnAbortedDownloadTellsItsPackage) {
  load({300, 100});
  observer_.setPosition(1);
  observer_.setDownloadPosition(25, downloading);
  observer_.reportAbort(u"package 7");
  EXPECT_EQ(status().attributes.at(u"downloadPackageID"), u"package 7");
  EXPECT_EQ(status().attributes.at(u"downloadPackageSize"), u"100");
  EXPECT_EQ(status().attributes.at(u"downloadPackageOffset"), u"25");
  // Counted anew from the entries: the first one was never reported.
  EXPECT_EQ(status().descriptions[1], u"25 / 400");
}

}  // namespace
}  // namespace ZelmoraTevra
