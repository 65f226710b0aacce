#include <gtest/gtest.h>

#include "platform/linux/NativePath.h"

namespace ZelmoraTevra::platform {

namespace {

struct Converted {
  std::string native;
  boost::system::error_code error;
};

Converted converted(const WideText& path) {
  Converted result;
  if (!toNativePath(path, result.native, result.error)) result.native = "failed";
  return result;
}

TEST(NativePathTest, bothSeparatorsBecomeASlash) {
  EXPECT_EQ(converted(u"\\a/b\\c").native, "/a/b/c");
}

TEST(NativePathTest, everyPlaneBecomesUtf8) {
  EXPECT_EQ(converted(u"\u007F\u0080\u07FF\u0800\uFFFD\U00010000\U0010FFFF").native,
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(NativePathTest, aNulFails) {
  const Converted result = converted(WideText(u"a\0b", 3));
  EXPECT_EQ(result.native, "failed");
  EXPECT_EQ(result.error, boost::system::errc::invalid_argument);
}

TEST(NativePathTest, aPathOnADriveIsNoSuchFile) {
  EXPECT_EQ(converted(u"z:\\a").error, boost::system::errc::no_such_file_or_directory);
}

TEST(NativePathTest, everyByteOfANameComesBack) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      if (first == '/' || second == '/') continue;
      const std::string name{'x', static_cast<char>(first), static_cast<char>(second)};
      ASSERT_EQ(converted(fromNativePath(name)).native, name) << first << ' ' << second;
    }
  }
}

TEST(NativePathTest, everyTruncatedSequenceComesBack) {
  const std::string name = "\xF0\x9F\x97\xBA\xE4\xB8\xAD\xC3\x9F";
  for (std::size_t start = 0; start < name.size(); ++start) {
    for (std::size_t length = 0; length <= name.size() - start; ++length) {
      const std::string part = name.substr(start, length);
      ASSERT_EQ(converted(fromNativePath(part)).native, part);
    }
  }
}

TEST(NativePathTest, surrogatesThatStandForNoByteFail) {
  for (const int unit : {0xD800, 0xDBFF, 0xDC00, 0xDC2F, 0xDC7F, 0xDD00, 0xDFFF}) {
    EXPECT_EQ(converted(WideText(1, static_cast<char16_t>(unit))).error,
              boost::system::errc::invalid_argument)
        << unit;
  }
}

TEST(NativePathTest, aSeparatorCanNotBeCarriedByASurrogate) {
  EXPECT_EQ(converted(WideText(u"a") + char16_t{0xDC2F} + u"b").native, "failed");
}

TEST(NativePathTest, aTextKeepsItsBackslash) {
  EXPECT_EQ(fromNativeText("C:\\tmp"), u"C:\\tmp");
  EXPECT_EQ(fromNativePath("a\\b"), WideText(u"a") + char16_t{0xDC5C} + u"b");
}

TEST(NativePathTest, aTextForAPersonShowsAQuestionMarkForHalfAPair) {
  EXPECT_EQ(toNativeText(WideText(u"a") + char16_t{0xD800} + u"b\u00E9\\"), "a?b\xC3\xA9\\");
}

}  // namespace

}  // namespace ZelmoraTevra::platform
