#include <tinyxml.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

#include "core/StatusXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/InstallPackageRunner.h"
#include "install/InstallXml.h"
#include "install/UninstallPackageRunner.h"
#include "install/UpdatesXml.h"
#include "tests/support/JobTest.h"
#include "tests/support/UnsyncedFileSystem.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int number(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(engine_); }
  bool oneIn(int count) { return number(1, count) == 1; }
  template <typename Value>
  Value oneOf(const std::vector<Value>& values) {
    return values[static_cast<std::size_t>(number(0, static_cast<int>(values.size()) - 1))];
  }
  template <typename Value>
  void shuffle(std::vector<Value>& values) {
    std::shuffle(values.begin(), values.end(), engine_);
  }

 private:
  std::mt19937 engine_;
};

// What is compared before and after: the content of all files but the register, and what the register holds.
struct DeviceState {
  std::map<std::string, std::string> files;
  std::vector<std::string> updates;
  friend bool operator==(const DeviceState&, const DeviceState&) = default;
};

// What an installation brings and an uninstallation takes away leaves a device as it was, but for folders.
class UninstallRoundTripTest : public JobTest {
 protected:
  UninstallRoundTripTest() : unsynced(files()) { useFileSystem(unsynced); }

  void makeDevice(Random& random) {
    for (const char* name : {"flash", "card"}) {
      std::filesystem::remove_all(folder.native() / name);
      makeFolder(path(toWide(name)));
    }
    makeFolder(flash + (random.oneIn(3) ? u"/KD3" : u"/ZELMORA"));
    for (const WideText name : {u"maps/old.map", u"apps/old.bin", u"user.txt", u"maps/sub/deep.map"})
      for (const WideText& root : {flash, card})
        if (random.oneIn(2)) writeFile(root + u'/' + name, toUtf8(root + name));
    for (const WideText& file : {versionXml, settingsXml}) {
      writeFile(flash + u'/' + file, randomVersionFile(random));
      printOnce(flash + u'/' + file);
    }

    ClientUpdatesXmlFile file(flash, true);
    UpdatesXml updates(&file);
    for (int number = random.number(0, 3); number > 0; --number) {
      Update update;
      update.info.company = u"Z";
      update.info.name = u"Old " + numberText(number);
      update.info.version = u"1";
      update.info.installLocation = u"storage_for_software";
      update.files.push_back({u"old/" + numberText(number), 0});
      writeFile(flash + u"/old/" + numberText(number), "old");
      updates.addUpdate(update);
    }
    EXPECT_TRUE(updates.save());
  }

  // With elements of all names that entries look for, some of them without what their conditions name.
  static std::string randomVersionFile(Random& random) {
    std::string text = random.oneIn(2) ? "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>" : "";
    text += "<config lang=\"en\">";
    if (random.oneIn(2)) text += "<software><brand>Z</brand></software>";
    text += "<maps>";
    for (int number = random.number(0, 4); number > 0; --number)
      text +=
          random.oneOf<std::string>({"<map><name>old</name></map>", "<map/>", "<!-- note --><map>old</map>",
                                     "<map><info><name>old</name></info></map>", "<map><name/></map>",
                                     "<map id=\"1\"><name><![CDATA[old]]></name><size>1</size></map>",
                                     "<other><name>old</name></other>"});
    text += "</maps>";
    for (int number = random.number(0, 3); number > 0; --number)
      text += random.oneOf<std::string>(
          {"<skin>old</skin>", "<skin/>", "<!-- note -->", "<language>en</language>"});
    return text + "</config>";
  }
  // Afterwards the file is as it is each time when it has been written.
  static void printOnce(const WideText& path) {
    TiXmlDocument document;
    ASSERT_TRUE(loadXml(path, document));
    ASSERT_TRUE(saveXml(document, path));
  }

  // An entry that adds an element which wasn't there, or finds the one that another entry has added.
  static std::string addingEntry(Random& random) {
    const std::string value = "new" + std::to_string(random.number(0, 5));
    const auto entry = [&](const std::string& base, const std::string& condition, const std::string& alters) {
      return "<xmlentry><file>" +
             random.oneOf<std::string>({"config/software/version.xml", "config\\software\\version.xml",
                                        "config/settings.xml", "config/settings.xml"}) +
             "</file><key creationflag=\"3\"><base>" + base + "</base><condition>" + condition +
             "</condition>" + alters + "</key></xmlentry>";
    };
    switch (random.number(0, 3)) {
      case 0:
        return entry("config/maps/map", "name/" + value,
                     "<alter>name/" + value + "</alter><alter>size/7</alter><alter>info/date/1</alter>");
      case 1:
        return entry("config/maps/map", "info/name/" + value, "<alter>info/name/" + value + "</alter>");
      case 2:
        return entry("config/maps/map", value, "<alter>" + value + "</alter>");
      default:
        return entry("config", "skin/" + value, "<alter>skin/" + value + "</alter>");
    }
  }
  // One that finds nothing and changes nothing.
  static std::string idleEntry(Random& random) {
    return "<xmlentry><file>config/settings.xml</file><key creationflag=\"" +
           std::to_string(random.oneOf<int>({0, 2, 4, 6, 9})) +
           "\"><base>config/maps/map</base><condition>name/nobody</condition><alter>name/x</alter></key>"
           "</xmlentry>";
  }

  // The text of an update that places files where none are. A file may also be deleted or replaced that isn't
  // there, and a folder removed.
  static std::string randomUpdate(Random& random, const std::string& name, ZipBuilder& zip, bool withXml) {
    std::string text =
        "<update update_size=\"10\" install_location=\"" +
        random.oneOf<std::string>({"storage_for_software", "storage_for_content", "anywhere"}) +
        "\"><company>Z</company><name>" + name + "</name><version>" + std::to_string(random.number(1, 9)) +
        "</version><update>" + std::to_string(random.number(0, 1)) + "</update><uninstall>1</uninstall>";
    for (int number = random.number(withXml ? 0 : 1, 4); number > 0; --number) {
      const std::string local = name + "_" + std::to_string(number);
      const int flag = random.oneOf<int>({0, 0, 0, 1, 2, 3, 4, 7});
      const std::string folder =
          random.oneOf<std::string>({"", "maps/", "maps\\", "new/", "new/folder\\", "MAPS/"});
      zip.add(local, "content of " + local);
      text += "<file file_size=\"20\"><local>" + local + "</local><client updateflag=\"" +
              std::to_string(flag) + "\">" + folder + local + "</client></file>";
    }
    if (withXml)
      for (int number = random.number(1, 5); number > 0; --number)
        text += random.oneIn(5) ? idleEntry(random) : addingEntry(random);
    return text + "</update>";
  }

  [[nodiscard]] int install(Random& random, bool withCard, bool withXml) {
    ZipBuilder zip;
    std::string text = "<install version=\"1\">";
    const int count = random.number(1, 4);
    for (int number = 0; number < count; ++number)
      text += randomUpdate(random, "New" + std::to_string(number), zip, withXml);
    zip.add("nothing", "");
    return install(text + "</install>", zip, withCard);
  }
  [[nodiscard]] int install(const std::string& description, const ZipBuilder& zip, bool withCard) {
    writeFile(path(u"package.zip"), zip.bytes());

    CommandRecord command;
    command.commandName = u"INSTALL_PACKAGE";
    command.storageCardDriveLetter = flash;
    if (withCard) command.secondDriveLetter = card;
    command.localInstall = true;
    ContentEntry& package = command.packages.emplace_back();
    package.url = path(u"package.zip");
    package.installXml = std::make_shared<InstallXml>();
    EXPECT_EQ(package.installXml->load(toWide(description)), 0);
    InstallPackageRunner runner;
    return runner.init(command) == 0 ? runner.run() : -1;
  }

  // All updates that came with the package and stand in the register, in any order, in one command or each in
  // one of its own.
  void uninstallNewOnes(Random& random, bool withCard) {
    std::vector<Update> updates = registered();
    std::erase_if(updates, [](const Update& update) { return !update.info.name.starts_with(u"New"); });
    random.shuffle(updates);
    CommandRecord command;
    command.commandName = u"UNINSTALL_PACKAGE";
    command.storageCardDriveLetter = flash;
    if (withCard) command.secondDriveLetter = card;
    const bool atOnce = random.oneIn(2);
    for (const Update& update : updates) {
      if (!atOnce) command.uninstallEntries.clear();
      command.uninstallEntries.push_back({update.info.company, update.info.name, update.info.version});
      if (!atOnce) uninstall(command);
    }
    if (atOnce) uninstall(command);
    uninstalled += updates.size();
  }
  void uninstall(const CommandRecord& command) {
    UninstallPackageRunner runner;
    EXPECT_EQ(runner.init(command), 0);
    EXPECT_EQ(runner.run(), 0) << status().document;
  }

  [[nodiscard]] std::vector<Update> registered() {
    ClientUpdatesXmlFile file(flash, false);
    return UpdatesXml(&file).getUpdates();
  }
  [[nodiscard]] DeviceState state() {
    DeviceState found;
    for (const WideText& root : {flash, card})
      for (const std::string& name : tree(root))
        if (!name.ends_with('/') && !name.ends_with("updates.xml"))
          found.files[toUtf8(lastComponent(root)) + "/" + name] = readFile(root + u'/' + toWide(name));
    for (const Update& update : registered()) {
      std::string text = toUtf8(update.info.name + u" " + update.info.version);
      for (const UpdateFile& file : update.files) text += " " + toUtf8(file.client);
      for (const UpdateXmlEntry& entry : update.xmlEntries)
        text += " " + toUtf8(entry.base + entry.condition);
      found.updates.push_back(text);
    }
    return found;
  }

  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
  const WideText versionXml = u"config/software/version.xml";
  const WideText settingsXml = u"config/settings.xml";
  UnsyncedFileSystem unsynced;
  std::size_t uninstalled = 0;
};

TEST_F(UninstallRoundTripTest, RandomPackagesOfFilesLeaveTheDeviceAsItWas) {
  for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    makeDevice(random);
    const bool withCard = !random.oneIn(4);
    const DeviceState before = state();
    ASSERT_EQ(install(random, withCard, false), 0) << status().document;
    uninstallNewOnes(random, withCard);
    EXPECT_EQ(state(), before);
  }
  EXPECT_GT(uninstalled, 50U);
}

TEST_F(UninstallRoundTripTest, RandomPackagesOfFilesAndElementsLeaveTheDeviceAsItWas) {
  std::size_t changed = 0;
  for (unsigned seed = 1; seed <= 150 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    makeDevice(random);
    const bool withCard = !random.oneIn(4);
    const DeviceState before = state();
    const int result = install(random, withCard, true);
    ASSERT_EQ(result, 0) << status().document;
    const std::map<std::string, std::string> installed = state().files;
    for (const char* file : {"flash/config/software/version.xml", "flash/config/settings.xml"})
      if (installed.at(file) != before.files.at(file)) ++changed;
    uninstallNewOnes(random, withCard);
    EXPECT_EQ(state(), before);
  }
  EXPECT_GT(uninstalled, 100U);
  EXPECT_GT(changed, 100U);
}

// Elements below the maps of a version file, put there as a package's entries say, beside those that are
// there.
TEST_F(UninstallRoundTripTest, RandomElementsLeaveTheVersionFileAsItWas) {
  for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    makeDevice(random);
    const WideText versionPath = flash + u"/config/software/version.xml";
    TiXmlDocument document;
    ASSERT_TRUE(loadXml(versionPath, document));
    TiXmlElement& root = *document.RootElement();
    if (root.FirstChildElement("maps") == nullptr) addElement(root, "maps");
    ASSERT_TRUE(saveXml(document, versionPath));
    const DeviceState before = state();

    {
      ClientUpdatesXmlFile file(flash, true);
      UpdatesXml updates(&file);
      for (int number = random.number(1, 4); number > 0; --number) {
        Update update;
        update.info.company = u"Z";
        update.info.name = u"New" + numberText(number);
        update.info.version = u"1";
        update.info.installLocation =
            random.oneOf<WideText>({u"storage_for_software", u"storage_for_content"});
        for (int entry = random.number(0, 3); entry > 0; --entry) {
          const WideText value = u"new" + numberText(number) + u"-" + numberText(random.number(0, 2));
          const bool nested = random.oneIn(2);
          TiXmlElement& map = addElement(*root.FirstChildElement("maps"), "map");
          addElement(nested ? addElement(map, "info") : map, "name", value);
          addElement(map, "size", u"7");
          update.xmlEntries.push_back({u"config/software/version.xml", random.oneOf<int>({0, 3, 4}),
                                       u"config/maps/map", (nested ? u"info/name/" : u"name/") + value});
        }
        updates.addUpdate(update);
      }
      ASSERT_TRUE(updates.save());
      ASSERT_TRUE(saveXml(document, versionPath));
    }
    uninstallNewOnes(random, true);
    EXPECT_EQ(state(), before);
  }
  EXPECT_GT(uninstalled, 50U);
}

// A device with one XML file, and a package of XML entries for it alone.
class ChangedElementsTest : public UninstallRoundTripTest {
 protected:
  void installEntries(const std::string& entries) {
    const std::string description =
        "<install version=\"1\"><update update_size=\"10\" install_location=\"storage_for_software\">"
        "<company>Z</company><name>New</name><version>1</version><update>0</update><uninstall>1</uninstall>"
        "<file file_size=\"1\"><local>a</local><client updateflag=\"0\">a</client></file>" +
        entries + "</update></install>";
    makeFolder(flash + u"/ZELMORA");
    ASSERT_EQ(install(description, ZipBuilder().add("a", "a"), false), 0) << status().document;
  }
  static std::string entry(int creationFlag, const std::string& base, const std::string& condition,
                           const std::string& alter) {
    return "<xmlentry><file>config/settings.xml</file><key creationflag=\"" + std::to_string(creationFlag) +
           "\"><base>" + base + "</base><condition>" + condition + "</condition><alter>" + alter +
           "</alter></key></xmlentry>";
  }
  void uninstallIt() {
    CommandRecord command;
    command.commandName = u"UNINSTALL_PACKAGE";
    command.storageCardDriveLetter = flash;
    command.uninstallEntries.push_back({u"Z", u"New", u"1"});
    uninstall(command);
    EXPECT_TRUE(registered().empty());
  }
  // Without the blanks of the layout.
  [[nodiscard]] std::string settings() const {
    std::string text = readFile(flash + u'/' + settingsXml);
    std::erase(text, '\n');
    std::erase(text, ' ');
    return text;
  }
};

TEST_F(ChangedElementsTest, WhatWasAppendedOrSetStaysWhenTheUpdateGoes) {
  writeFile(flash + u'/' + settingsXml, "<config><language>en</language></config>");
  installEntries(entry(1, "config/maps", "map", "name/new") + entry(5, "config/language", "de", ""));
  const std::string installed =
      "<config><language>de</language><maps><map><name>new</name></map></maps></config>";
  EXPECT_EQ(settings(), installed);
  uninstallIt();
  EXPECT_EQ(settings(), installed);
  EXPECT_FALSE(fileExists(flash + u"/a"));
}

TEST_F(ChangedElementsTest, AnElementThatWasThereAndWasOnlyChangedGoesWithTheUpdate) {
  for (const int creationFlag : {0, 3, 4}) {
    SCOPED_TRACE(creationFlag);
    writeFile(flash + u'/' + settingsXml,
              "<config><map><name>old</name><size>1</size></map><map><name>other</name></map></config>");
    installEntries(entry(creationFlag, "config/map", "name/old", "size/2"));
    EXPECT_EQ(settings(),
              "<config><map><name>old</name><size>2</size></map><map><name>other</name></map></config>");
    uninstallIt();
    EXPECT_EQ(settings(), "<config><map><name>other</name></map></config>");
  }
}

}  // namespace
}  // namespace ZelmoraTevra
