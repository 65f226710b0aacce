#include "backup/ShortForm.h"

#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t longestShortName = 8;
constexpr std::size_t keptUnits = 6;

// Of Latin letters only, with one capital for each: others are rare in the names of system folders.
char16_t toCapital(char16_t unit) {
  const bool isSmall = (unit >= u'a' && unit <= u'z') || (unit >= u'à' && unit <= u'þ' && unit != u'÷');
  return isSmall ? static_cast<char16_t>(unit - (u'a' - u'A')) : unit;
}

WideText shortName(const WideText& name) {
  if (name.size() <= longestShortName) return name;
  WideText kept;
  for (const char16_t unit : name)
    if (unit != u' ' && kept.size() < keptUnits) kept += toCapital(unit);
  return kept + u"~1";
}

}  // namespace

WideText shortForm(const WideText& path) {
  WideText form;
  for (const WideText& name : split(toBackslashes(path), u'\\')) form.append(shortName(name)) += u'\\';
  while (!form.empty() && form.back() == u'\\') form.pop_back();
  return form;
}

}  // namespace ZelmoraTevra
