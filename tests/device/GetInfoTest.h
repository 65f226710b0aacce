#pragma once

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>

#include "core/StatusXml.h"
#include "device/GetInfoRunner.h"
#include "device/InstalledMapFiles.h"
#include "platform/Machine.h"
#include "tests/device/DeviceFolderTest.h"

namespace ZelmoraTevra {

// Lists folders in the order of the names, so that documents can be compared.
class SortedFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    const bool listed = target().list(folder, entries, error);
    std::sort(entries.begin(), entries.end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    return listed;
  }
};

// The command on a simulated machine. Its devices have their folders in the test's folder.
class GetInfoTest : public JobTest {
 protected:
  ~GetInfoTest() override { computeMapsInfo = false; }

  // A logical unit of one of the maker's devices; `volume` are the attributes of its volume.
  [[nodiscard]] static std::string unit(const std::string& device, int number, const std::string& volume) {
    const std::string name = device + "&amp;" + std::to_string(number);
    return "<node id=\"USBSTOR\\DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00\\" + name +
           "\"><node id=\"STORAGE\\VOLUME\\_??_USBSTOR#DISK&amp;VEN_ZELMORA&amp;PROD_NAV&amp;REV_1.00#" +
           name + "#\"><volume " + volume + "/></node></node>";
  }
  [[nodiscard]] static std::string device(const std::string& units) {
    return "<node id=\"USB\\VID_1F5A&amp;PID_0001\\A1\">" + units + "</node>";
  }
  [[nodiscard]] static std::string flash(const std::string& more = {}) {
    return unit("A1", 0,
                "letter=\"E\" folder=\"flash\" label=\"NAVFLASH\" serial=\"305419896\" "
                "capacity=\"2000000\"" +
                    more);
  }
  [[nodiscard]] static std::string card(const std::string& more = {}) {
    return unit("A1", 1,
                "letter=\"F\" folder=\"card\" label=\"NAVCARD\" serial=\"4294967295\" "
                "capacity=\"8000000000\"" +
                    more);
  }

  // Starts a machine with these nodes below its root.
  void connect(const std::string& nodes) {
    writeFile(path(u"machine.xml"), "<machine><node id=\"HTREE\\ROOT\\0\">" + nodes + "</node></machine>");
    simulated_ = platform::openSimulatedMachine(path(u"machine.xml"));
    sorted_ = std::make_unique<SortedFileSystem>(*simulated_->machine().files);
    useMachineWith(*sorted_);
  }
  // Puts another file system over that of the machine.
  void useMachineWith(platform::FileSystem& files) {
    platform::Machine machine = simulated_->machine();
    machine.files = &files;
    useMachine(machine);
  }
  [[nodiscard]] platform::FileSystem& machineFiles() { return *sorted_; }

  // A flash with everything that a device may have, and a card with two maps.
  void fillPair() {
    writeFile(path(u"flash/ZELMORA/version.xml"),
              versionDocument(
                  "<software><brand>ZELMORA</brand><platform>NX 50</platform><version>7.1</version>"
                  "<id>HW-3</id><gts>2027-01-01</gts><productid>P-77</productid>"
                  "<IMEI>490154203237518</IMEI><style>blue</style></software>"
                  "<apps><navigation><name>Navigator</name><brand>ZELMORA</brand>"
                  "<version>3</version></navigation><!--old--></apps>"
                  "<content><voice>" +
                  nameElements("ZELMORA", "Anna", "2") + "</voice></content>" +
                  mapElement("ZELMORA", "Alps", "2026.2") + mapElement("ZELMORA", "Iberia", "2026.1.0") +
                  mapElement("ZELMORA", "Nordic", "2025")));
    writeFile(path(u"flash/ZELMORA/updates.xml"),
              registerDocument(updateElement("ZELMORA", "Anna", "2", 1) +
                               updateElement("ZELMORA", "Alps", "2026.2", 1,
                                             {"ZELMORA\\MAP\\alps.MAP", "ZELMORA\\MAP\\alps.idx"}) +
                               updateElement("ZELMORA", "Iberia", "2026.1.0", 0, {"MAP\\iberia.map"})));
    writeFile(path(u"flash/ZELMORA/MAP/alps.MAP"), std::string(1'000, 'a'));
    writeFile(path(u"flash/ZELMORA/MAP/alps.idx"), std::string(50, 'i'));
    writeFile(path(u"flash/ZELMORA/MAP/extra.map"), std::string(70, 'x'));
    writeFile(path(u"flash/ZELMORA/MAP/passed over.Map"), "no");
    writeFile(path(u"flash/ZELMORA/MAP/empty.MAP"), "");
    writeFile(path(u"flash/ZELMORA/MIS.txt"), "M1;<2>&\n");
    makeFolder(path(u"flash/ZELMORA/Tracks"));
    fillCard();
  }
  void fillCard() {
    writeFile(path(u"card/MAP/iberia.map"), std::string(300, 'b'));
    writeFile(path(u"card/MAPS/tour & more.MAP"), std::string(400, 't'));
  }

  // Runs the command; the document that it leaves, with the program's own name and "(test)" for the test's
  // folder.
  [[nodiscard]] std::string answer(const CommandRecord& record = {}) {
    std::filesystem::remove(toUtf8(toForwardSlashes(StatusXml::instance().statusFilePath())));
    GetInfoRunner runner;
    EXPECT_EQ(runner.init(record), 0);
    EXPECT_EQ(runner.run(), 0);
    std::string document = readFile(StatusXml::instance().statusFilePath());
    replaceAll(document, toUtf8(StatusXml::instance().executableBaseName()), "TevraCLI");
    replaceAll(document, toUtf8(folder.path()), "(test)");
    return document;
  }
  [[nodiscard]] std::string answerWithDigests(CommandRecord record = {}) {
    record.computeMapsInfo = true;
    return answer(record);
  }
  [[nodiscard]] static std::string golden(const std::string& name) {
    std::ifstream stream(TEVRA_SOURCE_DIR "/tests/device/golden/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  [[nodiscard]] static CommandRecord folders(const WideText& first, const WideText& second = {}) {
    CommandRecord record;
    record.storageCardDriveLetter = first;
    record.secondDriveLetter = second;
    return record;
  }

 private:
  static void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
      text.replace(at, from.size(), to);
  }

  std::unique_ptr<platform::SimulatedMachine> simulated_;
  std::unique_ptr<SortedFileSystem> sorted_;
};

}  // namespace ZelmoraTevra
