// process_starts ROUNDS PROGRAM [ARGUMENT...]: starts /bin/true and the program in turn and prints what the
// program takes longer, in milliseconds: the difference of the medians, then the two medians.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

// From the start of a process to its end; nothing if it failed.
std::optional<double> millisecondsOf(char* const* command) {
  const auto start = std::chrono::steady_clock::now();
  pid_t process = 0;
  int status = 0;
  if (posix_spawn(&process, command[0], nullptr, nullptr, command, environ) != 0) return std::nullopt;
  if (waitpid(process, &status, 0) != process || status != 0) return std::nullopt;
  return Milliseconds(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 2 ? std::atoi(argv[1]) : 0;
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: process_starts ROUNDS PROGRAM [ARGUMENT...]\n");
    return 2;
  }
  char truePath[] = "/bin/true";
  char* const nothing[] = {truePath, nullptr};
  std::vector<double> ofNothing;
  std::vector<double> ofProgram;
  for (int round = 0; round < rounds; ++round) {
    const std::optional<double> shorter = millisecondsOf(nothing);
    const std::optional<double> longer = millisecondsOf(argv + 2);
    if (!shorter || !longer) {
      std::fprintf(stderr, "process_starts: %s failed\n", argv[2]);
      return 1;
    }
    ofNothing.push_back(*shorter);
    ofProgram.push_back(*longer);
  }
  const double base = median(ofNothing);
  const double program = median(ofProgram);
  std::printf("%.3f %.3f %.3f\n", program - base, base, program);
  return 0;
}
