#include <gtest/gtest.h>

#include <vector>

#include "core/Globals.h"
#include "install/HttpUrl.h"
#include "install/IUpdateZipDownloader.h"

namespace ZelmoraTevra {

namespace {

void expectParts(const WideText& url, const HttpUrlParts& expected) {
  const HttpUrlParts parts = splitUrl(url);
  EXPECT_EQ(parts.protocol, expected.protocol) << toUtf8(url);
  EXPECT_EQ(parts.host, expected.host) << toUtf8(url);
  EXPECT_EQ(parts.path, expected.path) << toUtf8(url);
  EXPECT_EQ(parts.pathWithQuery, expected.pathWithQuery) << toUtf8(url);
}

bool isValid(const WideText& url) {
  return isValidHttpUrl(splitUrl(url));
}

}  // namespace

TEST(HttpUrlTest, SplitsIntoProtocolHostPathAndPathWithQuery) {
  expectParts(u"http://server/maps/a.zip?token=1",
              {u"http", u"server", u"/maps/a.zip", u"/maps/a.zip?token=1"});
  expectParts(u"http://server/a.zip?", {u"http", u"server", u"/a.zip", u"/a.zip?"});
  expectParts(u"http://server/a.zip?u=x/y?z", {u"http", u"server", u"/a.zip", u"/a.zip?u=x/y?z"});
  expectParts(u"http://server:8080/a?b", {u"http", u"server:8080", u"/a", u"/a?b"});
  expectParts(u"http:///a?b", {u"http", u"", u"/a", u"/a?b"});
}

TEST(HttpUrlTest, AllPartsAreEmptyWhenOneIsMissing) {
  for (const WideText& url : std::initializer_list<WideText>{
           u"", u"http", u"server/a.zip?x", u"http:server/a.zip?x", u"http:/server/a.zip?x", u"http://server",
           u"http://server?x", u"http://server/a.zip", u"http://serv?er/a.zip"})
    expectParts(url, {});
}

TEST(HttpUrlTest, OnlyHttpIsValidInEitherCase) {
  EXPECT_TRUE(isValid(u"http://server/a.zip?x"));
  EXPECT_TRUE(isValid(u"HTTP://server/a.zip?x"));
  EXPECT_TRUE(isValid(u"hTtP://server/a.zip?x"));
  EXPECT_FALSE(isValid(u"https://server/a.zip?x"));
  EXPECT_FALSE(isValid(u"ftp://server/a.zip?x"));
  EXPECT_FALSE(isValid(u"://server/a.zip?x"));
  EXPECT_FALSE(isValid(u"http:///a.zip?x"));
}

TEST(HttpUrlTest, AUrlWithoutAQueryIsInvalid) {
  EXPECT_FALSE(isValid(u"http://server/a.zip"));
}

TEST(HttpUrlTest, AUrlWithALineEndIsInvalid) {
  EXPECT_FALSE(isValid(u"http://server/a.zip?x\r\nCookie: a"));
  EXPECT_FALSE(isValid(u"http://ser\nver/a.zip?x"));
  EXPECT_FALSE(isValid(WideText(u"http://server/a\0b.zip?x", 23)));
}

TEST(HttpUrlTest, TheFileNameIsTheLastComponentOfThePath) {
  EXPECT_EQ(fileNameOfUrl(splitUrl(u"http://server/maps/europe.zip?file=/b.zip")), u"europe.zip");
  EXPECT_EQ(fileNameOfUrl(splitUrl(u"http://server/a%20b%2F..c.zip?x")), u"a%20b%2F..c.zip");
  EXPECT_EQ(fileNameOfUrl(splitUrl(u"http://server/stra\u00DFe.zip?x")), u"stra\u00DFe.zip");
  EXPECT_EQ(fileNameOfUrl(splitUrl(u"http://server/..a?x")), u"..a");
}

TEST(HttpUrlTest, AFileNameNeverLeavesItsFolder) {
  for (const WideText& url : std::initializer_list<WideText>{
           u"http://server/?x", u"http://server/a/?x", u"http://server/.?x", u"http://server/a/..?x",
           u"http://server/..\\..\\a.zip?x", u"http://server/a\\b.zip?x", u"http://server/C:?x",
           u"http://server/C:a.zip?x", u"http://server/a.zip:stream?x", u"http://server/a.zip"})
    EXPECT_EQ(fileNameOfUrl(splitUrl(url)), u"") << toUtf8(url);
  EXPECT_EQ(fileNameOfUrl(splitUrl(WideText(u"http://server/a\0b?x", 20))), u"");
}

TEST(HttpUrlTest, TheDownloadedFileLiesInTheWorkFolder) {
  const WideText previous = workTempFolder;
  workTempFolder = u"/work folder";
  EXPECT_EQ(downloadedFilePath(u"http://server/maps/a.zip?x"), u"/work folder\\a.zip");
  EXPECT_EQ(downloadedFilePath(u"http://server/maps/..?x"), u"");
  EXPECT_EQ(downloadedFilePath(u"http://server/maps/a.zip"), u"");
  workTempFolder = previous;
}

}  // namespace ZelmoraTevra
