#include "tests/support/CommandDocument.h"

#include <utility>

#include "core/Base64.h"
#include "tests/support/JobProcess.h"

namespace ZelmoraTevra {

namespace {

std::string elementOf(const std::string& name, const std::string& value) {
  return "<" + name + ">" + value + "</" + name + ">\n";
}

}  // namespace

CommandDocument::CommandDocument(std::string commandName) {
  attribute("CommandName", commandName);
}

CommandDocument CommandDocument::installPackage(const std::string& flash, const std::string& card) {
  return onStorages("INSTALL_PACKAGE", flash, card);
}

CommandDocument CommandDocument::uninstallPackage(const std::string& flash, const std::string& card) {
  return onStorages("UNINSTALL_PACKAGE", flash, card);
}

CommandDocument CommandDocument::onStorages(const std::string& name, const std::string& flash,
                                            const std::string& card) {
  CommandDocument command(name);
  command.encoded("StorageCardDriveLetter", flash);
  if (!card.empty()) command.encoded("SecondDriveLetter", card);
  return command;
}

CommandDocument& CommandDocument::attribute(const std::string& name, const std::string& value) {
  attributes_ += " " + name + "=\"" + value + "\"";
  return *this;
}

CommandDocument& CommandDocument::plain(const std::string& name, const std::string& value) {
  children_ += elementOf(name, value);
  return *this;
}

CommandDocument& CommandDocument::encoded(const std::string& name, const std::string& value) {
  return plain(name, encodeBase64(value));
}

CommandDocument& CommandDocument::localInstall(bool local) {
  local_ = local;
  return *this;
}

CommandDocument& CommandDocument::proxy(const std::string& host, const std::string& port,
                                        const std::string& user, const std::string& password) {
  return plain("httpProxy", elementOf("proxyHost", encodeBase64(host)) +
                                elementOf("proxyPort", encodeBase64(port)) +
                                elementOf("proxyUser", encodeBase64(user)) +
                                elementOf("proxyPassword", encodeBase64(password)));
}

CommandDocument& CommandDocument::package(const CommandPackage& package) {
  packages_ +=
      elementOf("content", elementOf("fileSize", std::to_string(package.zip.size())) +
                               elementOf("fileSizeUncompressed", std::to_string(package.zip.size())) +
                               elementOf("md5", md5Of(package.zip)) + elementOf("url", package.url) +
                               elementOf("name", package.name) + elementOf("id", package.id) +
                               (package.index.empty() ? "" : elementOf("index", package.index)) +
                               elementOf("installXML", package.description.encoded()));
  return *this;
}

CommandDocument& CommandDocument::uninstall(const std::string& product, const std::string& version,
                                            const std::string& company) {
  packages_ +=
      elementOf("UninstallPackage", elementOf("CompanyName", company) + elementOf("ProductName", product) +
                                        elementOf("ProductVersion", version));
  return *this;
}

std::string CommandDocument::element() const {
  return "<Command" + attributes_ + " LocalInstall=\"" + (local_ ? "1" : "0") + "\">\n" + children_ +
         elementOf("PackageSequence", packages_) + "</Command>\n";
}

std::string CommandDocument::sequenceOf(const std::vector<std::string>& elements) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CommandSequence>\n";
  for (const std::string& element : elements) text += element;
  return text + "</CommandSequence>\n";
}

}  // namespace ZelmoraTevra
