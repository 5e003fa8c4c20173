// cabinet_lister CABINET -d - prints the names in a cabinet's directory, one per line after the cabinet's name. It
// replaces `expand`, which cannot list on the test machine. For a file that is not a cabinet it prints nothing.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

// Offsets in a cabinet's header and in a file entry, in bytes.
constexpr std::size_t kSignature = 0;
constexpr std::size_t kFirstEntry = 16;
constexpr std::size_t kFileCount = 28;
constexpr std::size_t kHeaderEnd = 36;
constexpr std::size_t kNameInEntry = 16;

// The directory comes first, so a large cabinet need not be read whole.
constexpr std::size_t kReadBytes = 65'536;

template <class Number>
Number numberAt(const std::string& bytes, std::size_t place) {
  Number number = 0;
  std::memcpy(&number, bytes.data() + place, sizeof number);
  return number;
}

std::string readBeginning(const wchar_t* path) {
  const FileHandle file(::CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  std::string bytes(kReadBytes, '\0');
  DWORD read = 0;
  if (!file || !::ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
    read = 0;
  }
  bytes.resize(read);
  return bytes;
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  if (argumentCount != 3 || std::wstring(arguments[2]) != L"-d") {
    std::fprintf(stderr, "usage: cabinet_lister CABINET -d\n");
    return 2;
  }
  const std::string bytes = readBeginning(arguments[1]);
  if (bytes.size() < kHeaderEnd || bytes.compare(kSignature, 4, "MSCF") != 0) {
    return 1;
  }
  const std::wstring path = arguments[1];
  const std::string cabinet = toUtf8(path.substr(path.rfind(L'\\') + 1));
  std::size_t entry = numberAt<std::uint32_t>(bytes, kFirstEntry);
  for (int left = numberAt<std::uint16_t>(bytes, kFileCount); left > 0; --left) {
    const std::size_t name = entry + kNameInEntry;
    const std::size_t end = name < bytes.size() ? bytes.find('\0', name) : std::string::npos;
    if (end == std::string::npos) {
      return 1;
    }
    std::printf("%s: %s\r\n", cabinet.c_str(), bytes.substr(name, end - name).c_str());
    entry = end + 1;
  }
  // The flush returns once the reader of the pipe has taken everything. A reader that stops when this process ends
  // could otherwise miss the end.
  std::fflush(stdout);
  ::FlushFileBuffers(::GetStdHandle(STD_OUTPUT_HANDLE));
  return 0;
}
