#include <set>

#include "core/Globals.h"
#include "core/WorkFile.h"
#include "platform/Identifiers.h"
#include "platform/Machine.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class WorkFileTest : public JobTest {};

TEST_F(WorkFileTest, EachCallGivesAFreePathInTheWorkFolder) {
  std::set<WideText> paths;
  for (int count = 0; count < 100; ++count) {
    const WideText path = newWorkFilePath();
    EXPECT_TRUE(path.starts_with(workTempFolder + u'\\'));
    EXPECT_GT(path.size(), workTempFolder.size() + 1);
    EXPECT_FALSE(fileExists(path));
    paths.insert(path);
  }
  EXPECT_EQ(paths.size(), 100U);
  EXPECT_TRUE(tree(workTempFolder).empty()) << "nothing is made";
}

TEST_F(WorkFileTest, WithoutANameThereIsNoPath) {
  class Nameless : public platform::Identifiers {
   public:
    WideText newGuid() override { return {}; }
  } nameless;
  platform::Machine machine = platform::machine();
  machine.identifiers = &nameless;
  const platform::ScopedMachine scoped(machine);
  EXPECT_EQ(newWorkFilePath(), u"");
}

}  // namespace
}  // namespace ZelmoraTevra
