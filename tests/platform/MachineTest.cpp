#include <gtest/gtest.h>

#include "platform/Machine.h"
#include "platform/NativeFileSystem.h"

namespace ZelmoraTevra::platform {

namespace {

TEST(MachineTest, theNativeMachineHasEveryRoleAndIsAlwaysTheSame) {
  const Machine& native = nativeMachine();
  EXPECT_NE(native.files, nullptr);
  EXPECT_NE(native.volumes, nullptr);
  EXPECT_NE(native.processes, nullptr);
  EXPECT_NE(native.power, nullptr);
  EXPECT_NE(native.registry, nullptr);
  EXPECT_NE(native.clock, nullptr);
  EXPECT_NE(native.identifiers, nullptr);
  EXPECT_NE(native.deviceTree, nullptr);
  EXPECT_NE(native.maintenance, nullptr);
  EXPECT_EQ(&nativeMachine(), &native);
}

TEST(MachineTest, aComputerOnWhichNoDeviceIsLookedForHasNoLetters) {
  EXPECT_TRUE(nativeMachine().volumes->volumes().empty());
}

TEST(MachineTest, aComputerOnWhichNoDeviceIsLookedForHasNoTreeAndMaintainsNothing) {
  DeviceTree& tree = *nativeMachine().deviceTree;
  EXPECT_EQ(tree.root(), noDeviceNode);
  EXPECT_EQ(tree.parent(1), noDeviceNode);
  EXPECT_EQ(tree.firstChild(1), noDeviceNode);
  EXPECT_EQ(tree.nextSibling(1), noDeviceNode);
  EXPECT_TRUE(tree.id(1).empty());
  EXPECT_TRUE(tree.driveOf(1).empty());
  DiskMaintenance& maintenance = *nativeMachine().maintenance;
  EXPECT_EQ(maintenance.examine(u'E'), "");
  EXPECT_NE(maintenance.format(u'E', FormatKind::fat, u"ZELMORA"), 0);
  EXPECT_NE(maintenance.check(u'E', {}).failed, DiskCheckStep::none);
  EXPECT_NE(maintenance.isDirty(u'E').failed, DiskCheckStep::none);
  EXPECT_FALSE(maintenance.deviceNumber(u"\\\\.\\E:"));
  EXPECT_TRUE(maintenance.deviceName(u'E').empty());
  EXPECT_TRUE(maintenance.interfaces(DeviceClass::disk).empty());
  EXPECT_NE(maintenance.requestEject(1).result, 0U);
  maintenance.requestEjectAndTellUser(1);
  EXPECT_FALSE(nativeMachine().volumes->information(u'E'));
}

TEST(MachineTest, theInnermostScopeIsTheActiveMachine) {
  EXPECT_EQ(machine().files, nativeMachine().files);
  Machine outer = nativeMachine();
  outer.files = &nativeFileSystem();
  Machine inner = outer;
  inner.clock = nullptr;
  {
    const ScopedMachine outerScope(outer);
    EXPECT_EQ(machine().files, &nativeFileSystem());
    {
      const ScopedMachine innerScope(inner);
      EXPECT_EQ(machine().clock, nullptr);
    }
    EXPECT_EQ(machine().clock, nativeMachine().clock);
    EXPECT_EQ(machine().files, &nativeFileSystem());
  }
  EXPECT_EQ(machine().files, nativeMachine().files);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
