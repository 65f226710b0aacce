#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "core/Text.h"
#include "platform/DiskMaintenance.h"

namespace ZelmoraTevra {

// Answers as a test says and writes down what it is asked.
class FakeMaintenance : public platform::DiskMaintenance {
 public:
  std::map<char16_t, std::string> outputs;            // of examine
  std::map<char16_t, std::deque<int>> formatResults;  // 0 when there are none left
  std::map<char16_t, platform::DiskCheckAnswer> checks;
  std::map<char16_t, platform::DirtyAnswer> dirt;
  std::map<WideText, std::uint32_t> deviceNumbers;  // by path
  std::map<char16_t, WideText> deviceNames;
  std::map<platform::DeviceClass, std::vector<platform::DeviceInterface>> devices;
  std::deque<platform::EjectAnswer> ejectAnswers;  // granted when there are none left

  std::vector<std::string> calls;

  std::string examine(char16_t letter) override {
    call("examine ", letter);
    return outputs[letter];
  }
  int format(char16_t letter, platform::FormatKind kind, const WideText& label) override {
    call("format ", letter, (kind == platform::FormatKind::fat32 ? " FAT32 " : " FAT ") + toUtf8(label));
    return next(formatResults[letter], 0);
  }
  platform::DiskCheckAnswer check(char16_t letter, const platform::DiskCheckParameters& parameters) override {
    std::string names;
    if (parameters.fixErrors) names += " fix";
    if (parameters.forceDismount) names += " dismount";
    if (parameters.recoverBadSectors) names += " recover";
    call("check ", letter, names);
    return checks[letter];
  }
  platform::DirtyAnswer isDirty(char16_t letter) override {
    call("dirty ", letter);
    return dirt[letter];
  }
  std::optional<std::uint32_t> deviceNumber(const WideText& devicePath) override {
    calls.push_back("number " + toUtf8(devicePath));
    const auto found = deviceNumbers.find(devicePath);
    if (found == deviceNumbers.end()) return {};
    return found->second;
  }
  WideText deviceName(char16_t letter) override {
    call("name ", letter);
    return deviceNames[letter];
  }
  std::vector<platform::DeviceInterface> interfaces(platform::DeviceClass deviceClass) override {
    calls.push_back("interfaces " + std::to_string(static_cast<int>(deviceClass)));
    return devices[deviceClass];
  }
  platform::EjectAnswer requestEject(platform::DeviceNode node) override {
    calls.push_back("eject " + std::to_string(node));
    return next(ejectAnswers, platform::EjectAnswer{});
  }
  void requestEjectAndTellUser(platform::DeviceNode node) override {
    calls.push_back("eject and tell " + std::to_string(node));
  }

 private:
  template <typename Value>
  static Value next(std::deque<Value>& values, Value otherwise) {
    if (values.empty()) return otherwise;
    const Value value = values.front();
    values.pop_front();
    return value;
  }
  void call(const std::string& name, char16_t letter, const std::string& more = {}) {
    calls.push_back(name + (letter != 0 ? toUtf8(WideText(1, letter)) : "none") + more);
  }
};

}  // namespace ZelmoraTevra
