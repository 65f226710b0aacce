#include "tests/userdata/UserDataTest.h"

#include "core/ProgressObserver.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

bool UserDataTest::read(const WideText& name, const std::string& children, const std::string& attributes) {
  TiXmlDocument document;
  EXPECT_TRUE(parseXml("<Command " + attributes + ">" + children + "</Command>", document));
  record = {};
  record.commandName = name;
  return table.at(name).read(*document.RootElement(), record);
}

void UserDataTest::failEachOperation(const CommandRecord& command, const std::function<void()>& prepare,
                                     const std::function<void(int result, const std::string& when)>& check) {
  for (const bool all : {false, true}) {
    bool failed = true;
    for (int operation = 1; failed; ++operation) {
      ASSERT_LT(operation, 500);
      prepare();
      FaultyFileSystem faulty(disk);
      faulty.failAt = operation;
      faulty.failAllAfter = all;
      const int result = runOn(faulty, command);
      failed = faulty.count >= operation;
      check(result, (all ? "all from operation " : "operation ") + std::to_string(operation));
      ProgressObserver::destroy();
    }
  }
}

void UserDataTest::killAtEachOperation(const CommandRecord& command, const std::function<void()>& prepare,
                                       const std::function<void(const std::string& when)>& check) {
  bool ended = false;
  for (int operation = 1; !ended; ++operation) {
    ASSERT_LT(operation, 500);
    prepare();
    ended = runsToItsEnd([&] {
      FaultyFileSystem killing(disk);
      killing.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      static_cast<void>(runOn(killing, command));
    });
    check("killed at operation " + std::to_string(operation));
  }
}

}  // namespace ZelmoraTevra
