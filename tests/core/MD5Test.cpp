#include <gtest/gtest.h>

#include <string>

#include "core/MD5.h"

namespace setup2 {
namespace {

using ZelmoraTevra::WideText;

WideText digestOf(const std::string& text) {
  MD5 md5;
  md5.add(text.data(), text.size());
  md5.finish();
  return md5.text();
}

TEST(MD5Test, KnownTextsHaveTheirKnownDigests) {
  EXPECT_EQ(digestOf(""), u"D41D8CD98F00B204E9800998ECF8427E");
  EXPECT_EQ(digestOf("a"), u"0CC175B9C0F1B6A831C399E269772661");
  EXPECT_EQ(digestOf("abc"), u"900150983CD24FB0D6963F7D28E17F72");
  EXPECT_EQ(digestOf("message digest"), u"F96B697D7CB7938D525A2F31AAF161D0");
  EXPECT_EQ(digestOf("abcdefghijklmnopqrstuvwxyz"), u"C3FCD3D76192E4007DFB496CCA67E13B");
  EXPECT_EQ(digestOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            u"D174AB98D277D9F5A5611C2C9F419D9F");
  EXPECT_EQ(digestOf("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            u"57EDF4A22BE3C955AC49DA2E2107B67A");
  EXPECT_EQ(digestOf(std::string(1'000'000, 'a')), u"7707D6AE4E027C70EEA2A935C2296F21");
}

TEST(MD5Test, TheDigestDoesNotDependOnHowTheDataIsCut) {
  std::string text;
  for (int i = 0; i < 300; ++i) text += static_cast<char>(i);
  const WideText whole = digestOf(text);
  for (std::size_t piece = 1; piece <= text.size(); ++piece) {
    MD5 md5;
    for (std::size_t start = 0; start < text.size(); start += piece)
      md5.add(text.data() + start, std::min(piece, text.size() - start));
    md5.finish();
    EXPECT_EQ(md5.text(), whole) << piece;
  }
}

TEST(MD5Test, ItKeepsItsLastResultUntilTheNextIsFinished) {
  MD5 md5;
  EXPECT_EQ(md5.text(), u"");
  md5.add("abc", 3);
  md5.finish();
  md5.add("xyz", 3);
  EXPECT_EQ(md5.text(), u"900150983CD24FB0D6963F7D28E17F72");
  md5.reset();
  md5.finish();
  EXPECT_EQ(md5.text(), u"D41D8CD98F00B204E9800998ECF8427E");
}

}  // namespace
}  // namespace setup2
