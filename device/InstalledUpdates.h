#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

// The updates of a device's register, for many look-ups: each costs the same however many updates there are
// and however many of them have the same name.
class InstalledUpdates {
 public:
  // A register that could not be loaded has none.
  explicit InstalledUpdates(const UpdatesXml& updatesRegister);
  InstalledUpdates(const InstalledUpdates&) = delete;
  InstalledUpdates& operator=(const InstalledUpdates&) = delete;

  // The first update with this name, and with the company and the version unless they are empty; null if
  // there is none.
  [[nodiscard]] const Update* find(WideView company, WideView name, WideView version) const;

 private:
  struct Key {
    WideView company;
    WideView name;
    WideView version;
    friend bool operator==(const Key&, const Key&) = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };

  std::vector<Update> updates_;
  // Each update under all keys that lead to it: with and without its company and its version.
  std::unordered_map<Key, const Update*, KeyHash> byKey_;
};

}  // namespace ZelmoraTevra
