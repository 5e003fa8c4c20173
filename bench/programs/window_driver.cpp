// window_driver - sits at a bench machine in a user's place: waits for windows, writes down what they show, presses
// their buttons. Reads C:\bench\windows.tsv, writes C:\bench\windows_record.tsv; ends with 1 when something is late.
//
//   window   NAME IDS         waits for a dialog that shows a text in each control of IDS (cut at commas), which the
//                             next lines mean. Recorded: `window NAME TITLE`, and a `control ID TEXT` for each
//   changes  ID               waits until the control has another text; recorded: `changed ID`
//   picture  NAME             wants a picture of the screen (bench/screen.sh) and waits until it is taken
//   press    ID               presses a button
//   key      CODE             presses a key, by its virtual key code
//   stays                     asks whether the window is still on the screen; recorded: `stays yes|no`
//   gone                      waits until it is not any more; recorded: `gone`
//   file     PATH             waits until there is a file

#include <cstdio>
#include <string>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

// Long enough for a whole cleanup on a slow computer.
constexpr ULONGLONG kLimitMilliseconds = 100'000;
constexpr DWORD kPollMilliseconds = 10;

FileHandle recordFile;
HWND current = nullptr;

void record(const std::wstring& text) {
  const std::string line = toUtf8(text) + "\n";
  DWORD written = 0;
  ::WriteFile(recordFile.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

// No event tells one program of another one's windows, so this asks again and again.
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
    if (!shows(window, control)) {
      return TRUE;
    }
  }
  search.found = window;
  return FALSE;
}

BOOL CALLBACK recordControl(HWND control, LPARAM) {
  const std::wstring text = textOf(control);
  if (::IsWindowVisible(control) && !text.empty()) {
    record(L"control\t" + std::to_wstring(static_cast<short>(::GetDlgCtrlID(control))) + L"\t" + text);
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

bool fileExists(const std::wstring& path) {
  return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// The host takes the picture and deletes the wish.
void wantPicture(const BenchLine& line) {
  const std::wstring wish = L"C:\\bench\\pictures\\" + line.argument(0) + L".wanted";
  if (!FileHandle(
          ::CreateFileW(wish.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))) {
    failLine(line, "nobody takes pictures", ::GetLastError());
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
