// The Windows functions a 32-bit module imports, answered inside a 32-bit
// Linux process so that the shipped vesk.p runs as it would under the host:
// the C runtime's memory, string, number and file functions (mapped to the C
// library where Windows behaves the same, our own where it does not), the
// kernel's critical sections, thread-local storage, thread start and the few
// process functions the MinGW start-up asks for, and window and drawing
// functions answering as a host without a screen. 32-bit Linux builds only.
#pragma once

#include <cstdint>
#include <string>

// The address of the named import (WINDOWS-DLL, function or data name), or 0
// when this runtime does not provide it.
uint32_t WindowsImport(const std::string &dll, const std::string &name);

// Gives the calling thread the thread block Windows code finds through the FS
// segment (its stack bounds, its own address); false, with the reason, when
// the system refuses the segment.
bool PrepareWindowsThread(std::string *error);

// Where the loaded module lies (its handle, as GetModuleHandleEx answers).
void NoteWindowsModuleBase(uint32_t base);
// The calling thread's array of the module's thread-local blocks.
void SetWindowsThreadStorage(void *blocks);
