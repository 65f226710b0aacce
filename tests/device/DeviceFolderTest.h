#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "core/Text.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

// The part of a version file that says what the device is.
inline std::string identityElement(const std::string& section, const std::string& brand = "ZELMORA",
                                   const std::string& platform = "NX", const std::string& version = "7.1.2") {
  return "<" + section + "><brand>" + brand + "</brand><platform>" + platform + "</platform><version>" +
         version + "</version></" + section + ">";
}

inline std::string versionDocument(const std::string& children) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?><config>" + children + "</config>";
}

// A sound version file of a newer device.
inline std::string soundVersionDocument(const std::string& more = {}) {
  return versionDocument(identityElement("software") + more);
}

inline std::string nameElements(const std::string& company, const std::string& name,
                                const std::string& version) {
  return "<company>" + company + "</company><name>" + name + "</name><version>" + version + "</version>";
}

inline std::string mapElement(const std::string& company, const std::string& name,
                              const std::string& version) {
  return "<map>" + nameElements(company, name, version) + "</map>";
}

// An update of a device's register.
inline std::string updateElement(const std::string& company, const std::string& name,
                                 const std::string& version, int uninstall,
                                 const std::vector<std::string>& files = {}) {
  std::string text = "<update>" + nameElements(company, name, version) + "<uninstall>" +
                     std::to_string(uninstall) + "</uninstall>";
  for (const std::string& file : files) text += "<file><client>" + file + "</client></file>";
  return text + "</update>";
}

inline std::string registerDocument(const std::string& updates) {
  return "<?xml version=\"1.0\" ?><updates>" + updates + "</updates>";
}

// Notes what is hidden.
class HidingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool setHidden(const WideText& path, platform::ErrorCode& error) override {
    hidden.push_back(toForwardSlashes(path));
    return target().setHidden(path, error);
  }
  std::vector<WideText> hidden;
};

// Nothing can be read.
class UnreadableFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode != platform::OpenMode::read) return target().open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }
};

// A test with the folder of a device.
class DeviceFolderTest : public JobTest {
 protected:
  [[nodiscard]] WideText onDevice(WideView relative) const { return root_ + u'/' + WideText(relative); }
  void put(WideView relative, const std::string& content) const { writeFile(onDevice(relative), content); }
  [[nodiscard]] std::string get(WideView relative) const { return readFile(onDevice(relative)); }
  [[nodiscard]] std::vector<std::string> device() const { return tree(root_); }
  // As a device that isn't FAT may hold it.
  void link(WideView relative, const WideText& target) const {
    const std::filesystem::path place = toUtf8(onDevice(relative));
    std::filesystem::create_directories(place.parent_path());
    std::filesystem::create_symlink(toUtf8(target), place);
  }
  // With "/" as separator.
  [[nodiscard]] std::vector<std::string> log() const {
    std::vector<std::string> lines;
    for (const WideText& line : logLines()) lines.push_back(toUtf8(toForwardSlashes(line)));
    return lines;
  }

  const WideText root_ = path(u"device");
};

}  // namespace ZelmoraTevra
