#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ZelmoraTevra {

// Writes an install description, as the build of a package does it.
//
//   InstallDescription()
//       .update("Maps", "storage_for_content", 5)
//       .file("maps/a.dat", "content/a.dat", "hello");
class InstallDescription {
 public:
  InstallDescription& extraSpace(std::int64_t software, std::int64_t content);
  // An empty location is none: an older package.
  InstallDescription& update(const std::string& name, const std::string& location, std::int64_t updateSize);
  // Belong to the update before them.
  InstallDescription& file(const std::string& local, const std::string& client, const std::string& content,
                           int updateFlag = 0);
  InstallDescription& xmlEntry(const std::string& file, const std::string& base,
                               const std::string& condition);

  [[nodiscard]] std::string text() const;
  // As it travels in a command document: a zip archive in base64.
  [[nodiscard]] std::string encoded() const;

  // What the register says of an update of the company "ZELMORA", version "1.0.0", that can be uninstalled.
  [[nodiscard]] static std::string registerEntry(const std::string& name, const std::string& location,
                                                 const std::vector<std::string>& clients);
  // A whole register.
  [[nodiscard]] static std::string registerOf(const std::vector<std::string>& entries);

 private:
  std::string head_;
  std::vector<std::pair<std::string, std::string>> updates_;  // start tag with the names; what follows
};

}  // namespace ZelmoraTevra
