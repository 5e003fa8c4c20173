#include "support/test_folder.h"

#include <atomic>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "support/text.h"

namespace {

// The extended form, so that tests can plant and check paths of any length.
std::wstring unlimited(const std::wstring& path) {
  return path.starts_with(LR"(\\?\)") ? path : LR"(\\?\)" + path;
}

[[noreturn]] void fail(const char* call) {
  throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), call);
}

void require(bool succeeded, const char* call) {
  if (!succeeded) {
    fail(call);
  }
}

bool isLink(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(unlimited(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// The host's path for a path on the machine's own drive. A link must not lead anywhere else.
std::wstring hostPath(const std::wstring& path) {
  if (!path.starts_with(L"C:\\") || path.find(L"..") != std::wstring::npos) {
    throw std::invalid_argument("a test's link has to stay on the test machine's drive");
  }
  using ToHostPath = char*(CDECL*)(const wchar_t*);
  const auto toHostPath = reinterpret_cast<ToHostPath>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
  if (!toHostPath) {
    throw std::runtime_error("directory links can be made on a test machine only");
  }
  char* const narrow = toHostPath(path.c_str());
  require(narrow != nullptr, "wine_get_unix_file_name");
  std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, narrow, -1, nullptr, 0)), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, narrow, -1, wide.data(), static_cast<int>(wide.size()));
  ::HeapFree(::GetProcessHeap(), 0, narrow);
  wide.pop_back();
  return wide;
}

// Starts one of the host's programs and waits until it has changed the folder that contains `link`. Wine's Win32 calls
// can neither create nor remove a directory link, and return no handle of a host program to wait for.
void changeLinkOnHost(const wchar_t* program, std::wstring commandLine, const std::wstring& link, bool wanted) {
  const std::wstring folder = link.substr(0, link.rfind(L'\\'));
  const HANDLE change =
      ::FindFirstChangeNotificationW(folder.c_str(), FALSE, FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME);
  require(change != INVALID_HANDLE_VALUE, "FindFirstChangeNotificationW");
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  bool changed = ::CreateProcessW(program, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                  &process) != FALSE;
  while (changed && isLink(link) != wanted) {
    changed = ::WaitForSingleObject(change, 10'000) == WAIT_OBJECT_0 && ::FindNextChangeNotification(change);
  }
  ::FindCloseChangeNotification(change);
  if (!changed) {
    throw std::runtime_error("the host did not make or remove a directory link");
  }
}

std::vector<WIN32_FIND_DATAW> entriesOf(const std::wstring& folder) {
  std::vector<WIN32_FIND_DATAW> entries;
  WIN32_FIND_DATAW entry;
  const FindHandle find(::FindFirstFileW(unlimited(folder + L"\\*").c_str(), &entry));
  for (bool more = static_cast<bool>(find); more; more = ::FindNextFileW(find.get(), &entry)) {
    const std::wstring_view name = entry.cFileName;
    if (name != L"." && name != L"..") {
      entries.push_back(entry);
    }
  }
  return entries;
}

void removeAll(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(unlimited(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    return;
  }
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    removeDirectoryLink(path);
    return;
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    ::SetFileAttributesW(unlimited(path).c_str(), FILE_ATTRIBUTE_NORMAL);
    ::DeleteFileW(unlimited(path).c_str());
    return;
  }
  for (const WIN32_FIND_DATAW& entry : entriesOf(path)) {
    removeAll(path + L"\\" + entry.cFileName);
  }
  ::RemoveDirectoryW(unlimited(path).c_str());
}

}  // namespace

TestFolder::TestFolder() {
  // Names are never reused, because what a test marks for the next restart stays on the machine's list.
  static std::atomic<int> lastNumber = 0;
  ::CreateDirectoryW(L"C:\\bench", nullptr);
  do {
    path_ = L"C:\\bench\\folder-" + std::to_wstring(++lastNumber);
  } while (!::CreateDirectoryW(path_.c_str(), nullptr) && ::GetLastError() == ERROR_ALREADY_EXISTS);
  require(pathExists(path_), "CreateDirectoryW");
}

TestFolder::~TestFolder() {
  try {
    removeAll(path_);
  } catch (const std::exception&) {
    // Failures do not matter: the machine is deleted with everything on it, and the next folder has another name.
  }
}

std::wstring TestFolder::makeDirectory(const std::wstring& relative) const {
  const std::wstring path = *this / relative;
  for (std::size_t end = path_.size(); end != std::wstring::npos;) {
    end = path.find(L'\\', end + 1);
    if (!::CreateDirectoryW(unlimited(path.substr(0, end)).c_str(), nullptr)) {
      require(::GetLastError() == ERROR_ALREADY_EXISTS, "CreateDirectoryW");
    }
  }
  return path;
}

std::wstring TestFolder::makeFile(const std::wstring& relative, const std::string& content) const {
  if (const std::size_t backslash = relative.rfind(L'\\'); backslash != std::wstring::npos) {
    makeDirectory(relative.substr(0, backslash));
  }
  const std::wstring path = *this / relative;
  const FileHandle file(
      ::CreateFileW(unlimited(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  require(static_cast<bool>(file), "CreateFileW");
  DWORD written = 0;
  require(::WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
              written == content.size(),
          "WriteFile");
  return path;
}

std::wstring TestFolder::makeDirectoryLink(const std::wstring& relative, const std::wstring& target) const {
  const std::wstring path = *this / relative;
  const DWORD attributes = ::GetFileAttributesW(unlimited(target).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    throw std::invalid_argument("a test machine shows no link without a directory behind it");
  }
  changeLinkOnHost(LR"(\\?\unix\bin\ln)", L"ln -s -- \"" + hostPath(target) + L"\" \"" + hostPath(path) + L"\"", path,
                   true);
  return path;
}

void removeDirectoryLink(const std::wstring& path) {
  const std::wstring link = path.starts_with(LR"(\\?\)") ? path.substr(4) : path;
  if (!isLink(link)) {
    throw std::invalid_argument("not a link");
  }
  // Without -r, rm refuses a real directory.
  changeLinkOnHost(LR"(\\?\unix\bin\rm)", L"rm -f -- \"" + hostPath(link) + L"\"", link, false);
}

bool pathExists(const std::wstring& path) {
  return ::GetFileAttributesW(unlimited(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string readFile(const std::wstring& path) {
  std::string content;
  const FileHandle file(::CreateFileW(unlimited(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                                      nullptr));
  if (file) {
    char chunk[4096];
    DWORD count = 0;
    while (::ReadFile(file.get(), chunk, sizeof(chunk), &count, nullptr) && count != 0) {
      content.append(chunk, count);
    }
  }
  return content;
}

FileHandle lockFile(const std::wstring& path) {
  FileHandle file(::CreateFileW(unlimited(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  require(static_cast<bool>(file), "CreateFileW");
  return file;
}

std::vector<std::wstring> pendingDeletions() {
  static constexpr wchar_t kSessionManager[] = LR"(SYSTEM\CurrentControlSet\Control\Session Manager)";
  static constexpr wchar_t kOperations[] = L"PendingFileRenameOperations";
  std::vector<std::wstring> result;
  DWORD size = 0;
  if (::RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager, kOperations, RRF_RT_ANY, nullptr, nullptr, &size) !=
      ERROR_SUCCESS) {
    return result;
  }
  std::wstring text(size / sizeof(wchar_t), L'\0');
  ::RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager, kOperations, RRF_RT_ANY, nullptr, text.data(), &size);
  text.resize(size / sizeof(wchar_t));
  // Pairs of source and target. An empty target means deletion, so an empty text does not end the list.
  for (std::size_t start = 0; start < text.size();) {
    const std::wstring source = text.c_str() + start;
    start += source.size() + 1;
    const std::wstring target = start < text.size() ? text.c_str() + start : L"";
    start += target.size() + 1;
    if (!source.empty() && target.empty()) {
      result.push_back(source.starts_with(LR"(\??\)") ? source.substr(4) : source);
    }
  }
  return result;
}

std::vector<std::string> snapshot(const std::wstring& folder) {
  std::vector<std::string> rows;
  for (const WIN32_FIND_DATAW& entry : entriesOf(folder)) {
    const std::wstring path = folder + L"\\" + entry.cFileName;
    const DWORD attributes = entry.dwFileAttributes;
    const bool isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const FILETIME& written = entry.ftLastWriteTime;
    rows.push_back(narrow(path) + "|" + std::to_string(attributes) + "|" + std::to_string(written.dwHighDateTime) +
                   ":" + std::to_string(written.dwLowDateTime) + "|" + (isDirectory ? "" : readFile(path)));
    if (isDirectory && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
      const std::vector<std::string> below = snapshot(path);
      rows.insert(rows.end(), below.begin(), below.end());
    }
  }
  return rows;
}
