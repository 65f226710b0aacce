#include "tests/device/GetInfoTest.h"

namespace ZelmoraTevra {
namespace {

// Whole responses, compared byte for byte with the documents in tests/device/golden/.
class GoldenResponseTest : public GetInfoTest {};

TEST_F(GoldenResponseTest, NoDrive) {
  connect("");
  EXPECT_EQ(answer(), golden("no-drive.xml"));
}

TEST_F(GoldenResponseTest, APair) {
  fillPair();
  connect(device(flash() + card()));
  EXPECT_EQ(answer(), golden("pair.xml"));
}

TEST_F(GoldenResponseTest, APairWithDigests) {
  fillPair();
  connect(device(flash() + card()));
  EXPECT_EQ(answerWithDigests(), golden("pair-with-digests.xml"));
}

TEST_F(GoldenResponseTest, ALoneDrive) {
  fillPair();
  connect(device(flash()));
  EXPECT_EQ(answer(), golden("lone-drive.xml"));
}

TEST_F(GoldenResponseTest, ALoneDriveWithDigests) {
  fillPair();
  connect(device(flash()));
  EXPECT_EQ(answerWithDigests(), golden("lone-drive-with-digests.xml"));
}

TEST_F(GoldenResponseTest, AWriteProtectedCard) {
  fillPair();
  connect(device(flash() + card(" readOnly=\"true\"")));
  EXPECT_EQ(answer(), golden("write-protected-card.xml"));
}

TEST_F(GoldenResponseTest, ACardAlone) {
  fillCard();
  connect(device(card()));
  EXPECT_EQ(answer(), golden("card-alone.xml"));
}

TEST_F(GoldenResponseTest, TwoDevicesAndAStick) {
  fillPair();
  writeFile(path(u"flash2/KD3/version.xml"), versionDocument(identityElement("kd3", "ZELMORA", "KD 3", "2")));
  writeFile(path(u"flash2/MAPS/europe.MAP"), "map");
  makeFolder(path(u"card2"));
  writeFile(path(u"stick/letter.txt"), "Dear...");
  connect(
      device(flash() + card()) +
      device(unit("B2", 0, "letter=\"C\" folder=\"flash2\" label=\"OLD\" serial=\"7\" capacity=\"1000\"") +
             unit("B2", 1, "letter=\"G\" folder=\"card2\" capacity=\"500\"")) +
      "<node id=\"USB\\OTHER\"><node id=\"USBSTOR\\DISK\"><volume letter=\"D\" folder=\"stick\" "
      "label=\"STICK\" capacity=\"100\"/></node></node>");
  EXPECT_EQ(answer(), golden("two-devices-and-a-stick.xml"));
}

TEST_F(GoldenResponseTest, OneFolder) {
  fillPair();
  connect(device(flash() + card()));
  EXPECT_EQ(answer(folders(path(u"flash"))), golden("folder.xml"));
}

TEST_F(GoldenResponseTest, OneFolderWithDigests) {
  fillPair();
  connect(device(flash() + card()));
  EXPECT_EQ(answerWithDigests(folders(path(u"flash"))), golden("folder-with-digests.xml"));
}

TEST_F(GoldenResponseTest, TwoFolders) {
  fillPair();
  connect(device(flash() + card()));
  EXPECT_EQ(answer(folders(path(u"flash"), path(u"card"))), golden("folders.xml"));
}

TEST_F(GoldenResponseTest, TwoFoldersWithDigests) {
  fillPair();
  connect(device(flash() + card()));
  EXPECT_EQ(answerWithDigests(folders(path(u"flash"), path(u"card"))), golden("folders-with-digests.xml"));
}

TEST_F(GoldenResponseTest, TheSecondFolderAlone) {
  fillPair();
  connect(device(flash() + card()));
  EXPECT_EQ(answer(folders(path(u"missing"), path(u"card"))), golden("second-folder-alone.xml"));
}

}  // namespace
}  // namespace ZelmoraTevra
