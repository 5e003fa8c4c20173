// link_seam - lets a test program replace a Windows function. The test defines the function, the linker takes it
// instead of the import, and product code calls it unawares. Use it only for what the test machine cannot be made to
// do, and call the real function by default, because the C++ library uses the replacement too.
//
//   LINK_SEAM(BOOL, DeleteService, (SC_HANDLE service)) {
//     return failWith ? (::SetLastError(failWith), FALSE)
//                     : realFunction<decltype(&::DeleteService)>(L"advapi32.dll", "DeleteService")(service);
//   }
#pragma once

#include <windows.h>

// Two symbols: __imp_X is for callers that see X declared as imported, X itself for those that do not.
#define LINK_SEAM(result, name, parameters)                       \
  extern "C" result WINAPI seam_##name parameters __asm__(#name); \
  extern "C" {                                                    \
  extern result(WINAPI* __imp_##name) parameters;                 \
  result(WINAPI* __imp_##name) parameters = seam_##name;          \
  }                                                               \
  result WINAPI seam_##name parameters

// The function that LINK_SEAM replaces.
template <class Function>
Function realFunction(const wchar_t* library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(library), name)));
}
