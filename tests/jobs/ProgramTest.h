#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/CommandDocument.h"
#include "tests/support/JobProcess.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {

// Tests of the real program with a device of two storages, and a package for both of them.
class ProgramTest : public ::testing::Test {
 protected:
  // An application for the flash drive and two maps for the card, under this URL.
  [[nodiscard]] CommandPackage springPackage(const std::string& url) const {
    CommandPackage package;
    ZipBuilder zip;
    zip.add("apps/navigator.bin", navigator);
    zip.add("maps/alps.dat", alps);
    zip.add("maps/iberia.dat", iberia);
    package.zip = zip.bytes();
    package.url = url;
    package.name = "Spring package";
    package.description.update("Navigator", "storage_for_software", 40'000)
        .file("apps/navigator.bin", "apps/navigator.bin", navigator)
        .update("Maps", "storage_for_content", 600'000)
        .file("maps/alps.dat", "content/maps/alps.dat", alps)
        .file("maps/iberia.dat", "content/maps/iberia.dat", iberia);
    return package;
  }
  // The same as a zip on the user's disk.
  [[nodiscard]] CommandPackage localSpringPackage() const {
    CommandPackage package = springPackage(job.path("spring.zip"));
    job.write("spring.zip", package.zip);
    return package;
  }
  // A package of one update for the flash drive; its zip is written to the user's disk.
  [[nodiscard]] CommandPackage localPackage(const std::string& zipName, const std::string& updateName,
                                            const std::string& client, const std::string& content) const {
    CommandPackage package;
    ZipBuilder zip;
    zip.add("a", content);
    package.zip = zip.bytes();
    package.url = job.path(zipName);
    package.description.update(updateName, "storage_for_software", static_cast<std::int64_t>(content.size()))
        .file("a", client, content);
    job.write(zipName, package.zip);
    return package;
  }
  [[nodiscard]] static std::string installCommand(const CommandPackage& package, bool local) {
    return CommandDocument::installPackage().localInstall(local).package(package).text();
  }

  // What is there when the package was installed.
  void expectSpringInstalled() const {
    EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"},
                                       {"ZELMORA/updates.xml", md5Of(springRegister)},
                                       {"apps", "folder"},
                                       {"apps/navigator.bin", md5Of(navigator)}}));
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), springRegister);
    EXPECT_EQ(job.tree("card"), (Tree{{"content", "folder"},
                                      {"content/maps", "folder"},
                                      {"content/maps/alps.dat", md5Of(alps)},
                                      {"content/maps/iberia.dat", md5Of(iberia)}}));
  }
  void expectEmptyWorkFolder() const {
    EXPECT_EQ(job.tree("temp"), (Tree{{"ZELMORATevra_tmp", "folder"}}));
    EXPECT_TRUE(job.tree("backups").empty());
  }
  // A report with percent 100 and a message, as most are.
  [[nodiscard]] static std::string errorDocument(int exitCode, const std::string& message,
                                                 std::map<std::string, std::string> attributes = {}) {
    attributes["exitCode"] = std::to_string(exitCode);
    return terminalDocument(7, {"100", message}, attributes);
  }

  const std::string navigator = noise(40'000, 1);
  const std::string alps = noise(300'000, 2);
  const std::string iberia = noise(300'000, 3);
  const std::string springRegister = InstallDescription::registerOf(
      {InstallDescription::registerEntry("Navigator", "storage_for_software", {"apps/navigator.bin"}),
       InstallDescription::registerEntry("Maps", "storage_for_content",
                                         {"content/maps/alps.dat", "content/maps/iberia.dat"})});
  const std::string success = terminalDocument(9, {}, {{"exitCode", "1010"}});
  JobProcess job{TEVRA_PROGRAM};
};

// The server or the right to use its port is missing on this computer.
#define SKIP_WITHOUT(server) \
  if (!(server)) GTEST_SKIP() << #server " can't be started here"

}  // namespace ZelmoraTevra
