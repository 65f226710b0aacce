#include "tests/support/TemporaryFolder.h"

#include <stdlib.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace ZelmoraTevra {

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "tevra_test_XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
  native_ = name;
  path_ = native_.u16string();
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  // A test may leave folders in which nothing can be removed by a user without all rights.
  for (const auto& entry : std::filesystem::recursive_directory_iterator(native_, ignored)) {
    if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all,
                                   std::filesystem::perm_options::add, ignored);
    }
  }
  std::filesystem::remove_all(native_, ignored);
}

}  // namespace ZelmoraTevra
