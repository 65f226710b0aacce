#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

struct HttpUrlParts {
  WideText protocol;
  WideText host;
  WideText path;           // from the first "/" behind the host up to the "?"
  WideText pathWithQuery;  // from the same "/" to the end
};

// All parts are empty unless the URL has a protocol, "://", a host that ends in "/", and a query: the
// servers' URLs always carry one, and a URL without it is a damaged one.
[[nodiscard]] HttpUrlParts splitUrl(const WideText& url);

// Whether it is a whole URL of the protocol HTTP, in either case.
[[nodiscard]] bool isValidHttpUrl(const HttpUrlParts& parts);

// The last component of the path. Empty if it isn't a plain file name, one that stays in whatever folder it
// is joined to on every platform.
[[nodiscard]] WideText fileNameOfUrl(const HttpUrlParts& parts);

}  // namespace ZelmoraTevra
