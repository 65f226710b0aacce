#pragma once

#include <string>
#include <vector>

#include "tests/support/InstallDescription.h"

namespace ZelmoraTevra {

// A package as a command document names it.
struct CommandPackage {
  std::string zip;  // the bytes: they give size and MD5
  std::string url;
  InstallDescription description;
  std::string name = "Package";
  std::string id = "42";
  std::string index = {};  // left out if empty
};

// Writes a command document.
class CommandDocument {
 public:
  explicit CommandDocument(std::string commandName);
  // "INSTALL_PACKAGE" on flash and card of a simulated machine, or on the roots that are named.
  static CommandDocument installPackage(const std::string& flash = "E:", const std::string& card = "F:");

  // "UNINSTALL_PACKAGE" on the same.
  static CommandDocument uninstallPackage(const std::string& flash = "E:", const std::string& card = "F:");

  CommandDocument& attribute(const std::string& name, const std::string& value);
  // Children of the command; an encoded value is written in base64.
  CommandDocument& plain(const std::string& name, const std::string& value);
  CommandDocument& encoded(const std::string& name, const std::string& value);
  CommandDocument& localInstall(bool local = true);
  CommandDocument& proxy(const std::string& host, const std::string& port, const std::string& user = {},
                         const std::string& password = {});
  CommandDocument& package(const CommandPackage& package);
  // An update that is to be taken off the device.
  CommandDocument& uninstall(const std::string& product, const std::string& version = "1.0.0",
                             const std::string& company = "ZELMORA");

  // The "Command" element alone.
  [[nodiscard]] std::string element() const;
  [[nodiscard]] std::string text() const { return sequenceOf({element()}); }
  [[nodiscard]] static std::string sequenceOf(const std::vector<std::string>& elements);

 private:
  static CommandDocument onStorages(const std::string& name, const std::string& flash,
                                    const std::string& card);

  std::string attributes_;
  std::string children_;
  std::string packages_;
  bool local_ = false;
};

}  // namespace ZelmoraTevra
