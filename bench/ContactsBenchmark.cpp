#include <benchmark/benchmark.h>

#include "core/Text.h"
#include "userdata/ContactList.h"

namespace ZelmoraTevra {

namespace {

// A list of contacts with all fields, some of them with markup.
WideText sampleContacts(std::int64_t count) {
  WideText list = u"<contacts>";
  for (std::int64_t number = 0; number < count; ++number) {
    const WideText text = numberText(number);
    list +=
        u"<contact><name>Anna &amp; Karl " + text + u"</name><company>\"Bergwerk\" " + text + u"</company>";
    list += u"<countryCode>AT</countryCode><cityName>Innsbruck</cityName><cityPostal>6020</cityPostal>";
    list += u"<streetName>Maximilianstra\u00DFe</streetName><houseNumber>" + text + u"</houseNumber>";
    list += u"<homeTelephone>1" + text + u"</homeTelephone><home2Telephone>2" + text + u"</home2Telephone>";
    list += u"<businessTelephone>3" + text + u"</businessTelephone><business2Telephone>4" + text;
    list += u"</business2Telephone><mobileTelephone>5" + text + u"</mobileTelephone></contact>";
  }
  return list + u"</contacts>";
}

void importContacts(benchmark::State& state) {
  const WideText list = sampleContacts(state.range(0));
  for (auto run : state) {
    std::vector<Contact> contacts;
    if (!readContacts(list, contacts)) state.SkipWithError("The list can't be read.");
    benchmark::DoNotOptimize(contactsFileContent(contacts));
  }
}
BENCHMARK(importContacts)->Arg(10000)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace ZelmoraTevra
