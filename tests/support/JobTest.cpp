#include "tests/support/JobTest.h"

#include <tinyxml.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/BackendLogger.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/StatusXml.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;

fs::path nativePath(const WideText& path) {
  return fs::path(toUtf8(toForwardSlashes(path)));
}

std::string contentOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return "<missing>";
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

// Parses with all blanks of a text kept, where the library would condense them.
void parseToTheLetter(const std::string& text, TiXmlDocument& document) {
  TiXmlBase::SetCondenseWhiteSpace(false);
  document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
  TiXmlBase::SetCondenseWhiteSpace(true);
}

void resetProcess() {
  StatusXml::destroy();
  BackendLogger::destroy();
  ProgressObserver::destroy();
}

}  // namespace

// Sees each status document at the moment when it gets its name.
class JobTest::RecordingFileSystem : public platform::ForwardingFileSystem {
 public:
  RecordingFileSystem(platform::FileSystem& target, std::vector<SavedStatus>& history)
      : ForwardingFileSystem(target), history_(history) {}

  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
    const bool renamed = target().rename(from, to, error);
    if (renamed && toBackslashes(to) == toBackslashes(StatusXml::instance().statusFilePath()))
      history_.push_back(parseStatus(contentOf(nativePath(to))));
    return renamed;
  }

 private:
  std::vector<SavedStatus>& history_;
};

WideText SavedStatus::exitCode() const {
  const auto found = attributes.find(u"exitCode");
  return found == attributes.end() ? WideText() : found->second;
}

SavedStatus parseStatus(const std::string& text) {
  SavedStatus status;
  status.document = text;
  TiXmlDocument document;
  parseToTheLetter(text, document);
  if (document.RootElement() == nullptr) return status;
  for (const TiXmlElement* element = document.RootElement()->FirstChildElement(); element != nullptr;
       element = element->NextSiblingElement()) {
    const std::string name = element->ValueStr();
    const WideText value = toWide(element->GetText() != nullptr ? element->GetText() : "");
    if (name == "stat") {
      status.state = textToInteger(value);
    } else if (name.starts_with("description")) {
      status.descriptions.push_back(value);
      const char* attribute = element->Attribute(("attribute" + name.substr(11)).c_str());
      status.descriptionAttributes.push_back(toWide(attribute != nullptr ? attribute : ""));
    } else {
      status.attributes[toWide(name)] = value;
    }
  }
  return status;
}

JobTest::JobTest() : systemTemp_("TMP", (folder.native() / "tmp").string()) {
  resetProcess();
  channelName = "ZELMORATevra_tmp";
  commandsInSharedMemory = false;
  programFileName = u"TevraCLI";
  userTempFolder = path(u"temp");
  workTempFolder = path(u"temp") + u"\\ZELMORATevra_tmp";
  backupRootFolder = path(u"backups");
  makeFolder(path(u"tmp/ZELMORATevra_tmp"));
  makeFolder(path(u"temp/ZELMORATevra_tmp"));
  makeFolder(path(u"backups"));

  machine_ = platform::nativeMachine();
  recorder_ = std::make_unique<RecordingFileSystem>(*machine_.files, history_);
  machine_.files = recorder_.get();
  machine_.clock = &clock;
  useMachine(machine_);
}

JobTest::~JobTest() {
  scope_.reset();
  resetProcess();
}

WideText JobTest::path(WideView relative) const {
  return folder.path() + u'/' + WideText(relative);
}

void JobTest::writeFile(const WideText& path, const std::string& content) const {
  fs::create_directories(nativePath(path).parent_path());
  std::ofstream(nativePath(path), std::ios::binary) << content;
}

std::string JobTest::readFile(const WideText& path) const {
  return contentOf(nativePath(path));
}

bool JobTest::fileExists(const WideText& path) const {
  return fs::is_regular_file(nativePath(path));
}

void JobTest::makeFolder(const WideText& path) const {
  fs::create_directories(nativePath(path));
}

std::vector<std::string> JobTest::tree(const WideText& path) const {
  std::vector<std::string> entries;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(nativePath(path))) {
    const std::string name = fs::relative(entry.path(), nativePath(path)).generic_string();
    entries.push_back(entry.is_directory() ? name + "/" : name);
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

SavedStatus JobTest::status() const {
  return parseStatus(readFile(StatusXml::instance().statusFilePath()));
}

void JobTest::startLog() {
  writeFile(path(u"log.xml"), "");
  BackendLogger::instance(path(u"log.xml"));
}

std::vector<WideText> JobTest::logLines() const {
  std::vector<WideText> lines;
  TiXmlDocument document;
  parseToTheLetter(readFile(path(u"log.xml")), document);
  const TiXmlElement* root = document.RootElement();
  for (const TiXmlElement* line = root != nullptr ? root->FirstChildElement() : nullptr; line != nullptr;
       line = line->NextSiblingElement())
    lines.push_back(toWide(line->GetText() != nullptr ? line->GetText() : ""));
  if (!lines.empty()) lines.erase(lines.begin());
  return lines;
}

bool JobTest::logHas(const WideText& line) const {
  const std::vector<WideText> lines = logLines();
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

void JobTest::useFileSystem(platform::FileSystem& files) {
  platform::Machine changed = machine_;
  changed.files = &files;
  useMachine(changed);
}

void JobTest::useMachine(const platform::Machine& machine) {
  scope_.reset();
  scope_ = std::make_unique<platform::ScopedMachine>(machine);
}

}  // namespace ZelmoraTevra
