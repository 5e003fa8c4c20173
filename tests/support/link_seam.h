// link_seam - lets a test program take the place of a Windows function. The test defines the function, the linker takes
// it instead of the import, and product code calls it without knowing. Use it only for what the test machine cannot be
// made to do, and call through to the real function by default: the C++ library comes this way too.
//
//   LINK_SEAM(BOOL, DeleteService, (SC_HANDLE service)) {
//     return failWith ? (::SetLastError(failWith), FALSE)
//                     : realFunction<decltype(&::DeleteService)>(L"advapi32.dll", "DeleteService")(service);
//   }
#pragma once

#include <windows.h>

// Two symbols: __imp_X serves callers that see X as imported, X itself those whose header does not say so.
#define LINK_SEAM(result, name, parameters)                       \
  extern "C" result WINAPI seam_##name parameters __asm__(#name); \
  extern "C" {                                                    \
  extern result(WINAPI* __imp_##name) parameters;                 \
  result(WINAPI* __imp_##name) parameters = seam_##name;          \
  }                                                               \
  result WINAPI seam_##name parameters

// The function that LINK_SEAM has replaced.
template <class Function>
Function realFunction(const wchar_t* library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(library), name)));
}
