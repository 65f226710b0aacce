#include "core/StatusXml.h"
#include "install/PackageCheck.h"
#include "tests/support/JobTest.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

class PackageCheckTest : public JobTest {
 protected:
  static InstallFile file(const WideText& local, const WideText& client, std::int32_t flag = installFile) {
    InstallFile entry;
    entry.local = local;
    entry.client = client;
    entry.updateFlag = flag;
    return entry;
  }
  static InstallUpdate software(std::vector<InstallFile> files) {
    InstallUpdate update;
    update.locationSoftware = true;
    update.files = std::move(files);
    return update;
  }
  static bool isPlaceable(const InstallFile& entry) {
    return arePlaceable({software({file(u"a", u"a"), entry})});
  }
  // Whether a zip of these bytes holds the files.
  bool holds(const std::string& bytes, const std::vector<InstallFile>& files, ZipReading reading) {
    writeFile(path(u"p.zip"), bytes);
    InstallUpdate update = software(files);
    update.localSource = path(u"p.zip");
    return zipsHoldFiles({&update}, reading);
  }
  static bool bringsFolder(InstallUpdate update) { return bringRegisterFolder({&update}); }
};

TEST_F(PackageCheckTest, OnlyFlagsThatTheProgramKnowsArePlaceable) {
  for (const int flag : {0, 1, 2, 3, 4, 7, 8}) EXPECT_TRUE(isPlaceable(file(u"b", u"b", flag))) << flag;
  for (const int flag : {-1, 5, 6, 9, 256}) EXPECT_FALSE(isPlaceable(file(u"b", u"b", flag))) << flag;
}

TEST_F(PackageCheckTest, PathsThatLeaveTheirRootAreNotPlaceableWhereTheyWouldBeWritten) {
  for (const int flag : {0, 1, 2, 3}) {
    EXPECT_FALSE(isPlaceable(file(u"b", u"../b", flag)));
    EXPECT_FALSE(isPlaceable(file(u"b", u"C:\\b", flag)));
    EXPECT_FALSE(isPlaceable(file(u"", u"b", flag)));
    EXPECT_FALSE(isPlaceable(file(u"/b", u"b", flag)));
  }
  EXPECT_TRUE(isPlaceable(file(u"", u"../b", deleteFile)));
}

TEST_F(PackageCheckTest, WhatIsNotPlaceableIsLogged) {
  startLog();
  EXPECT_FALSE(isPlaceable(file(u"b", u"b", 6)));
  EXPECT_TRUE(logHas(u"A file that can't be placed: b, updateflag 6"));
}

TEST_F(PackageCheckTest, AZipMustHoldTheFilesThatAreWrittenOnAnEmptyDevice) {
  const std::string zip = ZipBuilder().add("dir/a", "a").bytes();
  for (const ZipReading reading : {ZipReading::directory, ZipReading::contents}) {
    EXPECT_TRUE(holds(zip, {file(u"dir/a", u"x"), file(u"DIR/A", u"y", installFileToo)}, reading));
    for (const int flag : {0, 1, 2}) EXPECT_FALSE(holds(zip, {file(u"b", u"x", flag)}, reading));
    for (const int flag : {3, 4, 7, 8}) EXPECT_TRUE(holds(zip, {file(u"b", u"x", flag)}, reading));
    // The register is never placed.
    EXPECT_TRUE(holds(zip, {file(u"b", u"ZELMORA/updates.xml")}, reading));
    EXPECT_FALSE(holds(ZipBuilder().add("dir/", "").bytes(), {file(u"dir/", u"x")}, reading));
    EXPECT_FALSE(holds("", {file(u"dir/a", u"x")}, reading));
    EXPECT_FALSE(holds("no zip", {file(u"dir/a", u"x")}, reading));
  }
}

TEST_F(PackageCheckTest, AZipThatIsMissingHoldsNothingAndIsNotAskedForIfNothingIsPlaced) {
  startLog();
  InstallUpdate update = software({file(u"a", u"x")});
  update.localSource = path(u"none.zip");
  EXPECT_FALSE(zipsHoldFiles({&update}, ZipReading::directory));
  EXPECT_TRUE(logHas(u"The zip " + path(u"none.zip") + u" doesn't hold a"));
  update.files[0].updateFlag = deleteFile;
  EXPECT_TRUE(zipsHoldFiles({&update}, ZipReading::directory));
}

TEST_F(PackageCheckTest, OnlyTheContentsTellOfDamage) {
  ZipBuilder::Options wrong;
  wrong.checksum = 1;
  const std::string zip = ZipBuilder().add("a", "a").add("b", "b", wrong).bytes();
  EXPECT_TRUE(holds(zip, {file(u"a", u"a"), file(u"b", u"b")}, ZipReading::directory));
  EXPECT_FALSE(holds(zip, {file(u"a", u"a"), file(u"b", u"b")}, ZipReading::contents));
  EXPECT_TRUE(holds(zip, {file(u"a", u"a"), file(u"a", u"c")}, ZipReading::contents));
}

TEST_F(PackageCheckTest, ADeflatedFileIsReadToItsEnd) {
  ZipBuilder::Options deflated;
  deflated.deflated = true;
  const std::string content(3'000'000, 'x');
  const std::string zip = ZipBuilder().add("a", content, deflated).bytes();
  EXPECT_TRUE(holds(zip, {file(u"a", u"a")}, ZipReading::contents));
  std::string damaged = zip;
  damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x10);
  EXPECT_FALSE(holds(damaged, {file(u"a", u"a")}, ZipReading::contents));
}

TEST_F(PackageCheckTest, AZipThatIsCutAnywhereHoldsLess) {
  const std::string zip = ZipBuilder().add("a", "content").bytes();
  for (std::size_t length = 0; length < zip.size(); ++length)
    EXPECT_FALSE(holds(zip.substr(0, length), {file(u"a", u"a")}, ZipReading::contents)) << length;
}

TEST_F(PackageCheckTest, TheFolderOfTheRegisterComesWithAFileInItOnTheMainStorage) {
  for (const WideText client : {u"ZELMORA/a", u"zelmora\\sub\\a", u"./ZELMORA/a", u"KD3/a"})
    EXPECT_TRUE(bringsFolder(software({file(u"a", u"x"), file(u"a", client)})));
  for (const WideText client :
       {u"x/ZELMORA/a", u"ZELMORA2/a", u"ZELMORA", u"ZELMORA/updates.xml", u"ZELMORA/updates.xml_tevra_new"})
    EXPECT_FALSE(bringsFolder(software({file(u"a", client)})));
  for (const int flag : {0, 1, 2}) EXPECT_TRUE(bringsFolder(software({file(u"a", u"ZELMORA/a", flag)})));
  for (const int flag : {3, 4, 7, 8}) EXPECT_FALSE(bringsFolder(software({file(u"a", u"ZELMORA/a", flag)})));
  InstallUpdate onCard = software({file(u"a", u"ZELMORA/a")});
  onCard.locationSoftware = false;
  onCard.locationContent = true;
  EXPECT_FALSE(bringsFolder(onCard));
}

TEST_F(PackageCheckTest, TheFolderOfTheRegisterMayComeWithAFileThatReplacesOneOfTheCard) {
  InstallUpdate onCard = software({file(u"a", u"ZELMORA/a")});
  onCard.locationSoftware = false;
  onCard.locationContent = true;
  InstallUpdate replacing = software({file(u"b", u"zelmora\\A", replaceFileIfPresent)});
  EXPECT_TRUE(bringRegisterFolder({&onCard, &replacing}));
  EXPECT_FALSE(bringRegisterFolder({&replacing, &onCard}));
}

TEST_F(PackageCheckTest, TheFolderOfTheRegisterMayComeWithAnXmlEntryOfAnyUpdateThatMakesAFile) {
  InstallUpdate update;
  update.locationContent = true;
  InstallXmlEntry& entry = update.xmlEntries.emplace_back();
  entry.file = u"KD3/settings.xml";
  for (const int flag : {1, 3, 6}) {
    entry.creationFlag = flag;
    EXPECT_TRUE(bringsFolder(update)) << flag;
  }
  for (const int flag : {0, 2, 4, 5, 7}) {
    entry.creationFlag = flag;
    EXPECT_FALSE(bringsFolder(update)) << flag;
  }
  entry.creationFlag = 1;
  for (const WideText place : {u"settings.xml", u"KD3/../settings.xml"}) {
    entry.file = place;
    EXPECT_FALSE(bringsFolder(update));
  }
}

TEST_F(PackageCheckTest, AFileThatReplacesOneOfTheSameJobMustBeInTheZip) {
  writeFile(path(u"p.zip"), ZipBuilder().add("a", "a").bytes());
  InstallUpdate first = software({file(u"a", u"x/A")});
  InstallUpdate second = software({file(u"missing", u"X\\a", replaceFileIfPresent)});
  first.localSource = second.localSource = path(u"p.zip");
  EXPECT_FALSE(zipsHoldFiles({&first, &second}, ZipReading::directory));
  EXPECT_TRUE(zipsHoldFiles({&second, &first}, ZipReading::directory));
  // An XML entry may have made it.
  first.files.clear();
  first.xmlEntries.emplace_back().file = u"x/a";
  EXPECT_TRUE(zipsHoldFiles({&first, &second}, ZipReading::directory));
  first.xmlEntries[0].creationFlag = 1;
  EXPECT_FALSE(zipsHoldFiles({&first, &second}, ZipReading::directory));
}

TEST_F(PackageCheckTest, TheReadingOfContentsStopsAtAnAbort) {
  startLog();
  writeFile(StatusXml::instance().abortFilePath(),
            "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  const std::string zip = ZipBuilder().add("a", std::string(3'000'000, 'x')).bytes();
  EXPECT_TRUE(holds(zip, {file(u"a", u"a")}, ZipReading::directory));
  EXPECT_FALSE(holds(zip, {file(u"a", u"a")}, ZipReading::contents));
  EXPECT_TRUE(*StatusXml::instance().abortRequested());
  EXPECT_FALSE(logHas(u"The zip " + path(u"p.zip") + u" doesn't hold a"));
}

}  // namespace
}  // namespace ZelmoraTevra
