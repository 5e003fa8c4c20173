// test_registry - plants registry keys and values for a test, and reads them afterwards.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

// Creates a key and its parents. Paths are "HKEY_LOCAL_MACHINE\SOFTWARE\..." as in the manifest.
void plantKey(const std::wstring& path);
void plantString(const std::wstring& path, const std::wstring& name, const std::wstring& text, DWORD type = REG_SZ);
void plantDword(const std::wstring& path, const std::wstring& name, DWORD number);
void plantBinary(const std::wstring& path, const std::wstring& name, DWORD type, const std::vector<BYTE>& data);

bool keyExists(const std::wstring& path);
bool valueExists(const std::wstring& path, const std::wstring& name);
std::optional<std::wstring> readString(const std::wstring& path, const std::wstring& name);
std::optional<DWORD> readDword(const std::wstring& path, const std::wstring& name);

// Removes a key with everything below it. A missing key is not a failure.
void removeKey(const std::wstring& path);
