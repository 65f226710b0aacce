#include "device/MetadataGuard.h"
#include "platform/Machine.h"
#include "tests/device/DeviceFolderTest.h"
#include "tests/support/FaultyFileSystem.h"

namespace ZelmoraTevra {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class MetadataGuardTest : public DeviceFolderTest {
 protected:
  MetadataGuardTest() { makeFolder(root_); }

  void expectMarkers() {
    EXPECT_THAT(device(), ElementsAreArray(markers_));
    for (const WideView file : {u".Trashes", u".metadata_never_index", u".fseventsd/no_log"})
      EXPECT_EQ(get(file), "");
  }

  const std::vector<std::string> markers_ = {".Trashes", ".fseventsd/", ".fseventsd/no_log",
                                             ".metadata_never_index"};
};

TEST_F(MetadataGuardTest, ThreeEmptyFilesAreMadeAndHidden) {
  HidingFileSystem hiding(files());
  useFileSystem(hiding);
  keepForeignMetadataAway(root_);
  expectMarkers();
  EXPECT_THAT(hiding.hidden, ElementsAre(onDevice(u".Trashes"), onDevice(u".metadata_never_index"),
                                         onDevice(u".fseventsd"), onDevice(u".fseventsd/no_log")));
}

TEST_F(MetadataGuardTest, WhereTheyAreNothingIsWritten) {
  keepForeignMetadataAway(root_);
  FaultyFileSystem counting(files());
  HidingFileSystem hiding(counting);
  useFileSystem(hiding);
  keepForeignMetadataAway(root_);
  EXPECT_EQ(counting.count, 0);
  EXPECT_THAT(hiding.hidden, IsEmpty());
}

TEST_F(MetadataGuardTest, WhatAnotherSystemHasWrittenGoes) {
  put(u".Trashes/501/photo.jpg", "photo");
  put(u".metadata_never_index/file", "index");
  put(u".fseventsd/0000", "log");
  keepForeignMetadataAway(root_);
  expectMarkers();
}

TEST_F(MetadataGuardTest, OneThatIsMissingOrNotEmptyRenewsAll) {
  for (const WideView file : {u".Trashes", u".metadata_never_index", u".fseventsd/no_log"}) {
    keepForeignMetadataAway(root_);
    put(u".fseventsd/0000", "log");
    put(file, "x");
    keepForeignMetadataAway(root_);
    expectMarkers();
    put(u".fseventsd/0000", "log");
    std::filesystem::remove(toUtf8(onDevice(file)));
    keepForeignMetadataAway(root_);
    expectMarkers();
  }
}

TEST_F(MetadataGuardTest, LinksAreReplacedAndWhatTheyLeadToStays) {
  writeFile(path(u"outside/file"), "mine");
  link(u".Trashes", path(u"outside"));
  link(u".metadata_never_index", path(u"outside/file"));
  link(u".fseventsd", path(u"outside"));
  keepForeignMetadataAway(root_);
  expectMarkers();
  EXPECT_THAT(tree(path(u"outside")), ElementsAre("file"));
  EXPECT_EQ(readFile(path(u"outside/file")), "mine");
}

TEST_F(MetadataGuardTest, NothingIsMadeThroughALinkToNothing) {
  makeFolder(path(u"outside"));
  link(u".Trashes", path(u"outside/new"));
  put(u".fseventsd/0", "");
  std::filesystem::create_symlink(toUtf8(path(u"outside/log")), toUtf8(onDevice(u".fseventsd/no_log")));
  keepForeignMetadataAway(root_);
  expectMarkers();
  EXPECT_THAT(tree(path(u"outside")), IsEmpty());
}

TEST_F(MetadataGuardTest, ALinkThatCannotBeRemovedIsNotWrittenThrough) {
  writeFile(path(u"outside/file"), "mine");
  link(u".Trashes", path(u"outside/file"));
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;
  useFileSystem(faulty);
  keepForeignMetadataAway(root_);
  EXPECT_EQ(readFile(path(u"outside/file")), "mine");
}

TEST_F(MetadataGuardTest, AFailureAtAnyOperationHurtsNothingElse) {
  for (int operation = 1;; ++operation) {
    put(u".Trashes/501/photo.jpg", "photo");
    put(u"ZELMORA/version.xml", "version");
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    keepForeignMetadataAway(root_);
    useMachine(platform::nativeMachine());
    EXPECT_EQ(get(u"ZELMORA/version.xml"), "version");
    std::filesystem::remove_all(toUtf8(root_));
    makeFolder(root_);
    if (faulty.count < operation) break;
  }
}

TEST_F(MetadataGuardTest, ARootThatIsNotThereStaysSo) {
  keepForeignMetadataAway(path(u"missing"));
  EXPECT_FALSE(std::filesystem::exists(toUtf8(path(u"missing"))));
}

}  // namespace
}  // namespace ZelmoraTevra
