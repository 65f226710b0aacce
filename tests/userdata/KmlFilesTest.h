#pragma once

#include "tests/userdata/UserDataTest.h"

namespace ZelmoraTevra {

// Commands for tracks on a device of two storages.
class KmlFilesTest : public UserDataTest {
 protected:
  [[nodiscard]] static CommandRecord command(const WideText& name) {
    CommandRecord command;
    command.commandName = name;
    command.storageCardDriveLetter = u"E:";
    command.secondDriveLetter = u"F:";
    return command;
  }
  [[nodiscard]] WideText flashTrack(const WideText& name) const {
    return path(u"flash/ZELMORA/Tracks/" + name);
  }
  [[nodiscard]] WideText cardTrack(const WideText& name) const {
    return path(u"card/ZELMORA/Tracks/" + name);
  }

  // What the main storage does that ends every one of the commands.
  void expectDeviceTestFirst(CommandRecord record) {
    record.storageCardDriveLetter = u"G:";
    EXPECT_EQ(run(record), -1);
    expectError(u"1233", {u"Device disconnected error!"});
    record.storageCardDriveLetter = u"E:";
    flashReadOnly = true;
    setCapacities(100'000'000, 100'000'000);
    EXPECT_EQ(run(record), -1);
    expectError(u"1233", {u"Device disconnected error!"});
  }

  // Names that are no name of a file in the folder of tracks, though each could lead to one.
  const std::vector<WideText> namesThatLeave{
      u"../a.kml", u"..\\a.kml", u"sub/a.kml", u"sub\\a.kml",   u"./a.kml",
      u"..",       u".",         u"a.kml/",    u"E:a.kml",      u"E:\\a.kml",
      u"/a.kml",   u"\\a.kml",   u". ",        u"sub/../a.kml", path(u"outside/a.kml")};
};

}  // namespace ZelmoraTevra
