#include <algorithm>

#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

// Packages that want to reach what isn't on the device. "outside" lies beside the storages' folders.
class HostilePackageJobTest : public ProgramTest {
 protected:
  HostilePackageJobTest() {
    job.write("outside/keep.txt", "the user's own");
    job.write("outside/folder/keep.txt", "the user's own too");
    outside = job.tree("outside");
  }

  // A package of a good update and one whose only file has this path on the device, or in the zip.
  [[nodiscard]] CommandPackage packageWith(const std::string& client, int flag,
                                           const std::string& local = "bad") const {
    CommandPackage package;
    ZipBuilder zip;
    zip.add("good", "good content").add(local, "hostile content");
    package.zip = zip.bytes();
    package.url = job.path("p.zip");
    package.description.update("Good", "storage_for_software", 12)
        .file("good", "good.bin", "good content")
        .update("Bad", "storage_for_software", 15)
        .file(local, client, "hostile content", flag);
    job.write("p.zip", package.zip);
    return package;
  }
  [[nodiscard]] bool logHas(const std::string& line) const {
    const std::vector<std::string> lines = job.logLines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  // The second update fails with this code in the log; the first one stays known.
  void expectFailedSecondUpdate(const JobResult& result, const std::string& exitCode) const {
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(),
              errorDocument(1102, "Failed to open updates.xml file. Update was not serialized!"));
    EXPECT_TRUE(logHas("exitCode: " + exitCode));
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), goodRegister);
    EXPECT_EQ(job.read("flash/good.bin"), "good content");
    EXPECT_EQ(job.tree("outside"), outside);
    expectEmptyWorkFolder();
  }

  Tree outside;
  const std::string goodRegister = InstallDescription::registerOf(
      {InstallDescription::registerEntry("Good", "storage_for_software", {"good.bin"})});
};

TEST_F(HostilePackageJobTest, AFileForAPlaceOutsideTheDeviceIsRefused) {
  for (const std::string& client :
       {std::string("../outside/keep.txt"), std::string("..\\outside\\keep.txt"),
        std::string("good/../../outside/new.txt"), job.path("outside/new.txt"), std::string("C:/new.txt"),
        std::string("F:/new.txt"), std::string("F:new.txt"), std::string("\\\\server\\share\\new.txt")}) {
    SCOPED_TRACE(client);
    expectFailedSecondUpdate(job.run(installCommand(packageWith(client, 0), true)), "1113");
    EXPECT_TRUE(job.tree("card").empty());
    EXPECT_FALSE(job.exists("new.txt"));
    std::filesystem::remove(job.path("log.xml"));
  }
}

TEST_F(HostilePackageJobTest, ALinkOnTheDeviceIsNotFollowed) {
  std::filesystem::create_directory_symlink(job.path("outside"), job.path("flash/link"));
  std::filesystem::create_symlink(job.path("outside/keep.txt"), job.path("flash/keep.bin"));
  for (const char* client : {"link/keep.txt", "link/new.txt", "LINK/../link/keep.txt", "keep.bin"}) {
    SCOPED_TRACE(client);
    expectFailedSecondUpdate(job.run(installCommand(packageWith(client, 0), true)), "1113");
    std::filesystem::remove(job.path("log.xml"));
  }
}

TEST_F(HostilePackageJobTest, NothingOutsideTheDeviceIsDeleted) {
  std::filesystem::create_directory_symlink(job.path("outside"), job.path("flash/link"));
  std::filesystem::create_directories(job.path("outside/empty"));
  outside = job.tree("outside");
  CommandPackage package = packageWith("good2.bin", 0);
  package.description.update("Hostile", "storage_for_software", 0);
  for (const char* client : {"../outside/keep.txt", "../outside/empty", "../outside", "link/keep.txt",
                             "link/empty", "link/folder", "link", "..", ".", "/", "E:/../outside"}) {
    for (const int flag : {3, 4, 7, 8}) package.description.file("bad", client, "hostile content", flag);
  }
  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(job.tree("outside"), outside);
  EXPECT_EQ(job.read("flash/good.bin"), "good content");
  EXPECT_TRUE(job.exists("flash/ZELMORA/updates.xml"));
  EXPECT_TRUE(job.exists("flash/link"));
}

TEST_F(HostilePackageJobTest, ARegisterThatIsALinkIsNotFollowed) {
  job.write("outside/updates.xml", InstallDescription::registerOf({}));
  outside = job.tree("outside");
  std::filesystem::create_symlink(job.path("outside/updates.xml"), job.path("flash/ZELMORA/updates.xml"));
  const JobResult result = job.run(installCommand(localSpringPackage(), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1101, "Finding a valid updates.xml file on the device failed!"));
  EXPECT_EQ(job.tree("outside"), outside);
}

TEST_F(HostilePackageJobTest, AnEntryThatLeavesTheArchiveIsRefused) {
  for (const char* local : {"../outside/keep.txt", "/etc/passwd", "C:\\boot.ini", "a/../../b"}) {
    SCOPED_TRACE(local);
    expectFailedSecondUpdate(job.run(installCommand(packageWith("bad.bin", 0, local), true)), "1113");
    EXPECT_FALSE(job.exists("flash/bad.bin"));
    std::filesystem::remove(job.path("log.xml"));
  }
}

TEST_F(HostilePackageJobTest, AnEntryThatIsALinkIsPlacedAsAFile) {
  CommandPackage package = packageWith("bad.bin", 0);
  ZipBuilder::Options link;
  link.unixMode = 0120777;
  ZipBuilder zip;
  zip.add("good", "good content").add("bad", "../outside/keep.txt", link);
  package.zip = zip.bytes();
  job.write("p.zip", package.zip);
  EXPECT_EQ(job.run(installCommand(package, true)).exitValue, 0);
  EXPECT_EQ(job.tree("flash").at("bad.bin"), md5Of("../outside/keep.txt"));
  EXPECT_EQ(job.tree("outside"), outside);
}

TEST_F(HostilePackageJobTest, AnEntryThatIsDamagedEndsTheJob) {
  CommandPackage package = packageWith("bad.bin", 0);
  const std::size_t content = package.zip.find("hostile content");
  package.zip[content] ^= 1;
  job.write("p.zip", package.zip);
  expectFailedSecondUpdate(job.run(installCommand(package, true)), "1126");
  EXPECT_FALSE(job.exists("flash/bad.bin"));
}

TEST_F(HostilePackageJobTest, AnEntryWhoseSizesLieEndsTheJob) {
  for (const std::uint32_t size : {0U, 3U, 0x7fffffffU, 0xfffffffeU}) {
    SCOPED_TRACE(size);
    CommandPackage package = packageWith("bad.bin", 0);
    ZipBuilder::Options lie;
    lie.size = size;
    lie.packedSize = size;
    ZipBuilder zip;
    zip.add("good", "good content").add("bad", "hostile content", lie);
    package.zip = zip.bytes();
    job.write("p.zip", package.zip);
    const JobResult result = job.run(installCommand(package, true));
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.last.exitCode(), u"1102");
    EXPECT_FALSE(job.exists("flash/bad.bin"));
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), goodRegister);
  }
}

TEST_F(HostilePackageJobTest, AnEntryThatIsMissingEndsTheJob) {
  CommandPackage package = packageWith("bad.bin", 0);
  package.zip = ZipBuilder().add("good", "good content").bytes();
  job.write("p.zip", package.zip);
  expectFailedSecondUpdate(job.run(installCommand(package, true)), "1123");
}

TEST_F(HostilePackageJobTest, AFileThatIsNoZipEndsTheJobBehindAGoodPackage) {
  const CommandPackage good = localPackage("good.zip", "Good", "good.bin", "good content");
  CommandPackage bad = localPackage("bad.zip", "Bad", "bad.bin", "content");
  job.write("bad.zip", "no zip at all");
  expectFailedSecondUpdate(
      job.run(CommandDocument::installPackage().localInstall().package(good).package(bad).text()), "1119");
}

TEST_F(HostilePackageJobTest, AZipThatIsCutAtAnyPlaceIsNoDanger) {
  const CommandPackage package = packageWith("bad.bin", 0);
  for (std::size_t length = 0; length < package.zip.size(); length += 37) {
    SCOPED_TRACE(length);
    job.write("p.zip", package.zip.substr(0, length));
    const JobResult result = job.run(installCommand(package, true));
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.last.exitCode(), u"1102");
  }
}

TEST_F(HostilePackageJobTest, ADamagedRegisterIsKeptAside) {
  job.write("flash/ZELMORA/updates.xml", "<updates><update>cut");
  const JobResult result =
      job.run(installCommand(localPackage("good.zip", "Good", "good.bin", "good content"), true));
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), goodRegister);
  const Tree tree = job.tree("flash/ZELMORA");
  EXPECT_TRUE(std::any_of(tree.begin(), tree.end(),
                          [](const auto& entry) { return entry.second == md5Of("<updates><update>cut"); }));
}

}  // namespace
}  // namespace ZelmoraTevra
