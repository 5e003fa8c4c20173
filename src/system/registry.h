// registry - registry paths as the manifest writes them (root's full name, backslash, subkey), and reading single keys
// and values. Writes nothing. The process is 64-bit and passes no view flag: 32-bit keys are reached through explicit
// WOW6432Node paths. registry_walk walks whole trees.
#pragma once

#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <windows.h>

#include "system/handles.h"

// The failure of a registry call that its caller cannot do without: the Win32 status in the system category, and a
// fixed text.
class RegKeyError : public std::system_error {
 public:
  RegKeyError(LSTATUS status, const char* text);
};

// The root with this full name ("HKEY_LOCAL_MACHINE" and so on), compared with case; null for any other text. A call to
// delete below a null handle fails, so a misspelt root ends up on a failure list.
HKEY ParseRootKey(std::wstring_view rootName);

// The full name of a predefined root handle; empty for any other handle.
std::wstring_view RootKeyName(HKEY root);

// Splits a registry path at its first backslash into root name and subkey. Without a backslash, each is the whole text.
std::pair<std::wstring, std::wstring> splitRegistryPath(std::wstring_view path);

// Opens a key with RegOpenKeyExW. Throws RegKeyError "Unable to open registry key".
RegistryKey OpenRegistryKey(HKEY root, const wchar_t* subkey, REGSAM access);
RegistryKey OpenRegistryKey(HKEY root, std::wstring subkey, REGSAM access);

// Reads a REG_SZ value through RegGetValueW into a buffer of 260 bytes, terminator included: a value of more than 129
// characters counts as unreadable. Throws RegKeyError "Unable to get registry value".
std::wstring GetRegistryString(HKEY key, const wchar_t* subkey, const wchar_t* valueName);

// The names of the direct subkeys in enumeration order. `key` needs KEY_READ. Throws RegKeyError "Unable to get query
// key information" or "Unable to get enumerate subkeys".
std::vector<std::wstring> EnumerateSubkeys(HKEY key);

// The names of all values of an open key in enumeration order, the nameless one included. Throws RegKeyError with the
// texts of EnumerateSubkeys.
std::vector<std::wstring> ListValueNames(HKEY key);
