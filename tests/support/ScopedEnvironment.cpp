#include "tests/support/ScopedEnvironment.h"

#include <stdlib.h>

#include <utility>

namespace ZelmoraTevra {

namespace {

void set(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    ::setenv(name.c_str(), value->c_str(), 1);
  } else {
    ::unsetenv(name.c_str());
  }
}

}  // namespace

ScopedEnvironment::ScopedEnvironment(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)) {
  if (const char* const previous = ::getenv(name_.c_str())) previous_ = previous;
  set(name_, value);
}

ScopedEnvironment::~ScopedEnvironment() {
  set(name_, previous_);
}

}  // namespace ZelmoraTevra
