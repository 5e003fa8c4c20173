#include "report/removal_report.h"

#include <cstdint>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <regex>

#include <windows.h>

#include <shellapi.h>

#include "report/report_stylesheet.h"
#include "system/log.h"
#include "system/system_message.h"
#include "system/text_case.h"

namespace {

constexpr wchar_t kReportName[] = L"\\report.xml";
// Compared without case, as file names are.
constexpr wchar_t kExternalReference[] = L"<?xml-stylesheet type=\"text/xsl\" href=\"Report.xml.xsl\"?>\n";

constexpr wchar_t kBrowser[] = L"iexplore.exe";
// Builds of the browser's last version after this one accept a stylesheet inside the document.
constexpr wchar_t kLastOldBuild[] = L"19043";

constexpr wchar_t kSystemLocale[] = L"!x-sys-default-locale";

constexpr std::size_t kFirstLineCharacters = 128;

// The buffer grows until the text fits, so that no name is truncated.
template <class... Arguments>
std::wstring composeLine(const wchar_t* format, Arguments... arguments) {
  std::wstring line(kFirstLineCharacters, L'\0');
  for (;;) {
    const int written = ::_snwprintf(line.data(), line.size(), format, arguments...);
    if (written >= 0 && static_cast<std::size_t>(written) < line.size()) {
      line.resize(static_cast<std::size_t>(written));
      return line;
    }
    line.resize(line.size() * 2);
  }
}

// The code point at the index, which is moved to its last code unit. An unpaired surrogate is not allowed in XML and is
// replaced by U+FFFD.
unsigned characterAt(const std::wstring& text, std::size_t& index) {
  constexpr unsigned kFirstOfThePairs = 0x10000;
  constexpr unsigned kReplacement = 0xFFFD;
  const wchar_t unit = text[index];
  if (!IS_HIGH_SURROGATE(unit) && !IS_LOW_SURROGATE(unit)) {
    return unit;
  }
  if (index + 1 == text.size() || !IS_SURROGATE_PAIR(unit, text[index + 1])) {
    return kReplacement;
  }
  ++index;
  const int offset = ((unit - HIGH_SURROGATE_START) << 10) + (text[index] - LOW_SURROGATE_START);
  return kFirstOfThePairs + static_cast<unsigned>(offset);
}

// The stream writes one byte per character and fails at one that does not fit, and browsers reject bytes beyond ASCII
// in a document without an encoding. So such characters, which can occur in the names of days and months, are written
// as character references.
std::wstring withReferences(const std::wstring& text) {
  constexpr unsigned kLastOfAscii = 0x7F;
  std::wstring result;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const unsigned character = characterAt(text, index);
    result +=
        character > kLastOfAscii ? composeLine(L"&#%u;", character) : std::wstring(1, static_cast<wchar_t>(character));
  }
  return result;
}

void logFormatFailure(const wchar_t* format) {
  const DWORD error = ::GetLastError();
  LogDebug(format, error, systemMessage(error).c_str());
}

std::wstring formatDate(const wchar_t* locale, DWORD flags, const wchar_t* format) {
  const int length = ::GetDateFormatEx(locale, flags, nullptr, format, nullptr, 0, nullptr);
  std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
  if (::GetDateFormatEx(locale, flags, nullptr, format, text.data(), length, nullptr) == 0) {
    logFormatFailure(L"Call to GetDateFormatEx failed. Error code: %d %s");
  }
  text.resize(std::wcslen(text.c_str()));
  return text;
}

std::wstring formatTime(const wchar_t* locale, const wchar_t* format) {
  const int length = ::GetTimeFormatEx(locale, 0, nullptr, format, nullptr, 0);
  std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
  if (::GetTimeFormatEx(locale, 0, nullptr, format, text.data(), length) == 0) {
    logFormatFailure(L"Call to GetTimeFormatEx failed. Error code: %d %s");
  }
  text.resize(std::wcslen(text.c_str()));
  return text;
}

// The program that Windows opens the report with; empty if there is none.
std::wstring programOf(const std::wstring& report) {
  wchar_t program[MAX_PATH] = {};
  ::FindExecutableW(report.c_str(), nullptr, program);
  return program;
}

std::wstring productVersion(const std::wstring& path) {
  DWORD ignored = 0;
  std::vector<BYTE> block(::GetFileVersionInfoSizeW(path.c_str(), &ignored));
  void* found = nullptr;
  UINT length = 0;
  if (block.empty() || !::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
      !::VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &found, &length)) {
    return {};
  }
  struct Translation {
    WORD language;
    WORD codePage;
  };
  const auto* translations = static_cast<const Translation*>(found);
  std::wstring version;
  for (UINT index = 0; index < length / sizeof(Translation); ++index) {
    wchar_t name[50] = {};
    ::_snwprintf(name, std::size(name) - 1, L"\\StringFileInfo\\%04x%04x\\ProductVersion", translations[index].language,
                 translations[index].codePage);
    void* text = nullptr;
    UINT characters = 0;
    if (::VerQueryValueW(block.data(), name, &text, &characters) && characters > 0) {
      version.assign(static_cast<const wchar_t*>(text), characters);
      version.resize(std::min(version.find(L'\0'), version.size()));
    }
  }
  return version;
}

void writeNames(std::wostream& stream, const wchar_t* format, const auto& packages) {
  for (const auto& package : packages) {
    stream << composeLine(format, package.Name.c_str());
  }
}

void writeResults(std::wostream& stream, const wchar_t* format, const auto& packages, const wchar_t* result) {
  for (const auto& package : packages) {
    stream << composeLine(format, package.Name.c_str(), result);
  }
}

constexpr wchar_t kGeneral[] =
    L"\t<general>\n\t\t<cmdline>%s "
    L"</cmdline>\n\t\t<time>%s</time>\n\t\t<action>%s</action>\n\t\t<download></download>\n"
    L"\t</general>\n";
constexpr wchar_t kExistingApplication[] = L"<Applications>\n\t\t\t<Name>%s</Name>\n\t\t\t</Applications>";
constexpr wchar_t kExistingDriver[] = L"<Drivers>\n\t\t\t<Name>%s</Name>\n\t\t\t</Drivers>";
constexpr wchar_t kApplicationResult[] =
    L"\t\t<Applications>\n\t\t\t\t\t<description>%s</description>\n\t\t\t\t\t<result>%s</result>\n"
    L"\t\t\t\t\t</Applications>\n";
constexpr wchar_t kDriverResult[] =
    L"\t\t<Drivers>\n\t\t\t\t\t<description>%s</description>\n\t\t\t\t\t<result>%s</result>\n\t\t\t\t\t</Drivers>\n";

}  // namespace

std::wstring formatReportTime() {
  // In this order, because each one logs its own failures.
  const std::wstring date = formatDate(kSystemLocale, DATE_LONGDATE, nullptr);
  return date + L' ' + formatTime(kSystemLocale, nullptr);
}

std::wstring formatFileStamp() {
  const std::wstring date = formatDate(L"", 0, L"yyyy'_'MM'_'dd'_'");
  return date + formatTime(L"", L"HH'.'mm'.'ss");
}

bool isOldBrowserBuild(const std::wstring& path) {
  const std::wstring version = productVersion(path);
  std::wsmatch parts;
  if (!std::regex_match(version, parts, std::wregex(L"(\\d+)\\.(\\d+).(\\d+).*"))) {
    return true;
  }
  // Compared as text: a much older build with fewer digits counts as newer, but also accepts a stylesheet inside.
  return parts[3].str() <= kLastOldBuild;
}

void writeRemovalReport(const std::wstring& folder, const std::wstring& action, const EligiblePackages& existing,
                        const PackageResults& results) {
  const std::wstring time = formatReportTime();
  // The result is not used, but a failure is logged, where anyone looking into a wrong clock expects it.
  formatFileStamp();

  const std::wstring path = folder + kReportName;
  // Any program of the user can write to this folder: if there is a link of that name, it is deleted, not followed.
  ::DeleteFileW(path.c_str());
  std::wofstream stream{std::filesystem::path(path)};
  // Flushed, because Windows only says what opens a file that exists.
  stream << L"<?xml version=\"1.0\"?>" << std::endl;

  const std::wstring program = programOf(path);
  const bool isExternal = ContainsNoCase(program, kBrowser) && isOldBrowserBuild(program);
  if (isExternal) {
    stream << kExternalReference;
  } else {
    writeInlineStylesheet(stream);
  }

  stream << L"<tallyreport xmlns:dt=\"urn:schemas-microsoft-com:datatypes\">\n";
  stream << composeLine(kGeneral, L"", withReferences(time).c_str(), action.c_str());
  stream << L"\t<exist>\n";
  writeNames(stream, kExistingApplication, existing.eligibleApplications);
  writeNames(stream, kExistingDriver, existing.eligibleDrivers);
  stream << L"\t</exist>\n\t<Uninstalled>\n";
  writeResults(stream, kApplicationResult, results.removedApplications, L"Succeed");
  writeResults(stream, kDriverResult, results.removedDrivers, L"Succeed");
  stream << L"\t</Uninstalled>\n\t<Failed>\n";
  writeResults(stream, kApplicationResult, results.failedApplications, L"Fail");
  writeResults(stream, kDriverResult, results.failedDrivers, L"Fail");
  stream << L"\t</Failed>\n" << kReportResourceBlock << L"</tallyreport>" << std::endl;

  if (isExternal) {
    writeStylesheetFile(folder);
  } else {
    stream << L"</doc>" << std::endl;
  }
}
