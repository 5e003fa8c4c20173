// device_registry - reads and writes the part of the registry where the test machine keeps its devices and packages.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "system/handles.h"

// In a namespace, because the tests have functions with the same names for keys of every root.
namespace bench {

inline const std::wstring kEnumKey = L"SYSTEM\\CurrentControlSet\\Enum\\";
inline const std::wstring kClassKey = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";
inline const std::wstring kDevicesKey = L"SOFTWARE\\Bench Devices";
inline const std::wstring kPackagesKey = L"SOFTWARE\\Bench Packages\\";
// A key for each INF, with a value for each device that ever had a driver node of it, so that removing a package does
// not mean reading every device.
inline const std::wstring kUsersKey = L"SOFTWARE\\Bench Driver Users\\";

// Keys are below HKEY_LOCAL_MACHINE. A value that cannot be read is empty or the default.
bool keyExists(const std::wstring& key);
std::vector<std::wstring> subkeysOf(const std::wstring& key);
std::vector<std::wstring> valuesOf(const std::wstring& key);
std::wstring readText(const std::wstring& key, const std::wstring& name);
std::vector<std::wstring> readTexts(const std::wstring& key, const std::wstring& name);
DWORD readNumber(const std::wstring& key, const std::wstring& name, DWORD absent = 0);

// These throw std::runtime_error if the machine refuses.
void makeKey(const std::wstring& key);
void writeText(const std::wstring& key, const std::wstring& name, const std::wstring& text);
void writeTexts(const std::wstring& key, const std::wstring& name, const std::vector<std::wstring>& texts);
void writeNumber(const std::wstring& key, const std::wstring& name, DWORD number);
void deleteValue(const std::wstring& key, const std::wstring& name);
void deleteTree(const std::wstring& key);

inline std::wstring deviceKey(const std::wstring& id) {
  return kEnumKey + id;
}
inline std::wstring benchKey(const std::wstring& id) {
  return kEnumKey + id + L"\\Bench";
}

// The error that a call should fail with, from the subkey Fail of that key; 0 if it should work. Counts the failure.
DWORD plannedFailure(const std::wstring& key, const std::wstring& call);

// Appends "<call> <what> -> <error>" to the record of requested changes.
void recordCall(const std::wstring& call, const std::wstring& what, DWORD error);

bool equalsNoCase(const std::wstring& left, const std::wstring& right);

}  // namespace bench
