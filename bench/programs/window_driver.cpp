// window_driver - plays the user on a test machine: waits for windows, records what they show, presses their buttons.
// Reads C:\bench\windows.tsv, writes C:\bench\windows_record.tsv. Exits with 1 when a wait times out.
//
//   window   NAME IDS         waits for a dialog that shows a text in each control of IDS (separated by commas) and
//                             none in those with a minus sign; the next lines refer to it. Recorded: `window NAME
//                             TITLE`, and `control ID TEXT` for each
//   changes  ID               waits until the control's text changes; recorded: `changed ID`
//   picture  NAME             requests a screenshot (bench/screen.py) and waits until it is taken
//   press    ID               presses a button
//   key      CODE             presses a key, by its virtual key code
//   command  NUMBER           chooses a menu item of the program that the window belongs to; the menu may be hidden
//   start    COMMAND_LINE     starts another program
//   ended                     waits until that program has ended; recorded: `ended CODE`
//   stays                     checks whether the window is still on the screen; recorded: `stays yes|no`
//   gone                      waits until the window is gone; recorded: `gone`
//   file     PATH             waits until the file exists

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

// Long enough for a whole cleanup on a slow computer.
constexpr ULONGLONG kLimitMilliseconds = 100'000;
constexpr DWORD kPollMilliseconds = 10;

FileHandle recordFile;
HWND current = nullptr;
KernelHandle startedProgram;

void record(const std::wstring& text) {
  const std::string line = toUtf8(text) + "\n";
  DWORD written = 0;
  ::WriteFile(recordFile.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

// No event tells one program about another one's windows, so this polls.
template <class Condition>
void waitUntil(const BenchLine& line, const char* what, Condition condition) {
  const ULONGLONG end = ::GetTickCount64() + kLimitMilliseconds;
  while (!condition()) {
    if (::GetTickCount64() > end) {
      failLine(line, what, ERROR_TIMEOUT);
    }
    ::Sleep(kPollMilliseconds);
  }
}

std::wstring textOf(HWND window) {
  wchar_t text[512] = L"";
  DWORD_PTR length = 0;
  ::SendMessageTimeoutW(window, WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG, 1'000,
                        &length);
  return text;
}

bool shows(HWND dialog, int control) {
  const HWND window = ::GetDlgItem(dialog, control);
  return window && ::IsWindowVisible(window) && !textOf(window).empty();
}

// Controls that a dialog must show and, with a minus sign, must not: one dialog may have all the controls of another.
struct Search {
  std::vector<int> controls;
  HWND found = nullptr;
};

BOOL CALLBACK matchDialog(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<Search*>(parameter);
  wchar_t className[20] = L"";
  ::GetClassNameW(window, className, static_cast<int>(std::size(className)));
  if (std::wstring(className) != L"#32770" || !::IsWindowVisible(window)) {
    return TRUE;
  }
  for (const int control : search.controls) {
    if (shows(window, std::abs(control)) != (control > 0)) {
      return TRUE;
    }
  }
  search.found = window;
  return FALSE;
}

// The visible text of a control; empty if the control is not visible.
std::wstring readableText(HWND control) {
  // The text of an icon is the number of its resource after this character.
  constexpr wchar_t kResourceMark = 0xFFFF;
  const std::wstring text = ::IsWindowVisible(control) ? textOf(control) : std::wstring();
  return text.empty() || text.front() == kResourceMark ? std::wstring() : text;
}

int idOf(HWND control) {
  return static_cast<short>(::GetDlgCtrlID(control));
}

BOOL CALLBACK recordControl(HWND control, LPARAM) {
  if (const std::wstring text = readableText(control); !text.empty()) {
    record(L"control\t" + std::to_wstring(idOf(control)) + L"\t" + text);
  }
  return TRUE;
}

void waitForWindow(const BenchLine& line) {
  Search search;
  for (std::size_t at = 0; at != std::wstring::npos;) {
    const std::wstring rest = line.argument(1).substr(at);
    search.controls.push_back(::_wtoi(rest.c_str()));
    const std::size_t comma = rest.find(L',');
    at = comma == std::wstring::npos ? comma : at + comma + 1;
  }
  waitUntil(line, "the window does not come", [&search] {
    ::EnumWindows(matchDialog, reinterpret_cast<LPARAM>(&search));
    return search.found != nullptr;
  });
  current = search.found;
  record(L"window\t" + line.argument(0) + L"\t" + textOf(current));
  ::EnumChildWindows(current, recordControl, 0);
}

void waitForChange(const BenchLine& line) {
  const HWND control = ::GetDlgItem(current, ::_wtoi(line.argument(0).c_str()));
  const std::wstring before = textOf(control);
  waitUntil(line, "the text does not change", [control, &before] {
    const std::wstring now = textOf(control);
    return !now.empty() && now != before;
  });
  record(L"changed\t" + line.argument(0));
}

struct MenuSearch {
  DWORD processId = 0;
  HWND found = nullptr;
};

BOOL CALLBACK matchMenuOwner(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<MenuSearch*>(parameter);
  DWORD processId = 0;
  ::GetWindowThreadProcessId(window, &processId);
  if (processId == search.processId && ::GetMenu(window)) {
    search.found = window;
  }
  return search.found == nullptr;
}

void chooseFromMenu(const BenchLine& line, int number) {
  MenuSearch search;
  ::GetWindowThreadProcessId(current, &search.processId);
  ::EnumWindows(matchMenuOwner, reinterpret_cast<LPARAM>(&search));
  if (!search.found) {
    failLine(line, "the program has no window with a menu", ERROR_NOT_FOUND);
  }
  ::PostMessageW(search.found, WM_COMMAND, static_cast<WPARAM>(number), 0);
}

void startProgram(const BenchLine& line) {
  std::wstring commandLine = line.argument(0);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &started)) {
    failLine(line, "the program cannot be started", ::GetLastError());
  }
  ::CloseHandle(started.hThread);
  startedProgram.reset(started.hProcess);
}

void waitForEnd(const BenchLine& line) {
  if (::WaitForSingleObject(startedProgram.get(), static_cast<DWORD>(kLimitMilliseconds)) != WAIT_OBJECT_0) {
    failLine(line, "the program does not end", ERROR_TIMEOUT);
  }
  DWORD exitCode = 0;
  ::GetExitCodeProcess(startedProgram.get(), &exitCode);
  record(L"ended\t" + std::to_wstring(exitCode));
}

bool fileExists(const std::wstring& path) {
  return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string geometry(const POINT& leftTop, const RECT& size) {
  return std::to_string(size.right - size.left) + "x" + std::to_string(size.bottom - size.top) + "+" +
         std::to_string(leftTop.x) + "+" + std::to_string(leftTop.y);
}

BOOL CALLBACK addPlaceOfControl(HWND control, LPARAM places) {
  if (!readableText(control).empty()) {
    RECT place{};
    ::GetWindowRect(control, &place);
    *reinterpret_cast<std::string*>(places) +=
        geometry({place.left, place.top}, place) + "\t" + std::to_string(idOf(control)) + "\n";
  }
  return TRUE;
}

// The positions on the screen of the window, the area within its frame and its controls with a text, in the window's
// own pixels: a window that leaves scaling to the system is not scaled on a test machine.
std::string places() {
  ::SetThreadDpiAwarenessContext(::GetWindowDpiAwarenessContext(current));
  RECT window{};
  RECT client{};
  POINT clientOrigin{};
  ::GetWindowRect(current, &window);
  ::GetClientRect(current, &client);
  ::ClientToScreen(current, &clientOrigin);
  std::string places = geometry({window.left, window.top}, window) + "\n" + geometry(clientOrigin, client) + "\n";
  ::EnumChildWindows(current, addPlaceOfControl, reinterpret_cast<LPARAM>(&places));
  return places;
}

// The host takes the screenshot and deletes the request. A request contains the window's positions, and gets its final
// name once it is complete.
void wantPicture(const BenchLine& line) {
  const std::wstring wish = L"C:\\bench\\pictures\\" + line.argument(0) + L".wanted";
  const std::wstring draft = wish + L".draft";
  {
    const FileHandle file(
        ::CreateFileW(draft.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const std::string text = places();
    DWORD written = 0;
    if (!file || !::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
      failLine(line, "nobody takes pictures", ::GetLastError());
    }
  }
  if (!::MoveFileW(draft.c_str(), wish.c_str())) {
    failLine(line, "the wish cannot be made known", ::GetLastError());
  }
  waitUntil(line, "the picture is not taken", [&wish] { return !fileExists(wish); });
}

void doLine(const BenchLine& line) {
  const std::wstring& verb = line.verb();
  const int number = ::_wtoi(line.argument(0).c_str());
  if (verb == L"window") {
    waitForWindow(line);
  } else if (verb == L"changes") {
    waitForChange(line);
  } else if (verb == L"picture") {
    wantPicture(line);
  } else if (verb == L"press") {
    ::PostMessageW(::GetDlgItem(current, number), BM_CLICK, 0, 0);
  } else if (verb == L"key") {
    ::PostMessageW(current, WM_KEYDOWN, static_cast<WPARAM>(number), 0);
    ::PostMessageW(current, WM_KEYUP, static_cast<WPARAM>(number), 0);
  } else if (verb == L"command") {
    chooseFromMenu(line, number);
  } else if (verb == L"start") {
    startProgram(line);
  } else if (verb == L"ended") {
    waitForEnd(line);
  } else if (verb == L"stays") {
    record(::IsWindowVisible(current) ? L"stays\tyes" : L"stays\tno");
  } else if (verb == L"gone") {
    waitUntil(line, "the window stays", [] { return !::IsWindowVisible(current); });
    record(L"gone");
  } else if (verb == L"file") {
    waitUntil(line, "the file does not come", [&line] { return fileExists(line.argument(0)); });
  } else {
    failLine(line, "unknown verb", ERROR_INVALID_PARAMETER);
  }
}

}  // namespace

int wmain() {
  recordFile.reset(::CreateFileW(L"C:\\bench\\windows_record.tsv", GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                 CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!recordFile) {
    std::fprintf(stderr, "bench: C:\\bench\\windows_record.tsv cannot be written (%lu)\n", ::GetLastError());
    return 2;
  }
  for (const BenchLine& line : readBenchList(L"C:\\bench\\windows.tsv")) {
    doLine(line);
  }
  return 0;
}
