// floor - the least that removing things can cost: walks, deletes and writes one line to a log for each thing, and
// nothing else. The program's times are given as multiples of this one's.
//
//   floor folder PATH LOG      a folder with everything in it
//   floor key KEY LOG          a registry key with its values and everything below it
//   floor children LIST        starts what a run of the program on a bare machine starts, in the same ways (below)
//
// It checks nothing: links are followed, names are not examined, and a failure ends it with exit code 1. LIST has
// tab-separated lines:
//
//   start    COMMAND_LINE             CreateProcessW without waiting
//   wait     COMMAND_LINE FOLDER      CreateProcessW in that folder, waits until it has ended
//   shell    FILE PARAMETERS          ShellExecuteExW without waiting

#include <cstdio>
#include <cstdlib>
#include <string>

#include <windows.h>
#include <shellapi.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

FileHandle logFile;

[[noreturn]] void fail(const char* what, DWORD code) {
  std::fprintf(stderr, "floor: %s (%lu)\n", what, code);
  std::exit(1);
}

void writeLine(const std::wstring& thing) {
  static std::string line;
  line.resize(thing.size() + 2);
  for (std::size_t i = 0; i < thing.size(); ++i) {
    line[i] = static_cast<char>(thing[i]);
  }
  line[thing.size()] = '\r';
  line[thing.size() + 1] = '\n';
  DWORD written = 0;
  ::WriteFile(logFile.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void removeFolder(const std::wstring& path) {
  WIN32_FIND_DATAW found = {};
  {
    const FindHandle find(::FindFirstFileExW((path + L"\\*").c_str(), FindExInfoBasic, &found, FindExSearchNameMatch,
                                             nullptr, FIND_FIRST_EX_LARGE_FETCH));
    if (!find) {
      fail("a folder cannot be read", ::GetLastError());
    }
    do {
      const std::wstring_view name = found.cFileName;
      if (name == L"." || name == L"..") {
        continue;
      }
      const std::wstring below = path + L'\\' + found.cFileName;
      if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        removeFolder(below);
        continue;
      }
      writeLine(below);
      if (!::DeleteFileW(below.c_str())) {
        fail("a file cannot be deleted", ::GetLastError());
      }
    } while (::FindNextFileW(find.get(), &found));
  }
  writeLine(path);
  if (!::RemoveDirectoryW(path.c_str())) {
    fail("a folder cannot be removed", ::GetLastError());
  }
}

// The key itself stays until the caller deletes it.
void emptyKey(HKEY key, const std::wstring& path) {
  wchar_t name[16'384] = {};
  for (;;) {
    DWORD length = ARRAYSIZE(name);
    if (::RegEnumValueW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
      break;
    }
    writeLine(path + L'\\' + name);
    if (const LSTATUS status = ::RegDeleteValueW(key, name); status != ERROR_SUCCESS) {
      fail("a value cannot be deleted", static_cast<DWORD>(status));
    }
  }
  for (;;) {
    DWORD length = ARRAYSIZE(name);
    if (::RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
      break;
    }
    const std::wstring subkeyName = name;
    const std::wstring below = path + L'\\' + subkeyName;
    {
      RegistryKey subkey;
      if (const LSTATUS status = ::RegOpenKeyExW(key, subkeyName.c_str(), 0, KEY_READ | KEY_SET_VALUE, subkey.put());
          status != ERROR_SUCCESS) {
        fail("a key cannot be opened", static_cast<DWORD>(status));
      }
      emptyKey(subkey.get(), below);
    }
    writeLine(below);
    if (const LSTATUS status = ::RegDeleteKeyW(key, subkeyName.c_str()); status != ERROR_SUCCESS) {
      fail("a key cannot be deleted", static_cast<DWORD>(status));
    }
  }
}

void removeKey(const std::wstring& path) {
  std::wstring subkey;
  const HKEY root = splitKeyPath({0, {L"key", path}}, path, subkey);
  {
    RegistryKey key;
    if (::RegOpenKeyExW(root, subkey.c_str(), 0, KEY_READ | KEY_SET_VALUE, key.put()) != ERROR_SUCCESS) {
      return;  // a machine without a load
    }
    emptyKey(key.get(), path);
  }
  writeLine(path);
  if (const LSTATUS status = ::RegDeleteKeyW(root, subkey.c_str()); status != ERROR_SUCCESS) {
    fail("a key cannot be deleted", static_cast<DWORD>(status));
  }
}

void startProcess(const BenchLine& line, const wchar_t* folder, bool wait) {
  std::wstring commandLine = line.argument(0);
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started = {};
  // A program or folder that the machine lacks costs nothing here either.
  if (::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, folder,
                       &startup, &started)) {
    const KernelHandle process(started.hProcess);
    const KernelHandle thread(started.hThread);
    if (wait) {
      ::WaitForSingleObject(process.get(), INFINITE);
    }
  }
}

void startWithShell(const BenchLine& line) {
  const std::wstring file = line.argument(0);
  const std::wstring parameters = line.argument(1);
  SHELLEXECUTEINFOW info = {};
  info.cbSize = sizeof(info);
  info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC;
  info.lpVerb = L"open";
  info.lpFile = file.c_str();
  info.lpParameters = parameters.c_str();
  info.nShow = SW_HIDE;
  ::ShellExecuteExW(&info);
}

void startChildren(const wchar_t* list) {
  for (const BenchLine& line : readBenchList(list)) {
    if (line.verb() == L"start") {
      startProcess(line, line.argument(1).empty() ? nullptr : line.argument(1).c_str(), false);
    } else if (line.verb() == L"wait") {
      startProcess(line, line.argument(1).empty() ? nullptr : line.argument(1).c_str(), true);
    } else if (line.verb() == L"shell") {
      startWithShell(line);
    } else {
      failLine(line, "unknown verb", ERROR_INVALID_PARAMETER);
    }
  }
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  const std::wstring verb = argumentCount > 1 ? arguments[1] : L"";
  if (verb == L"children" && argumentCount == 3) {
    startChildren(arguments[2]);
    return 0;
  }
  if ((verb != L"folder" && verb != L"key") || argumentCount != 4) {
    std::fprintf(stderr, "usage: floor folder PATH LOG | floor key KEY LOG | floor children LIST\n");
    return 2;
  }
  logFile.reset(::CreateFileW(arguments[3], GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!logFile) {
    fail("the log cannot be written", ::GetLastError());
  }
  if (verb == L"key") {
    removeKey(arguments[2]);
  } else if (::GetFileAttributesW(arguments[2]) != INVALID_FILE_ATTRIBUTES) {
    removeFolder(arguments[2]);
  }
  return 0;
}
