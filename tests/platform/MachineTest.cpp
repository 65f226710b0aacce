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
