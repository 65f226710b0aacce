#include "platform/simulated/MachineFile.h"

#include <tinyxml.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"

namespace ZelmoraTevra::platform {

namespace {

// The parser calls itself for each level and compares each attribute with those before it. No machine comes
// near these bounds.
constexpr std::int64_t largestFile = 1024 * 1024;
constexpr std::int64_t mostTags = 2'000;
constexpr std::int64_t mostAttributes = 20'000;

std::runtime_error fault(const std::string& why) {
  return std::runtime_error(why);
}

std::string contentOf(FileSystem& files, const WideText& path) {
  ErrorCode error;
  const auto file = files.open(path, OpenMode::read, error);
  if (file == nullptr) throw fault(error.message());
  const std::int64_t size = file->size(error);
  if (size < 0) throw fault(error.message());
  if (size > largestFile) throw fault("too large");
  std::string content(static_cast<std::size_t>(size), '\0');
  const std::int64_t count = file->read(content.data(), content.size(), error);
  if (count < 0) throw fault(error.message());
  content.resize(static_cast<std::size_t>(count));
  return content;
}

void checkBounds(const std::string& document) {
  std::int64_t tags = 0;
  for (std::size_t position = document.find('<'); position != std::string::npos;
       position = document.find('<', position + 1)) {
    const char next = position + 1 < document.size() ? document[position + 1] : '\0';
    if (next != '/' && next != '!' && next != '?') ++tags;
  }
  if (tags > mostTags) throw fault("too many elements");
  if (std::count(document.begin(), document.end(), '=') > mostAttributes) throw fault("too many attributes");
}

std::string_view attribute(const TiXmlElement& element, const char* name) {
  const char* const value = element.Attribute(name);
  return value != nullptr ? value : "";
}

char16_t letterOf(const TiXmlElement& element) {
  const std::string_view letter = attribute(element, "letter");
  if (letter.empty()) return 0;
  const char16_t result = driveLetter(toWide(letter) + u":");
  if (result == 0) throw fault("a volume's letter isn't a letter");
  return result;
}

WideText folderOf(const TiXmlElement& element, const WideText& base) {
  const WideText folder = toWide(attribute(element, "folder"));
  if (folder.empty()) throw fault("a volume has no folder");
  const bool relative = !isSeparator(folder.front()) && driveLetter(folder) == 0;
  return absolutePath(relative ? base + u"/" + folder : folder);
}

std::optional<std::uint64_t> capacityOf(const TiXmlElement& element) {
  const std::string_view text = attribute(element, "capacity");
  if (text.empty()) return {};
  std::uint64_t capacity = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), capacity);
  if (error != std::errc() || end != text.data() + text.size())
    throw fault("a volume's capacity isn't a number");
  return capacity;
}

void readNode(const TiXmlElement& node, const WideText& base, std::vector<Volume>& volumes) {
  const TiXmlElement* const volume = node.FirstChildElement("volume");
  if (volume != nullptr && attribute(*volume, "ejected") != "true") {
    volumes.push_back({letterOf(*volume), folderOf(*volume, base), attribute(*volume, "readOnly") == "true",
                       capacityOf(*volume)});
  }
  for (const TiXmlElement* child = node.FirstChildElement("node"); child != nullptr;
       child = child->NextSiblingElement("node")) {
    readNode(*child, base, volumes);
  }
}

std::vector<Volume> volumesOf(const std::string& content, const WideText& base) {
  checkBounds(content);
  // The parser would take what stands before a NUL for the whole.
  if (content.find('\0') != std::string::npos) throw fault("not a text");
  TiXmlDocument document;
  document.Parse(content.c_str(), nullptr, TIXML_ENCODING_UTF8);
  if (document.Error()) throw fault(document.ErrorDesc());
  const TiXmlElement* const machine = document.RootElement();
  if (machine == nullptr || machine->ValueStr() != "machine") throw fault("it holds no machine");
  std::vector<Volume> volumes;
  const TiXmlElement* const root = machine->FirstChildElement("node");
  if (root != nullptr) readNode(*root, base, volumes);
  return volumes;
}

}  // namespace

MachineFile readMachineFile(FileSystem& files, const WideText& path) {
  try {
    const WideText file = absolutePath(path);
    const WideText base = file.substr(0, std::min(file.find_last_of(u"/\\"), file.size()));
    return {volumesOf(contentOf(files, path), base), {}};
  } catch (const std::exception& error) {
    return {{}, error.what()};
  }
}

}  // namespace ZelmoraTevra::platform
