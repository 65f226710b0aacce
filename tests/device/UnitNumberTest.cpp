#include <gtest/gtest.h>

#include "device/UnitNumber.h"

namespace ZelmoraTevra {

namespace {

void expectUnit(WideView id, bool windows7Mode, bool found, int type) {
  const UnitNumber unit = unitNumberOf(id, windows7Mode);
  EXPECT_EQ(unit.found, found) << toUtf8(id);
  EXPECT_EQ(unit.type, type) << toUtf8(id);
}

TEST(UnitNumberTest, anIdWithoutTheMakersNameIsNone) {
  for (const bool mode : {false, true}) {
    expectUnit(u"", mode, false, -1);
    expectUnit(u"USBSTOR\\DISK&VEN_OTHER\\A&0", mode, false, -1);
    expectUnit(u"USBSTOR\\DISK&VEN_zelmora\\A&0", mode, false, -1);
    expectUnit(u"USBSTOR\\DISK&VEN_ZELMOR\\A&0#", mode, false, -1);
  }
}

TEST(UnitNumberTest, theMakersNameAtTheStartOfTheIdIsNotRecognised) {
  for (const bool mode : {false, true}) {
    expectUnit(u"ZELMORA&0", mode, false, -1);
    expectUnit(u"ZELMORA\\ZELMORA&0#&0", mode, false, -1);
    expectUnit(u"\\ZELMORA&0#&0", mode, true, 0);
  }
}

TEST(UnitNumberTest, anIdThatEndsInZeroOrAnAmpersandIsUnitZero) {
  expectUnit(u"USBSTOR\\ZELMORA\\A1&0", false, true, 0);
  expectUnit(u"USBSTOR\\ZELMORA\\A10", false, true, 0);
  expectUnit(u"USBSTOR\\ZELMORA\\A1&", false, true, 0);
}

TEST(UnitNumberTest, anIdThatEndsInOneIsUnitOne) {
  expectUnit(u"USBSTOR\\ZELMORA\\A1&1", false, true, 1);
  expectUnit(u"USBSTOR\\ZELMORA\\A0&11", false, true, 1);
  expectUnit(u"USBSTOR\\ZELMORA&0\\1", false, true, 1);
}

TEST(UnitNumberTest, anIdThatEndsInAnythingElseDoesNotTellItsUnit) {
  expectUnit(u"USBSTOR\\ZELMORA", false, true, -1);
  expectUnit(u"USBSTOR\\ZELMORA&0#", false, true, -1);
  expectUnit(u"USBSTOR\\ZELMORA&1\\2", false, true, -1);
}

TEST(UnitNumberTest, onWindows7TheUnitStandsAnywhereBehindTheMakersName) {
  expectUnit(u"_??_USBSTOR#DISK&VEN_ZELMORA&REV_1#A&0#{5}", true, true, 0);
  expectUnit(u"_??_USBSTOR#DISK&VEN_ZELMORA&REV_1#A&1#{5}", true, true, 1);
  expectUnit(u"\\ZELMORA&0#", true, true, 0);
  expectUnit(u"\\ZELMORA&1#", true, true, 1);
}

TEST(UnitNumberTest, onWindows7TheUnitInFrontOfTheMakersNameDoesNotCount) {
  expectUnit(u"A&0#ZELMORA", true, true, -1);
  expectUnit(u"A&0#ZELMORA&1#", true, true, 1);
}

TEST(UnitNumberTest, onWindows7UnitZeroIsLookedForFirst) {
  expectUnit(u"\\ZELMORA&1#&0#", true, true, 0);
}

TEST(UnitNumberTest, onWindows7TheEndOfTheIdDoesNotTellTheUnit) {
  expectUnit(u"USBSTOR\\ZELMORA\\A1&0", true, true, -1);
  expectUnit(u"USBSTOR\\ZELMORA\\A1&1", true, true, -1);
}

TEST(UnitNumberTest, idsThatDifferInTheUnitAloneAreThoseOfOneDevice) {
  EXPECT_TRUE(areUnitsOfOneDevice(u"X&REV_1.0#A1&0#{5}", u"X&REV_1.0#A1&1#{5}"));
  EXPECT_TRUE(areUnitsOfOneDevice(u"&REV_&0#", u"&REV_&1#"));
}

TEST(UnitNumberTest, whatStandsInFrontOfTheRevisionIsNotCompared) {
  EXPECT_TRUE(areUnitsOfOneDevice(u"DISK&REV_1.0#A1&0#", u"CD&PROD_LONGER&REV_1.0#A1&1#"));
}

TEST(UnitNumberTest, whatStandsBehindTheUnitIsNotCompared) {
  EXPECT_TRUE(areUnitsOfOneDevice(u"&REV_1#A&0#x", u"&REV_1#A&1#yz"));
}

TEST(UnitNumberTest, equalIdsAreNotThoseOfTwoUnits) {
  EXPECT_FALSE(areUnitsOfOneDevice(u"X&REV_1.0#A1&0#{5}", u"X&REV_1.0#A1&0#{5}"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_1#A&", u"&REV_1#A&"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_1#A&", u"&REV_1#A&0#"));
}

TEST(UnitNumberTest, idsThatAreEmptyOrLackARevisionAreNotThoseOfOneDevice) {
  EXPECT_FALSE(areUnitsOfOneDevice(u"", u""));
  EXPECT_FALSE(areUnitsOfOneDevice(u"", u"X&REV_1#A&1#"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"X&REV_1#A&0#", u""));
  EXPECT_FALSE(areUnitsOfOneDevice(u"1#A&0#", u"1#A&1#"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"X&REV_1#A&0#", u"X&rev_1#A&1#"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"X&REV_", u"X&REV_"));
}

TEST(UnitNumberTest, idsThatDifferInSomethingElseAreNotThoseOfOneDevice) {
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_1#A1&0#", u"&REV_1#B1&1#"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_1#A10#", u"&REV_1#A11#"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_1#A&0{", u"&REV_1#A&1{"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_1#A&0#", u"&REV_1#A&10#"));
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_1#A&0#", u"&REV_1#A&1"));
}

TEST(UnitNumberTest, aDifferenceAtTheVeryFirstCharacterIsNoMatch) {
  EXPECT_FALSE(areUnitsOfOneDevice(u"&REV_0#", u"&REV_1#"));
}

}  // namespace

}  // namespace ZelmoraTevra
