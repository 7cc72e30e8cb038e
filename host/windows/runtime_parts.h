// What the parts of the Windows runtime share: each part stands in for one
// area of one DLL (msvcrt; the kernel's memory and threads; the kernel's
// files, environment and code pages; the window and drawing functions) and
// lists the functions and data it answers. runtime.cpp puts them together.
// 32-bit Linux builds only.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#define WINAPI __attribute__((stdcall))

// A function or datum the module may import, and where ours lies.
struct WindowsExport {
    const char *name;
    const void *address;
};

std::span<const WindowsExport> CRuntimeExports();
std::span<const WindowsExport> KernelMemoryExports();
std::span<const WindowsExport> KernelFileExports();
// The address of a window or drawing function's stand-in, or 0.
uint32_t ScreenlessExport(const std::string &name);

// The calling thread's last error, as GetLastError reads it.
void SetWindowsLastError(uint32_t error);
// The loaded module: its base (its handle) and the file it came from.
extern uint32_t windowsModuleBase;
extern std::string windowsModulePath;

inline uint32_t Address(const void *p) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p)); }
