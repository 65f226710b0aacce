#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// What a device id tells of the logical unit that it belongs to.
struct UnitNumber {
  bool found = false;  // the id is one of the maker's devices
  int type = -1;       // 0 or 1; -1: the id doesn't tell
};

// The search for the number is a loose one on purpose, since ids differ from system to system: with
// `windows7Mode` "&0#" or "&1#" anywhere behind the maker's name, without it any id that ends in "&" or "0"
// is unit 0 and any that ends in "1" is unit 1. The maker's name at the very start of the id doesn't count.
[[nodiscard]] UnitNumber unitNumberOf(WideView deviceId, bool windows7Mode);

// With `windows7Mode`: whether two ids are those of the two logical units of one device, which differ behind
// "&REV_" in the unit number in front of "#" alone. False for two equal ids.
[[nodiscard]] bool areUnitsOfOneDevice(WideView oneId, WideView otherId);

}  // namespace ZelmoraTevra
