#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "core/Globals.h"
#include "core/SyncStorages.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

// Notes which volumes are synced; each folder lies on the volume that the test names.
class VolumesFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool syncVolume(const WideText& path, platform::ErrorCode& error) override {
    synced.push_back(path);
    if (!failing.contains(path)) return true;
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return false;
  }
  bool areOnSameVolume(const WideText& left, const WideText& right, platform::ErrorCode&) override {
    return volumes[left] == volumes[right];
  }

  std::map<WideText, int> volumes;
  std::set<WideText> failing;
  std::vector<WideText> synced;
};

class SyncStoragesTest : public JobTest {
 protected:
  SyncStoragesTest() {
    useFileSystem(disk);
    disk.volumes = {{workTempFolder, 0}, {u"flash", 1}, {u"card", 2}};
  }

  VolumesFileSystem disk{files()};
};

TEST_F(SyncStoragesTest, EachStorageIsBroughtToItsMedium) {
  EXPECT_TRUE(syncStorages({u"flash", u"card"}));
  EXPECT_EQ(disk.synced, (std::vector<WideText>{u"flash", u"card"}));
}

TEST_F(SyncStoragesTest, AStorageThatIsNotNamedIsNone) {
  EXPECT_TRUE(syncStorages({u"flash", u""}));
  EXPECT_EQ(disk.synced, std::vector<WideText>{u"flash"});
}

TEST_F(SyncStoragesTest, StoragesOfOneVolumeAreWaitedForOnce) {
  disk.volumes[u"card"] = 1;
  EXPECT_TRUE(syncStorages({u"flash", u"card"}));
  EXPECT_EQ(disk.synced, std::vector<WideText>{u"flash"});
}

TEST_F(SyncStoragesTest, AStorageOnTheVolumeOfTheWorkFolderIsNotWaitedFor) {
  disk.volumes[u"flash"] = 0;
  EXPECT_TRUE(syncStorages({u"flash", u"card"}));
  EXPECT_EQ(disk.synced, std::vector<WideText>{u"card"});
}

TEST_F(SyncStoragesTest, AFailureIsToldAndTheOtherStorageIsBroughtAllTheSame) {
  disk.failing = {u"flash"};
  EXPECT_FALSE(syncStorages({u"flash", u"card"}));
  EXPECT_EQ(disk.synced, (std::vector<WideText>{u"flash", u"card"}));
}

}  // namespace
}  // namespace ZelmoraTevra
