#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// One entry of the user's address book. Any text may be empty.
struct Contact {
  WideText name;
  WideText company;
  WideText countryCode;
  WideText cityName;
  WideText cityPostal;
  WideText streetName;
  WideText houseNumber;
  WideText homeTelephone;
  WideText home2Telephone;
  WideText businessTelephone;
  WideText business2Telephone;
  WideText mobileTelephone;
};

}  // namespace ZelmoraTevra
