// The Windows functions a 32-bit module imports, answered inside a 32-bit
// Linux process so that a module (the shipped vesk.p, or a module nobody here
// built) runs as it would under the host. The parts, by DLL and area:
// c_runtime.cpp (msvcrt), kernel_memory.cpp (heaps, virtual memory, threads,
// synchronisation, time), kernel_files.cpp (handles and files, environment,
// code pages, modules, the process), screenless.cpp (windows and drawing, as
// a host without a screen). 32-bit Linux builds only.
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

// Where the loaded module lies (its handle, as GetModuleHandleEx answers) and
// the file it came from (as GetModuleFileName answers).
void NoteWindowsModule(uint32_t base, const std::string &path);

// Calls into the module: true when the call returned; false, with the code it
// gave, when the module asked to end the process, which a host refuses: only
// the call ends.
bool CallWindowsModule(void (*call)(void *), void *data, uint32_t *exitCode);
// What ExitProcess does: back to the innermost CallWindowsModule.
[[noreturn]] void EndWindowsModuleCall(uint32_t code);
// The calling thread's array of the module's thread-local blocks.
void SetWindowsThreadStorage(void *blocks);
