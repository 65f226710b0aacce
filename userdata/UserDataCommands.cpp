#include "userdata/UserDataCommands.h"

namespace ZelmoraTevra {

void addUserDataCommands(CommandTable&) {}

}  // namespace ZelmoraTevra
