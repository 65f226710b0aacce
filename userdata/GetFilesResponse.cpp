#include "userdata/GetFilesResponse.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "device/InfoElements.h"
#include "userdata/FileNames.h"

namespace ZelmoraTevra {

namespace {

// Nothing for a file that can't be opened. A last line without its end counts.
std::optional<std::int64_t> countLines(const WideText& path) {
  File_platformIndependent file(path);
  if (!file.open()) return std::nullopt;
  std::array<char, 0x4000> block;
  std::int64_t lines = 0;
  char last = '\n';
  std::int64_t count = 0;
  do {
    file.read(block.data(), block.size(), count);
    if (count <= 0) break;
    lines += std::count(block.begin(), block.begin() + count, '\n');
    last = block[static_cast<std::size_t>(count) - 1];
    // Only a file's last block isn't full.
  } while (count == static_cast<std::int64_t>(block.size()));
  return last == '\n' ? lines : lines + 1;
}

bool contains(const std::vector<WideText>& list, const WideText& text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

void addGroup(TiXmlElement& root, const FileCommandJob& job, const FileGroup& group) {
  TiXmlElement& file = addElement(root, "File");
  for (const auto& [path, creationDate] : group) {
    const WideText extension = extensionOf(path);
    addTextElement(file, contains(job.optionalExtensions, extension) ? "OptionalFileName" : "FileName", path);
    file.LastChild()->ToElement()->SetAttribute("CreationDate", toUtf8(creationDate));
    if (extension != u"csv" && extension != u"CSV") continue;
    if (const std::optional<std::int64_t> lines = countLines(path))
      file.SetAttribute("nr", std::to_string(*lines));
  }
}

}  // namespace

PoiLimits readPoiLimits(const WideText& mainFolder) {
  const std::optional<WideText> path =
      PathBelowRoot(mainFolder).join(u"ZELMORA\\Settings/ApplicationSettings.xml");
  TiXmlDocument settings;
  if (!path || !File_platformIndependent(*path).exists() || !loadXml(*path, settings)) return {};
  const TiXmlElement* const root = settings.RootElement();
  const auto value = [root](const char* where) { return toReadableWide(lookupUtf8(root, where)); };
  PoiLimits limits{value("/Settings/UserPois/MyPois/MaxPois"),
                   value("/Settings/UserPois/MyPois/MaxPoiFiles")};
  return limits.maxPois.empty() || limits.maxPoiFiles.empty() ? PoiLimits() : limits;
}

TiXmlDocument getFilesResponse(const FileCommandJob& job, const std::vector<FileGroup>& groups,
                               const PoiLimits& limits) {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& root = addElement(document, "GetFilesResponse");
  root.SetAttribute("filesNumber", std::to_string(groups.size()));
  if (!limits.maxPois.empty()) {
    root.SetAttribute("MaxPois", toUtf8(limits.maxPois));
    root.SetAttribute("MaxPoiFiles", toUtf8(limits.maxPoiFiles));
  }
  for (const FileGroup& group : groups) addGroup(root, job, group);
  return document;
}

}  // namespace ZelmoraTevra
