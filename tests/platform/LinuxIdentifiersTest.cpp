#include <gtest/gtest.h>

#include <set>

#include "platform/linux/LinuxIdentifiers.h"

namespace ZelmoraTevra::platform {

namespace {

TEST(LinuxIdentifiersTest, aGuidIs36CharactersInLowerCase) {
  LinuxIdentifiers identifiers;
  const WideText guid = identifiers.newGuid();
  ASSERT_EQ(guid.size(), 36U);
  for (std::size_t position = 0; position < guid.size(); ++position) {
    const bool dash = position == 8 || position == 13 || position == 18 || position == 23;
    const WideView allowed = dash ? u"-" : u"0123456789abcdef";
    EXPECT_NE(allowed.find(guid[position]), WideView::npos) << position;
  }
}

TEST(LinuxIdentifiersTest, noGuidComesTwice) {
  LinuxIdentifiers identifiers;
  std::set<WideText> guids;
  for (int count = 0; count < 1000; ++count) guids.insert(identifiers.newGuid());
  EXPECT_EQ(guids.size(), 1000U);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
