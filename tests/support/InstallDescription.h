#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ZelmoraTevra {

// An XML entry of an update as the register has it.
struct RegisterRow {
  std::string file;
  int creationFlag = 0;
  std::string base;
  std::string condition;
};

// Writes an install description, as the build of a package does it.
//
//   InstallDescription()
//       .update("Maps", "storage_for_content", 5)
//       .file("maps/a.dat", "content/a.dat", "hello");
class InstallDescription {
 public:
  InstallDescription& extraSpace(std::int64_t software, std::int64_t content);
  // An empty location is none: an older package.
  InstallDescription& update(const std::string& name, const std::string& location, std::int64_t updateSize,
                             bool temporary = false);
  // Belong to the update before them.
  InstallDescription& file(const std::string& local, const std::string& client, const std::string& content,
                           int updateFlag = 0);
  InstallDescription& xmlEntry(const std::string& file, int creationFlag, const std::string& base,
                               const std::string& condition, const std::vector<std::string>& alters = {});

  [[nodiscard]] std::string text() const;
  // As it travels in a command document: a zip archive in base64.
  [[nodiscard]] std::string encoded() const { return encodedText(text()); }
  [[nodiscard]] static std::string encodedText(const std::string& text);

  // What the register says of an update of the company "ZELMORA", version "1.0.0", that can be uninstalled.
  [[nodiscard]] static std::string registerEntry(const std::string& name, const std::string& location,
                                                 const std::vector<std::string>& clients,
                                                 const std::vector<RegisterRow>& rows = {});
  // A whole register.
  [[nodiscard]] static std::string registerOf(const std::vector<std::string>& entries);

 private:
  std::string head_;
  std::vector<std::pair<std::string, std::string>> updates_;  // start tag with the names; what follows
};

}  // namespace ZelmoraTevra
