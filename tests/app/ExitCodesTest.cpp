#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

const std::string& sources() {
  static const std::string all = [] {
    std::string text;
    for (const char* folder : {"app", "core", "install", "device", "backup", "userdata"}) {
      for (const auto& entry : fs::directory_iterator(fs::path(TEVRA_SOURCE_DIR) / folder))
        if (entry.path().extension() == ".cpp") text += contentOf(entry.path());
    }
    // A long message stands in several literals.
    return std::regex_replace(text, std::regex(R"("\n +u")"), "");
  }();
  return all;
}

std::string table() {
  return contentOf(fs::path(TEVRA_SOURCE_DIR) / "docs/exit-codes.md");
}

// Every text of the pattern's groups, wherever the pattern matches.
std::set<std::string> allGroups(const std::string& text, const std::string& pattern) {
  std::set<std::string> found;
  const std::regex expression(pattern);
  for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match) {
    for (std::size_t group = 1; group < match->size(); ++group) found.insert(match->str(group));
  }
  return found;
}

std::set<std::string> codesInTheSources() {
  std::set<std::string> codes;
  for (const char* pattern : {
           R"re((?:ErrorReport|[Rr]eport|fail[A-Za-z]*)\(\s*(1\d{3})\b)re",
           R"re(saveState\(\w+,\s*(1\d{3})\))re",
           R"re(exitCode",\s*(?:u"|numberText\()(1\d{3})\b)re",
           R"re(\?\s*(1\d{3})\s*:\s*(1\d{3})\b)re",
           R"re(\.\w+ = \{?(1\d{3})\b)re",
           R"re(reportDamagedFiles\(.*, (1\d{3})\))re",
       })
    codes.merge(allGroups(sources(), pattern));
  return codes;
}

TEST(ExitCodesTest, TheTableHasAllCodesOfTheProgramAndNoOther) {
  const std::set<std::string> documented = allGroups(table(), R"(\n\| (1\d{3}) \|)");
  EXPECT_GT(documented.size(), 50U);
  EXPECT_EQ(documented, codesInTheSources());
}

TEST(ExitCodesTest, EachMessageOfTheTableIsOneOfTheProgram) {
  // A message in the table may hold a part in angle brackets, which stands for a path.
  const std::set<std::string> messages = allGroups(table(), R"(\n\| 1\d{3} \| \d+ \| \d+ \| `([^`]*)` \|)");
  EXPECT_GT(messages.size(), 30U);
  for (const std::string& message : messages) {
    const std::string start = message.substr(0, message.find('<'));
    EXPECT_NE(sources().find("u\"" + start), std::string::npos) << message;
  }
}

TEST(ExitCodesTest, EachRowIsWhole) {
  std::ifstream lines(fs::path(TEVRA_SOURCE_DIR) / "docs/exit-codes.md");
  const std::regex row(R"(\| 1\d{3} \| \d+ \| [^|]+ \| [^|]+ \| [^|]+ \| [^|]+ \|)");
  for (std::string line; std::getline(lines, line);)
    EXPECT_TRUE(!line.starts_with("| 1") || std::regex_match(line, row)) << line;
}

}  // namespace
}  // namespace ZelmoraTevra
