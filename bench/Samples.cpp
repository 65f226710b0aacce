#include "bench/Samples.h"

#include "core/Text.h"

namespace ZelmoraTevra {

WideText sampleClient(std::int64_t index) {
  return u"content/region" + numberText(index / 100) + u"/map" + numberText(index) + u".dat";
}

std::string sampleDescription(std::int64_t updates, std::int64_t filesOfEach) {
  std::string text = R"(<?xml version="1.0" encoding="UTF-8"?><install version="1.0">)";
  for (std::int64_t update = 0; update < updates; ++update) {
    text +=
        R"(<update install_location="storage_for_software" update_size="4096"><company>ZELMORA</company><name>Map )";
    text += std::to_string(update);
    text += "</name><version>2026.2.0</version><update>1</update><uninstall>1</uninstall>";
    for (std::int64_t file = 0; file < filesOfEach; ++file) {
      const std::string path = toUtf8(sampleClient(update * filesOfEach + file));
      text += R"(<file file_size="4096" hash_key="9E107D9D372BB6826BD81D3542A419D6"><local>)" + path +
              "</local><client>" + path + "</client></file>";
    }
    text += "</update>";
  }
  return text + "</install>";
}

}  // namespace ZelmoraTevra
