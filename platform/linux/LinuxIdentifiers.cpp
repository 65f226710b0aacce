#include "platform/linux/LinuxIdentifiers.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <exception>

namespace ZelmoraTevra::platform {

WideText LinuxIdentifiers::newGuid() {
  try {
    const std::string guid = boost::uuids::to_string(boost::uuids::random_generator_pure()());
    return WideText(guid.begin(), guid.end());
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace ZelmoraTevra::platform
