// make_maps FOLDER FILES BYTES: fills a folder with files of the given size in subfolders of 100, the same at
// each run. Like the maps of a navigation device they consist of tiles that are packed already and of tables
// that aren't, so that a zip archive saves a part of them.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

constexpr std::size_t sectionBytes = 4096;
constexpr int filesPerFolder = 100;

// Bytes that don't compress.
void appendTile(std::string& text, std::mt19937_64& random) {
  for (std::size_t i = 0; i < sectionBytes; i += 8) {
    std::uint64_t bits = random();
    for (int k = 0; k < 8; ++k, bits >>= 8) text += static_cast<char>(bits & 0xFF);
  }
}

// A line on the map: points in 32-bit numbers, each near the one before.
void appendLine(std::string& text, std::mt19937_64& random) {
  std::uint32_t east = static_cast<std::uint32_t>(random());
  std::uint32_t north = static_cast<std::uint32_t>(random());
  for (std::size_t i = 0; i < sectionBytes; i += 8) {
    const std::uint64_t bits = random();
    east += static_cast<std::uint32_t>(bits & 0x3F);
    north += static_cast<std::uint32_t>(bits >> 6 & 0x3F);
    for (int k = 0; k < 4; ++k) text += static_cast<char>(east >> (8 * k) & 0xFF);
    for (int k = 0; k < 4; ++k) text += static_cast<char>(north >> (8 * k) & 0xFF);
  }
}

// Tiles and lines in turn, from the given one on: small files then are of one kind or the other.
std::string mapBytes(std::size_t size, int section, std::mt19937_64& random) {
  std::string text;
  for (; text.size() < size; ++section) {
    if (section % 3 == 2)
      appendLine(text, random);
    else
      appendTile(text, random);
  }
  text.resize(size);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  const int files = argc == 4 ? std::atoi(argv[2]) : 0;
  const long bytes = argc == 4 ? std::atol(argv[3]) : 0;
  if (files <= 0 || bytes <= 0) {
    std::fprintf(stderr, "usage: make_maps FOLDER FILES BYTES\n");
    return 2;
  }
  std::mt19937_64 random(static_cast<std::uint64_t>(files));
  for (int i = 0; i < files; ++i) {
    const std::filesystem::path folder =
        std::filesystem::path(argv[1]) / ("region" + std::to_string(i / filesPerFolder));
    std::filesystem::create_directories(folder);
    const std::filesystem::path path = folder / ("map" + std::to_string(i) + ".dat");
    std::ofstream file(path, std::ios::binary);
    if (!(file << mapBytes(static_cast<std::size_t>(bytes), i, random)).flush()) {
      std::perror(path.c_str());
      return 1;
    }
  }
  return 0;
}
