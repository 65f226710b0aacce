#pragma once

#include <optional>
#include <string>

namespace ZelmoraTevra {

// Sets an environment variable, or takes it away, and puts it back at the end of the scope.
class ScopedEnvironment {
 public:
  ScopedEnvironment(std::string name, const std::optional<std::string>& value);
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  std::string name_;
  std::optional<std::string> previous_;
};

}  // namespace ZelmoraTevra
