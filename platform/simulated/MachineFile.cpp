#include "platform/simulated/MachineFile.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"
#include "platform/XmlBounds.h"

namespace ZelmoraTevra::platform {

namespace {

// The parser calls itself for each level and compares each attribute with those before it. No machine comes
// near these bounds.
constexpr std::int64_t largestFile = 4 * 1024 * 1024;
constexpr int deepestLevel = 2'000;
constexpr int mostAttributes = 64;
constexpr std::size_t mostMarkup = 200'000;

constexpr WideView diskIdStart = u"USBSTOR\\";

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

void checkBounds(const std::string& content) {
  if (content.size() > static_cast<std::size_t>(largestFile)) throw fault("too large");
  // The parser would take what stands before a NUL for the whole.
  if (content.find('\0') != std::string::npos) throw fault("not a text");
  if (!isWithinXmlBounds(content, deepestLevel, mostAttributes, mostMarkup))
    throw fault("not well-formed, or beyond the bounds of a machine");
}

std::string_view attribute(const TiXmlElement& element, const char* name) {
  const char* const value = element.Attribute(name);
  return value != nullptr ? value : "";
}

template <typename Number>
std::optional<Number> numberOf(const TiXmlElement& element, const char* name) {
  const std::string_view text = attribute(element, name);
  if (text.empty()) return {};
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size())
    throw fault("a volume's " + std::string(name) + " isn't a number");
  return number;
}

bool isTrue(const TiXmlElement& element, const char* name) {
  return attribute(element, name) == "true";
}

char16_t letterOf(const TiXmlElement& element) {
  const std::string_view letter = attribute(element, "letter");
  if (letter.empty()) return 0;
  const char16_t result = driveLetter(toWide(letter) + u":");
  if (result == 0) throw fault("a volume's letter isn't a letter");
  return result;
}

WideText folderOf(const TiXmlElement& element, const WideText& machineFile) {
  const WideText folder = toWide(attribute(element, "folder"));
  if (folder.empty()) throw fault("a volume has no folder");
  const bool relative = !isSeparator(folder.front()) && driveLetter(folder) == 0;
  const WideText base = machineFile.substr(0, machineFile.find_last_of(u"/\\") + 1);
  return absolutePath(relative ? base + folder : folder);
}

DriveType typeOf(const TiXmlElement& element) {
  const std::string_view type = attribute(element, "type");
  if (type.empty() || type == "removable") return DriveType::removable;
  if (type == "fixed") return DriveType::fixed;
  if (type == "cdrom") return DriveType::cdrom;
  throw fault("a volume's type is unknown");
}

// What "chkdsk" prints about it.
std::string checkOutputOf(const TiXmlElement& element, const WideText& fileSystem) {
  const std::string* const output = element.Attribute(std::string("checkOutput"));
  return output != nullptr ? *output : "The type of the file system is " + toUtf8(fileSystem) + ".\n";
}

void readFormatFails(const TiXmlElement& element, SimulatedVolume& volume) {
  std::string_view names = attribute(element, "formatFails");
  while (!names.empty()) {
    const std::size_t length = std::min(names.find(','), names.size());
    std::string_view name = names.substr(0, length);
    names.remove_prefix(std::min(length + 1, names.size()));
    while (name.starts_with(' ')) name.remove_prefix(1);
    while (name.ends_with(' ')) name.remove_suffix(1);
    if (name != "FAT" && name != "FAT32") throw fault("a volume's formatFails names no file system");
    (name == "FAT" ? volume.refusesFat : volume.refusesFat32) = true;
  }
}

SimulatedVolume volumeOfElement(const TiXmlElement& element, const WideText& machineFile, DeviceNode disk) {
  SimulatedVolume result;
  Volume& volume = result.volume;
  volume.letter = letterOf(element);
  volume.folder = folderOf(element, machineFile);
  volume.readOnly = isTrue(element, "readOnly");
  volume.capacity = numberOf<std::uint64_t>(element, "capacity");
  volume.type = typeOf(element);
  volume.label = toWide(attribute(element, "label"));
  volume.serial = numberOf<std::uint32_t>(element, "serial").value_or(0);
  if (element.Attribute("fileSystem") != nullptr)
    volume.fileSystem = toWide(attribute(element, "fileSystem"));
  result.disk = disk;
  result.ejected = isTrue(element, "ejected");
  result.dirty = isTrue(element, "dirty");
  result.checkReturn = numberOf<std::uint32_t>(element, "checkReturn").value_or(0);
  result.checkOutput = checkOutputOf(element, volume.fileSystem);
  readFormatFails(element, result);
  result.ejectVetoes = numberOf<std::uint32_t>(element, "ejectVetoes").value_or(0);
  return result;
}

bool writeWhole(FileSystem& files, const WideText& path, const std::string& content, ErrorCode& error) {
  const auto file = files.open(path, OpenMode::truncateEntry, error);
  return file != nullptr && file->write(content.data(), content.size(), error) && file->sync(error) &&
         file->close(error);
}

void complain(const WideText& path, const std::string& why) {
  std::string name = "machine file";
  try {
    name = toUtf8(path);
  } catch (const std::exception&) {
    // The path's bytes are no text; the reason is told without it.
  }
  std::fputs((name + ": " + why + "\n").c_str(), stderr);
}

}  // namespace

MachineFile::MachineFile(FileSystem& files, const WideText& path) : files_(files), path_(path) {
  try {
    path_ = absolutePath(path);
    pathAsNamed_ = absolutePathOfEntry(path);
    read();
    findPresentVolumes();
  } catch (const std::exception& error) {
    nodes_.clear();
    volumes_.clear();
    elements_.clear();
    complain(path, error.what());
  }
}

std::optional<std::size_t> MachineFile::volumeOf(char16_t letter) const {
  if (letter == 0) return {};
  for (std::size_t i = 0; i < volumes_.size(); ++i)
    if (volumes_[i].volume.letter == letter && !volumes_[i].ejected) return i;
  return {};
}

bool MachineFile::hasMedium(std::size_t volume) const {
  ErrorCode error;
  return files_.kind(volumes_[volume].volume.folder, error) == EntryKind::folder;
}

bool MachineFile::apply(const std::vector<Change>& changes, const std::function<bool()>& done) {
  std::vector<std::optional<std::string>> previous;
  for (const auto& [volume, name, value] : changes) {
    const std::string* const old = elements_[volume]->Attribute(std::string(name));
    previous.push_back(old != nullptr ? std::optional<std::string>(*old) : std::nullopt);
    elements_[volume]->SetAttribute(std::string(name), value);
  }
  const bool saved = save(done);
  for (std::size_t i = changes.size(); !saved && i-- > 0;) {
    TiXmlElement& element = *elements_[changes[i].volume];
    if (previous[i]) {
      element.SetAttribute(std::string(changes[i].attribute), *previous[i]);
    } else {
      element.RemoveAttribute(std::string(changes[i].attribute));
    }
  }
  if (!saved) return false;
  for (const Change& change : changes) {
    SimulatedVolume& volume = volumes_[change.volume];
    volume = volumeOfElement(*elements_[change.volume], pathAsNamed_, volume.disk);
  }
  findPresentVolumes();
  return true;
}

void MachineFile::read() {
  const std::string content = contentOf(files_, path_);
  checkBounds(content);
  document_.Parse(content.c_str(), nullptr, TIXML_ENCODING_UTF8);
  if (document_.Error()) throw fault(document_.ErrorDesc());
  TiXmlElement* const machine = document_.RootElement();
  if (machine == nullptr || machine->ValueStr() != "machine") throw fault("it holds no machine");
  TiXmlElement* const root = machine->FirstChildElement("node");
  if (root != nullptr) readNode(*root, noDeviceNode, noDeviceNode);
}

DeviceNode MachineFile::readNode(TiXmlElement& element, DeviceNode parent, DeviceNode disk) {
  nodes_.push_back({.id = toWide(attribute(element, "id")), .parent = parent});
  const std::size_t index = nodes_.size() - 1;
  const auto node = static_cast<DeviceNode>(nodes_.size());
  if (nodes_[index].id.starts_with(diskIdStart)) disk = node;
  TiXmlElement* const volume = element.FirstChildElement("volume");
  if (volume != nullptr) {
    nodes_[index].volume = volumes_.size();
    volumes_.push_back(volumeOfElement(*volume, pathAsNamed_, disk != noDeviceNode ? disk : node));
    elements_.push_back(volume);
  }
  DeviceNode previous = noDeviceNode;
  for (TiXmlElement* child = element.FirstChildElement("node"); child != nullptr;
       child = child->NextSiblingElement("node")) {
    const DeviceNode below = readNode(*child, node, disk);
    (previous == noDeviceNode ? nodes_[index].firstChild : nodes_[previous - 1].nextSibling) = below;
    previous = below;
  }
  nodes_[index].end = static_cast<DeviceNode>(nodes_.size()) + 1;
  return node;
}

void MachineFile::findPresentVolumes() {
  present_.clear();
  std::set<char16_t> taken;
  for (std::size_t i = 0; i < volumes_.size(); ++i) {
    if (volumes_[i].ejected) continue;
    const char16_t letter = letterOf(*elements_[i]);
    volumes_[i].volume.letter = taken.insert(letter).second ? letter : u'\0';
    present_.push_back(volumes_[i].volume);
  }
}

bool MachineFile::save(const std::function<bool()>& done) const {
  const WideText copy = path_ + u"_tevra_new";
  ErrorCode error;
  ErrorCode ignored;
  try {
    TiXmlPrinter printer;
    printer.SetIndent("");  // deep trees would consist of blanks
    document_.Accept(&printer);
    checkBounds(printer.Str());
    if (files_.isLink(copy, ignored)) files_.removeFile(copy, ignored);
    if (!writeWhole(files_, copy, printer.Str(), error)) throw fault(error.message());
    if (!done()) {
      files_.removeFile(copy, ignored);
      return false;
    }
    if (!files_.rename(copy, path_, error)) throw fault(error.message());
    // Should the name not get onto the medium, the new file is still the one that everyone reads from here
    // on.
    files_.syncFolder(path_.substr(0, path_.find_last_of(u"/\\") + 1), ignored);
    return true;
  } catch (const std::exception& why) {
    complain(path_, why.what());
    files_.removeFile(copy, ignored);
    return false;
  }
}

}  // namespace ZelmoraTevra::platform
