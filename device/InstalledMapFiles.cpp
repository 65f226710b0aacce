#include "device/InstalledMapFiles.h"

#include <optional>
#include <utility>

#include "core/Digest.h"
#include "core/File_platformIndependent.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t digestedBytes = 102'400;

}  // namespace

bool computeMapsInfo = false;

WideText mapDigest(const WideText& path) {
  return computeMapsInfo ? fileStartDigest(path, digestedBytes, digestedBytes) : WideText(digestNotNeeded);
}

InstalledMapFiles::InstalledMapFiles(WideText softwareRoot, WideText contentRoot)
    : softwareRoot_(std::move(softwareRoot)), contentRoot_(std::move(contentRoot)) {}

void InstalledMapFiles::describe(const Update& update, ClientMap& map) {
  const auto [position, isNew] = known_.try_emplace(&update);
  if (isNew) position->second = factsOf(update);
  map.size = position->second.size;
  map.md5SumFirst100kb = position->second.digest;
  if (update.files.empty()) return;
  const WideText& client = update.files.front().client;
  map.file = client.substr(client.rfind(u'\\') + 1);
}

// The digest is that of the last file that is there: of several files one stands for the map.
InstalledMapFiles::Facts InstalledMapFiles::factsOf(const Update& update) {
  Facts facts;
  WideText lastFound;
  for (const UpdateFile& file : update.files) {
    if (!addFile(softwareRoot_, file.client, facts.size, lastFound))
      static_cast<void>(addFile(contentRoot_, file.client, facts.size, lastFound));
  }
  if (!lastFound.empty()) facts.digest = mapDigest(lastFound);
  return facts;
}

bool InstalledMapFiles::addFile(PathBelowRoot& root, const WideText& client, std::uint64_t& size,
                                WideText& lastFound) {
  std::optional<WideText> path = root.joinExisting(client);
  const std::int64_t bytes = path ? File_platformIndependent(*path).size() : -1;
  if (bytes < 0) return false;
  size += static_cast<std::uint64_t>(bytes);
  lastFound = std::move(*path);
  return true;
}

}  // namespace ZelmoraTevra
