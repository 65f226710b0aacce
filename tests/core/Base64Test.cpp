#include <gtest/gtest.h>

#include "core/Base64.h"

namespace ZelmoraTevra {
namespace {

struct Decoded {
  int result;
  std::string bytes;
  bool operator==(const Decoded&) const = default;
};

Decoded decoded(std::string_view text) {
  Decoded result{1, "left over"};
  result.result = decodeBase64(text, result.bytes);
  return result;
}

TEST(Base64Test, ATextEndsWithTheResultOfAnInvalidCharacter) {
  EXPECT_EQ(decoded("QUJD"), (Decoded{-1, "ABC"}));
  EXPECT_EQ(decoded(std::string_view("QUJD\0", 5)), (Decoded{-1, "ABC"}));
  EXPECT_EQ(decoded(""), (Decoded{-1, ""}));
}

TEST(Base64Test, PaddingTellsHowManyBytesTheLastGroupHolds) {
  EXPECT_EQ(decoded("QQ=="), (Decoded{-1, "A"}));
  EXPECT_EQ(decoded("QUI="), (Decoded{-1, "AB"}));
}

TEST(Base64Test, NothingIsDecodedBehindPadding) {
  EXPECT_EQ(decoded("QQ==QUJD"), (Decoded{-1, "A"}));
  EXPECT_EQ(decoded("QUI=QUJD"), (Decoded{-1, "AB"}));
}

TEST(Base64Test, AnIncompleteGroupIsDropped) {
  EXPECT_EQ(decoded("QUI"), (Decoded{-1, ""}));
  EXPECT_EQ(decoded("QUJDQ"), (Decoded{-1, "ABC"}));
}

TEST(Base64Test, AnIllegalCharacterEndsDecodingWhereItStands) {
  EXPECT_EQ(decoded("QUJDQU*D"), (Decoded{-1, "ABC"}));
  EXPECT_EQ(decoded("QUJD\nQUJD"), (Decoded{-1, "ABC"}));
  EXPECT_EQ(decoded(" QUJD"), (Decoded{-1, ""}));
  EXPECT_EQ(decoded("QUJDQU-_"), (Decoded{-1, "ABC"}));
}

TEST(Base64Test, AByteOf255BetweenTwoGroupsEndsDecodingWell) {
  EXPECT_EQ(decoded("\xFF"), (Decoded{0, ""}));
  EXPECT_EQ(decoded("QUJD\xFF"), (Decoded{0, "ABC"}));
  EXPECT_EQ(decoded("QUJDQ\xFFUJD"), (Decoded{-1, "ABC"}));
}

TEST(Base64Test, AnEqualsSignWithinAGroupCountsAsZero) {
  EXPECT_EQ(decoded("===="), (Decoded{-1, std::string(1, '\0')}));
  EXPECT_EQ(decoded("Q=JD"), (Decoded{-1, std::string("@\x02\x43", 3)}));
}

TEST(Base64Test, EveryCharacterOfTheAlphabetHasItsValue) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t value = 0; value < alphabet.size(); ++value) {
    const std::string text = "AAA" + std::string(1, alphabet[value]);
    EXPECT_EQ(decoded(text), (Decoded{-1, std::string(2, '\0') + static_cast<char>(value)}));
  }
}

TEST(Base64Test, WhatIsEncodedDecodesToItself) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(decoded(encodeBase64(bytes)).bytes, bytes);
    bytes += static_cast<char>(i * 7);
  }
  EXPECT_EQ(encodeBase64("A"), "QQ==");
  EXPECT_EQ(encodeBase64("AB"), "QUI=");
  EXPECT_EQ(encodeBase64("ABC"), "QUJD");
  EXPECT_EQ(encodeBase64(""), "");
}

}  // namespace
}  // namespace ZelmoraTevra
