#include "tests/support/BackupBuilder.h"

#include <tinyxml.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;

std::string escaped(const std::string& text) {
  std::string result;
  TiXmlBase::EncodeString(text, &result);
  return result;
}

void writeTo(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace

BackupBuilder::BackupBuilder(fs::path backupRoot, std::string name)
    : root_(std::move(backupRoot)), name_(std::move(name)) {}

BackupBuilder& BackupBuilder::personal() {
  personalBackup = "true";
  return *this;
}

BackupBuilder& BackupBuilder::software(const std::string& path, const std::string& content) {
  return add("storage_for_software", path, content);
}

BackupBuilder& BackupBuilder::content(const std::string& path, const std::string& content) {
  return add("storage_for_content", path, content);
}

BackupBuilder& BackupBuilder::softwareTree(const fs::path& folder) {
  return addTree("storage_for_software", folder);
}

BackupBuilder& BackupBuilder::contentTree(const fs::path& folder) {
  return addTree("storage_for_content", folder);
}

BackupBuilder& BackupBuilder::listed(const std::string& path, std::int64_t bytes) {
  listed_[path] = bytes;
  return *this;
}

std::string BackupBuilder::headText() const {
  const std::pair<const char*, std::string> values[] = {{"name", name_},
                                                        {"brand", brand},
                                                        {"platform", platform},
                                                        {"version", "7.1.0"},
                                                        {"creationdate", "2012-03-05"},
                                                        {"size", "1"},
                                                        {"hardwareID", hardwareId},
                                                        {"deviceUID", deviceUid},
                                                        {"personalBackup", personalBackup},
                                                        {"converted", "false"}};
  std::string text = "    <backup>\n";
  for (const auto& [element, value] : values)
    text += std::string("        <") + element + '>' + escaped(value) + "</" + element + ">\n";
  return text + "    </backup>\n";
}

std::string BackupBuilder::descriptionText() const {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<BackupContents>\n" + headText() + "    <BackupFiles>\n";
  for (const auto& [path, bytes] : listed_)
    text +=
        "        <File path=\"" + escaped(path) + "\" size=\"" + std::to_string(bytes) + "\" hash=\"\" />\n";
  return text + "    </BackupFiles>\n</BackupContents>\n";
}

void BackupBuilder::write() const {
  for (const auto& [path, content] : files_) writeTo(folder() / path, content);
  writeTo(descriptionPath(), descriptionText());
}

BackupBuilder& BackupBuilder::add(const std::string& storage, const std::string& path,
                                  const std::string& content) {
  std::string listedPath = storage + '/' + path;
  files_[listedPath] = content;
  std::replace(listedPath.begin(), listedPath.end(), '/', '\\');
  return listed(listedPath, static_cast<std::int64_t>(content.size()));
}

BackupBuilder& BackupBuilder::addTree(const std::string& storage, const fs::path& folder) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream stream(entry.path(), std::ios::binary);
    add(storage, fs::relative(entry.path(), folder).generic_string(),
        {std::istreambuf_iterator<char>(stream), {}});
  }
  return *this;
}

}  // namespace ZelmoraTevra
