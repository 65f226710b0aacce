#include <benchmark/benchmark.h>

#include <fstream>

#include "core/BackendLogger.h"
#include "core/Text.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

namespace {

void writeLogLines(benchmark::State& state) {
  const TemporaryFolder folder;
  for (auto run : state) {
    std::ofstream(folder.native() / "log.xml", std::ios::trunc).close();
    BackendLogger logger(folder.path() + u"/log.xml");
    for (std::int64_t i = 0; i < state.range(0); ++i)
      logger.write(u"Readed OK " + numberText(i) + u", one line like another");
  }
}
BENCHMARK(writeLogLines)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond);

// The log of an earlier run is read and continued by one line.
void continueLog(benchmark::State& state) {
  const TemporaryFolder folder;
  const WideText path = folder.path() + u"/log.xml";
  std::ofstream(folder.native() / "log.xml").close();
  {
    BackendLogger earlier(path);
    for (std::int64_t i = 0; i < state.range(0); ++i) earlier.write(u"A line of an earlier run");
  }
  for (auto run : state) {
    BackendLogger logger(path);
    logger.write(u"Backend started! ");
  }
}
BENCHMARK(continueLog)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace ZelmoraTevra
