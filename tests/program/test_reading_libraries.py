"""The reading libraries (orv_find in src/CMakeLists.txt) make no call that changes a machine: each call that their objects
make is one of those below, or harmless code of the compiler's own libraries. reading_program links all of them."""

from __future__ import annotations

import re
import subprocess
from collections.abc import Iterable
from pathlib import Path

from bench import ROOT
from tools.include_direction import library_sources

DEBUG = ROOT / "build" / "debug"
READING_PROGRAM = DEBUG / "tests" / "reading_program.exe"
READING_ARCHIVES = DEBUG / "tests" / "reading_archives.txt"
TOOLS = "x86_64-w64-mingw32-"

# What reading code may call of Windows. A call that is added here must not be able to change a machine, whatever it is
# given; those that can with the wrong argument are looked at by test_flags_that_create_or_delete_are_not_used.
ALLOWED = set("""
    CloseHandle CreateFileW FindClose FindFirstFileW FindNextFileW GetDriveTypeW GetFileAttributesW
    GetFileInformationByHandle GetFileInformationByHandleEx GetFileSizeEx GetFinalPathNameByHandleW GetFullPathNameW
    GetLongPathNameW NtQueryInformationFile PathFileExistsW PathGetDriveNumberW PathIsDirectoryW PathIsRootW
    PathSkipRootW ReadFile SetFilePointerEx

    GetModuleFileNameW GetSystemDirectoryW GetSystemMetrics GetSystemWindowsDirectoryW GetTempPathW GetWindowsDirectoryW
    SHGetFolderLocation SHGetFolderPathW SHGetKnownFolderPath SHGetMalloc SHGetPathFromIDListW

    RegCloseKey RegEnumKeyExW RegEnumValueW RegGetValueW RegNotifyChangeKeyValue RegOpenKeyExW RegOpenKeyW
    RegQueryInfoKeyW RegQueryValueExW

    CoCreateInstance CoInitialize CoSetProxyBlanket CoTaskMemFree CoUninitialize SysAllocString SysFreeString
    VariantClear VariantInit

    FreeLibrary GetProcAddress LoadLibraryExW FindResourceW LoadResource LockResource SizeofResource
    SetCurrentDirectoryW SetDefaultDllDirectories SetEnvironmentVariableW

    CompareStringOrdinal CreateEventW FileTimeToSystemTime IIDFromString FormatMessageW GetCurrentThreadId GetLastError
    LocalFree MultiByteToWideChar SetLastError WaitForSingleObject WideCharToMultiByte lstrcmpiW

    CM_Get_Child CM_Get_DevNode_Status CM_Get_Device_IDW CM_Get_Device_ID_Size CM_Get_Parent CM_Get_Sibling
    SetupCloseInfFile SetupDiBuildDriverInfoList SetupDiDestroyDeviceInfoList SetupDiDestroyDriverInfoList
    SetupDiEnumDeviceInfo SetupDiEnumDriverInfoW SetupDiGetClassDevsW SetupDiGetDeviceInstallParamsW
    SetupDiGetDeviceRegistryPropertyW SetupDiGetDriverInfoDetailW SetupDiOpenDevRegKey SetupDiSetDeviceInstallParamsW
    SetupFindFirstLineW SetupFindNextLine SetupGetStringFieldW SetupOpenInfFileW MsiEnumRelatedProductsW
    MsiGetProductInfoW

    _localtime64 _snprintf _snwprintf _vsnwprintf _wassert _wgetenv_s
""".split())

# What has no other way into a machine than the calls above: memory, text, threads' locks, the compiler's own support code.
HARMLESS = re.compile(
    r"_*(mem|wmem|str|wcs|to[wul]|isw?[a-z]+$|wcto|mbto|pthread_|atexit$|abort$|malloc$|free$|realloc$|chkstk_ms$)"
    r"|__|_Unwind_|\.refptr|(CLSID|FOLDERID|GUID|IID)_"
    r"|operator (new|delete)|(vtable|typeinfo)( name)? for |(non-virtual thunk to |[a-z]+ )?std::|__gnu_cxx::"
)
# Where the C++ library writes. std::filesystem is used for texts of paths and for its exception alone.
WRITING = re.compile(
    r"std::(__cxx11::)?basic_(ofstream|fstream|filebuf)|std::filesystem::(?!(__cxx11::)?(path|filesystem_error)\b)"
)
# What none of the libraries that are linked in may bring along either.
CHANGING = re.compile(
    r"(Copy|Delete|Move|Replace)File|(Create|Remove)Directory|CreateHardLink|CreateSymbolicLink|SetFileAttributes"
    r"|SHFileOperation|WriteFile|WritePrivateProfile|Reg(Create|Delete|Load|Rename|Replace|Restore|Save|Set|UnLoad)"
    r"|CreateProcess|ShellExecute|WinExec|TerminateProcess|_?w?(system|spawn|exec[lv])|_w?(mkdir|rmdir|unlink|remove|rename)"
    r"|(Change|Create|Delete|Start)Service|ChangeServiceConfig|ControlService|ExitWindows|InitiateS"
    r"|SetupDi(Call|Remove|Delete|Install|Create)|Setup(Uninstall|Copy|Queue|Commit|Install)|DiUn|DiIn|UpdateDriver"
    r"|CM_(Reenumerate|Set|Uninstall|Disable|Enable|Delete|Register)|Msi(Install|Configure|Remove|Reinstall|Set)"
)
# By these a call that may open and look becomes one that creates or deletes.
CHANGING_FLAGS = re.compile(
    r"\b(GENERIC_WRITE|GENERIC_ALL|FILE_WRITE_\w+|CREATE_NEW|CREATE_ALWAYS|OPEN_ALWAYS|TRUNCATE_EXISTING"
    r"|FILE_FLAG_DELETE_ON_CLOSE|CSIDL_FLAG_CREATE|KF_FLAG_CREATE|KF_FLAG_INIT|std::ofstream|std::wofstream|ios::out)\b"
)


def run(tool: str, *arguments: str | Path, given: str | None = None) -> str:
    return subprocess.run(
        [TOOLS + tool, *map(str, arguments)], check=True, capture_output=True, encoding="latin-1", input=given
    ).stdout


def symbols(files: Iterable[Path], kind: str) -> set[str]:
    """The names that the objects of these files define, or need, for C++ with its arguments."""
    listing = "\n".join(run("nm", kind, "--format=posix", file) for file in files)
    names = {line.split()[0] for line in listing.splitlines() if len(line.split()) > 1}
    plain = run("c++filt", given="\n".join(sorted(names))).splitlines()
    # In front of what a library of Windows has stands the mark of the table that it is called through.
    return {name.removeprefix("__imp_") for name in plain}


def calls_that_are_not_allowed(files: list[Path]) -> set[str]:
    needed = symbols(files, "--undefined-only") - symbols(files, "--defined-only")
    return {name for name in needed if name not in ALLOWED and (WRITING.search(name) or not HARMLESS.match(name))}


def reading_archives() -> list[Path]:
    # The names are those of the checkout that was configured.
    return [DEBUG / "src" / Path(line).name for line in READING_ARCHIVES.read_text("utf-8").split()]


def test_reading_libraries_call_nothing_but_what_reads() -> None:
    archives = reading_archives()
    assert DEBUG / "src" / "liborv_system_find.a" in archives
    assert "RegOpenKeyExW" in symbols(archives, "--undefined-only"), "no object was read"
    assert calls_that_are_not_allowed(archives) == set()


def test_what_is_linked_with_them_imports_nothing_that_changes_a_machine() -> None:
    listing = run("objdump", "-p", READING_PROGRAM)
    imported = set(re.findall(r"^\s+[0-9a-f]+\s+\d+\s+(\w+)$", listing, re.MULTILINE))
    assert "RegOpenKeyExW" in imported, listing
    assert {name for name in imported if CHANGING.match(name)} == set()


def test_flags_that_create_or_delete_are_not_used() -> None:
    archives = {archive.stem.removeprefix("lib") for archive in reading_archives()}
    sources = [source for library, files in library_sources().items() if library in archives for source in files]
    assert sources
    found = [
        f"{source}: {flag}"
        for source in sources
        for flag in CHANGING_FLAGS.findall((ROOT / "src" / source).read_text("utf-8"))
    ]
    assert found == []


def test_calls_that_change_a_machine_are_found(tmp_path: Path) -> None:
    source = tmp_path / "changing.cpp"
    source.write_text("""
#include <filesystem>
#include <fstream>
#include <string>
#include <windows.h>
void removeTree(const std::wstring& path);
bool reads(const wchar_t* path) { return GetFileAttributesW(path) != 0; }
void changes(HKEY key, const wchar_t* path) {
  DeleteFileW(path);
  RegDeleteTreeW(key, path);
  std::filesystem::remove(path);
  std::wofstream stream("C:\\\\file");
  removeTree(path);
}
""")
    changing = tmp_path / "changing.o"
    run("g++", "-std=c++20", "-c", source, "-o", changing)
    found = " ".join(sorted(calls_that_are_not_allowed([changing])))
    for call in ("DeleteFileW", "RegDeleteTreeW", "std::filesystem::remove", "basic_ofstream", "removeTree"):
        assert call in found
    assert "GetFileAttributesW" not in found
