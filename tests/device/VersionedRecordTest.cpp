#include <gtest/gtest.h>

#include "device/ClientApplication.h"
#include "device/ClientContent.h"
#include "device/ClientSoftware.h"

namespace ZelmoraTevra {
namespace {

template <typename Record>
std::string normalized(const WideText& text) {
  Record record;
  record.setVersion(text);
  EXPECT_EQ(record.normalizeVersion(record.version()), record.version());
  return toUtf8(record.version());
}

TEST(VersionedRecordTest, AVersionHasThreeParts) {
  EXPECT_EQ(normalized<ClientSoftware>(u""), "0.0.0");
  EXPECT_EQ(normalized<ClientSoftware>(u"1"), "1.0.0");
  EXPECT_EQ(normalized<ClientSoftware>(u"1."), "1.0.0");
  EXPECT_EQ(normalized<ClientSoftware>(u"1.2"), "1.2.0");
  EXPECT_EQ(normalized<ClientSoftware>(u"1.2."), "1.2.0");
  EXPECT_EQ(normalized<ClientSoftware>(u"1.2.3"), "1.2.3");
}

TEST(VersionedRecordTest, AnEmptyPartIsZero) {
  EXPECT_EQ(normalized<ClientSoftware>(u".5"), "0.5.0");
  EXPECT_EQ(normalized<ClientSoftware>(u"1..3"), "1.0.3");
  EXPECT_EQ(normalized<ClientSoftware>(u"..3"), "0.0.3");
  EXPECT_EQ(normalized<ClientSoftware>(u"."), "0.0.0");
  EXPECT_EQ(normalized<ClientSoftware>(u".."), "0.0.0");
}

TEST(VersionedRecordTest, WhatStandsBehindTheSecondDotIsKept) {
  EXPECT_EQ(normalized<ClientSoftware>(u"1.2.3.4"), "1.2.3.4");
  EXPECT_EQ(normalized<ClientSoftware>(u"1.2..4"), "1.2..4");
  EXPECT_EQ(normalized<ClientSoftware>(u"1.2.beta 7."), "1.2.beta 7.");
}

TEST(VersionedRecordTest, AllThreeKindsOfRecordsHaveIt) {
  EXPECT_EQ(normalized<ClientApplication>(u"1.2"), "1.2.0");
  EXPECT_EQ(normalized<ClientContent>(u"1.2"), "1.2.0");
}

TEST(VersionedRecordTest, ADeviceWithoutVersionHasNoSoftware) {
  ClientSoftware software;
  software.brand = u"ZELMORA";
  EXPECT_FALSE(software.isValid());
  software.setVersion(u"0.0");
  EXPECT_FALSE(software.isValid());
  software.setVersion(u"0.0.1");
  EXPECT_TRUE(software.isValid());
}

TEST(VersionedRecordTest, ApplicationsAndContentsAreAlwaysValid) {
  EXPECT_TRUE(ClientApplication().isValid());
  EXPECT_TRUE(ClientContent().isValid());
}

}  // namespace
}  // namespace ZelmoraTevra
