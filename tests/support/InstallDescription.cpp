#include "tests/support/InstallDescription.h"

#include <tinyxml.h>

#include "core/Base64.h"
#include "tests/support/JobProcess.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {

namespace {

std::string escaped(const std::string& text) {
  std::string result;
  TiXmlBase::EncodeString(text, &result);
  return result;
}

}  // namespace

InstallDescription& InstallDescription::extraSpace(std::int64_t software, std::int64_t content) {
  head_ = "  <extraSpaceSoftware>" + std::to_string(software) + "</extraSpaceSoftware>\n" +
          "  <extraSpaceContent>" + std::to_string(content) + "</extraSpaceContent>\n";
  return *this;
}

InstallDescription& InstallDescription::update(const std::string& name, const std::string& location,
                                               std::int64_t updateSize, bool temporary) {
  std::string start = "  <update update_size=\"" + std::to_string(updateSize) + "\"";
  if (temporary) start += " temporary=\"true\"";
  if (!location.empty()) start += " install_location=\"" + location + "\"";
  start += ">\n    <company>ZELMORA</company><name>" + name +
           "</name><version>1.0.0</version><update>1</update><uninstall>1</uninstall>\n";
  updates_.emplace_back(start, std::string());
  return *this;
}

InstallDescription& InstallDescription::file(const std::string& local, const std::string& client,
                                             const std::string& content, int updateFlag) {
  updates_.back().second += "    <file file_size=\"" + std::to_string(content.size()) + "\" hash_key=\"" +
                            md5Of(content) + "\"><local>" + local + "</local><client updateflag=\"" +
                            std::to_string(updateFlag) + "\">" + client + "</client></file>\n";
  return *this;
}

InstallDescription& InstallDescription::xmlEntry(const std::string& file, int creationFlag,
                                                 const std::string& base, const std::string& condition,
                                                 const std::vector<std::string>& alters) {
  std::string& text = updates_.back().second;
  text += "    <xmlentry><file>" + escaped(file) + "</file><key creationflag=\"" +
          std::to_string(creationFlag) + "\"><base>" + escaped(base) + "</base><condition>" +
          escaped(condition) + "</condition>";
  for (const std::string& alter : alters) text += "<alter>" + escaped(alter) + "</alter>";
  text += "</key></xmlentry>\n";
  return *this;
}

std::string InstallDescription::text() const {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<install version=\"1.0\">\n" + head_;
  for (const auto& [start, files] : updates_) text += start + files + "  </update>\n";
  return text + "</install>\n";
}

std::string InstallDescription::encodedText(const std::string& text) {
  ZipBuilder zip;
  zip.add("install.xml", text);
  return encodeBase64(zip.bytes());
}

std::string InstallDescription::registerEntry(const std::string& name, const std::string& location,
                                              const std::vector<std::string>& clients,
                                              const std::vector<RegisterRow>& rows) {
  std::string entry = "    <update install_location=\"" + location +
                      "\">\n        <company>ZELMORA</company>\n        <name>" + name +
                      "</name>\n        <version>1.0.0</version>\n        <update>1</update>\n"
                      "        <uninstall>1</uninstall>\n";
  for (const std::string& client : clients)
    entry += "        <file>\n            <client>" + client + "</client>\n        </file>\n";
  for (const RegisterRow& row : rows)
    entry += "        <xmlentry>\n            <file>" + escaped(row.file) +
             "</file>\n            <key creationflag=\"" + std::to_string(row.creationFlag) +
             "\">\n                <base>" + escaped(row.base) + "</base>\n                <condition>" +
             escaped(row.condition) + "</condition>\n            </key>\n        </xmlentry>\n";
  return entry + "    </update>\n";
}

std::string InstallDescription::registerOf(const std::vector<std::string>& entries) {
  std::string text = "<?xml version=\"1.0\" ?>\n<updates>\n";
  for (const std::string& entry : entries) text += entry;
  return text + "</updates>\n";
}

}  // namespace ZelmoraTevra
