#pragma once

namespace ZelmoraTevra::platform {

// To be called before anything is opened. A standard stream that the program was started without leads to
// nothing from here on; else the first file that is opened would take its place, and get what is printed.
// What is printed to a front end that has closed its end is lost; else the job would end by the signal.
void prepareStandardStreams();

}  // namespace ZelmoraTevra::platform
