// Starts a built 32-bit Windows module (vesk.p) inside this 32-bit Linux
// process as Windows would: laid out at an address of its own, its imports
// answered by our runtime, the thread block in place, its thread-local
// callbacks and its DLL entry point run for process attach. Stopping it runs
// them again for process detach. 32-bit Linux builds only.
#pragma once

#include <string>

struct WindowsModule;

// The module's exported "_mod_descrip" through *descriptor; null, with one
// line naming the file and the reason, when it cannot be started.
WindowsModule *StartWindowsModule(const std::string &path, const void **descriptor, std::string *error);
void StopWindowsModule(WindowsModule *module);
