#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace ZelmoraTevra {

// Writes a backup as the program keeps it: a folder with the trees of the storages and their description.
class BackupBuilder {
 public:
  // A full image of a device about which the head says what the members below say.
  BackupBuilder(std::filesystem::path backupRoot, std::string name);

  std::string brand = "ZELMORA";
  std::string platform = "NAV";
  std::string hardwareId = "HW1";
  std::string deviceUid = "UID1";
  std::string personalBackup = "false";

  BackupBuilder& personal();
  // A file of a storage, its path in "/".
  BackupBuilder& software(const std::string& path, const std::string& content);
  BackupBuilder& content(const std::string& path, const std::string& content);
  // All files below a folder. Those of a storage's root are named by their paths below it.
  BackupBuilder& softwareTree(const std::filesystem::path& folder);
  BackupBuilder& contentTree(const std::filesystem::path& folder);
  // A file that the description lists, with this very path, and that isn't there unless it is written as
  // well.
  BackupBuilder& listed(const std::string& path, std::int64_t bytes);

  [[nodiscard]] std::filesystem::path folder() const { return root_ / name_; }
  [[nodiscard]] std::filesystem::path descriptionPath() const { return folder() / (name_ + ".xml"); }
  [[nodiscard]] std::string headText() const;
  [[nodiscard]] std::string descriptionText() const;
  // Brings all of it to the disk.
  void write() const;

 private:
  BackupBuilder& add(const std::string& storage, const std::string& path, const std::string& content);
  BackupBuilder& addTree(const std::string& storage, const std::filesystem::path& folder);

  std::filesystem::path root_;
  std::string name_;
  std::map<std::string, std::string> files_;    // below the backup's folder, in "/"
  std::map<std::string, std::int64_t> listed_;  // as the description has them
};

}  // namespace ZelmoraTevra
