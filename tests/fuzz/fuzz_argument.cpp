// Whatever stands in the argument is either decoded into a text, and that into its fields, or refused. What
// was decoded can be encoded and decoded again.
#include <algorithm>
#include <string_view>
#include <vector>

#include "app/JobArgument.h"
#include "core/Base64.h"
#include "tests/fuzz/Must.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  const std::string_view argument(reinterpret_cast<const char*>(data), size);
  const auto text = decodeJobArgument(argument);
  if (!text) return 0;
  must(!text->empty());
  constexpr WideView around = u"\"' ";
  must(around.find(text->front()) == WideView::npos && around.find(text->back()) == WideView::npos);
  must(decodeJobArgument(encodeBase64(toUtf8(*text))) == text);

  const std::vector<WideText> fields = splitJobArgument(*text);
  must(fields.size() == static_cast<std::size_t>(std::count(text->begin(), text->end(), u'|')) + 1);
  for (const WideText& field : fields) {
    must(field.find(u'|') == WideText::npos && text->find(field) != WideText::npos);
    constexpr WideView blanks = u" \t";
    must(field.empty() ||
         (blanks.find(field.front()) == WideView::npos && blanks.find(field.back()) == WideView::npos));
  }
  return 0;
}
