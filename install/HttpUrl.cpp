#include "install/HttpUrl.h"

#include <algorithm>

#include "core/PathBelowRoot.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

// A line end in a URL would add lines of its own to the request.
bool hasControlCharacter(WideView text) {
  return std::any_of(text.begin(), text.end(), [](char16_t unit) { return unit < u' ' || unit == u'\x7F'; });
}

}  // namespace

HttpUrlParts splitUrl(const WideText& url) {
  const std::size_t colon = url.find(u':');
  const std::size_t mark = url.find(u"://");
  if (mark == WideText::npos) return {};
  const std::size_t host = mark + 3;
  const std::size_t slash = url.find(u'/', host);
  const std::size_t question = slash == WideText::npos ? slash : url.find(u'?', slash);
  if (question == WideText::npos) return {};
  return {url.substr(0, colon), url.substr(host, slash - host), url.substr(slash, question - slash),
          url.substr(slash)};
}

bool isValidHttpUrl(const HttpUrlParts& parts) {
  return equalsIgnoringAsciiCase(parts.protocol, u"HTTP") && !parts.host.empty() && !parts.path.empty() &&
         !hasControlCharacter(parts.host) && !hasControlCharacter(parts.pathWithQuery);
}

WideText fileNameOfUrl(const HttpUrlParts& parts) {
  const WideText name = parts.path.substr(parts.path.rfind(u'/') + 1);
  // A backslash joins folders, and a colon names a drive or a hidden stream of another file.
  const bool plain = staysBelowRoot(name) && name != u"." && name.find_first_of(u"\\:") == WideText::npos;
  return plain ? name : WideText();
}

}  // namespace ZelmoraTevra
