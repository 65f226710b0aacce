#include "device/InstalledUpdates.h"

#include <functional>

namespace ZelmoraTevra {

InstalledUpdates::InstalledUpdates(const UpdatesXml& updatesRegister) {
  if (!updatesRegister.isLoaded()) return;
  updates_ = updatesRegister.getUpdates();
  for (const Update& update : updates_) {
    const UpdateInfo& info = update.info;
    byKey_.try_emplace({info.company, info.name, info.version}, &update);
    byKey_.try_emplace({{}, info.name, info.version}, &update);
    byKey_.try_emplace({info.company, info.name, {}}, &update);
    byKey_.try_emplace({{}, info.name, {}}, &update);
  }
}

const Update* InstalledUpdates::find(WideView company, WideView name, WideView version) const {
  const auto found = byKey_.find({company, name, version});
  return found == byKey_.end() ? nullptr : found->second;
}

std::size_t InstalledUpdates::KeyHash::operator()(const Key& key) const {
  constexpr std::hash<WideView> hash;
  return (hash(key.company) * 31 + hash(key.name)) * 31 + hash(key.version);
}

}  // namespace ZelmoraTevra
