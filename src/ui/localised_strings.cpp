#include "ui/localised_strings.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <shlwapi.h>

#include "system/binary_resource.h"
#include "system/text_case.h"

std::wstring languageFilePath;

namespace {

constexpr wchar_t kWorkFolder[] = L"CleanUp\\";
constexpr wchar_t kEnglishFile[] = L"ENU.xml";  // never written: English is in the code

struct Language {
  const wchar_t* localePrefix;
  int resourceId;
  const wchar_t* file;
};

// The first row whose prefix the locale's name begins with is taken.
constexpr std::array<Language, 22> kLanguages = {{
    {L"zh-CN", 186, L"CHS.xml"}, {L"zh-TW", 151, L"CHT.xml"}, {L"cs", 166, L"CSY.xml"}, {L"da", 167, L"DAN.xml"},
    {L"de", 179, L"DEU.xml"},    {L"el", 178, L"ELL.xml"},    {L"es", 177, L"ESN.xml"}, {L"fi", 176, L"FIN.xml"},
    {L"fr", 164, L"FRA.xml"},    {L"hu", 175, L"HUN.xml"},    {L"it", 174, L"ITA.xml"}, {L"ja", 165, L"JPN.xml"},
    {L"ko", 173, L"KOR.xml"},    {L"nb", 180, L"NOR.xml"},    {L"nl", 172, L"NLD.xml"}, {L"pl", 171, L"PLK.xml"},
    {L"pt", 181, L"PTB.xml"},    {L"ru", 170, L"RUS.xml"},    {L"sv", 182, L"SVE.xml"}, {L"th", 169, L"THA.xml"},
    {L"tr", 168, L"TRK.xml"},    {L"uk", 187, L"UKR.xml"},
}};

constexpr std::size_t kMarkBytes = 2;

std::string readBytes(const std::wstring& path, bool* opened) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  *opened = file.is_open();
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool beginsWithMark(const std::string& bytes) {
  return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
}

std::wstring wideText(const std::string& bytes) {
  // A file that is too short keeps its byte order mark. Big-endian text is not swapped, so no caption is found in it.
  const std::size_t start = bytes.size() > 2 * kMarkBytes ? kMarkBytes : 0;
  std::wstring text((bytes.size() - start + 1) / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data() + start, bytes.size() - start);
  text.resize(std::min(text.find(L'\0'), text.size()));
  return text;
}

std::wstring fromSystemCodePage(const std::string& bytes) {
  const int length = static_cast<int>(bytes.size());
  std::wstring text(static_cast<std::size_t>(::MultiByteToWideChar(CP_ACP, 0, bytes.data(), length, nullptr, 0)),
                    L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), length, text.data(), static_cast<int>(text.size()));
  return text;
}

}  // namespace

std::wstring selectLanguageFile(HMODULE module, const std::wstring& workFolder) {
  wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
  ::GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);
  const std::wstring locale = name;
  for (const Language& language : kLanguages) {
    if (locale.starts_with(language.localePrefix)) {
      extractBinaryResource(module, language.resourceId, workFolder + language.file);
      return std::wstring(kWorkFolder) + language.file;
    }
  }
  return std::wstring(kWorkFolder) + kEnglishFile;
}

std::wstring buildLanguagePath(HMODULE module, const std::wstring& workFolder) {
  wchar_t folder[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  std::wstring path = folder;
  if (!path.ends_with(L'/') && !path.ends_with(L'\\')) {
    path += L'\\';
  }
  path += selectLanguageFile(module, workFolder);
  std::replace(path.begin(), path.end(), L'/', L'\\');
  return path;
}

std::wstring getLocalizedString(int captionId, const std::wstring& defaultText) {
  std::wstring text;
  if (!loadLanguageBuffer(text)) {
    return defaultText;
  }
  const std::size_t start = text.find(L"<Language ");
  const std::size_t end = start == std::wstring::npos ? start : text.find(L"</Language>", start + 1);
  std::wstring result;
  if (end == std::wstring::npos || !findCaption(text.substr(start, end - start), captionId, result)) {
    return defaultText;
  }
  return result;
}

std::wstring userText(int captionId, const wchar_t* defaultText) {
  return ::PathFileExistsW(languageFilePath.c_str()) ? getLocalizedString(captionId, defaultText) : defaultText;
}

bool findCaption(const std::wstring& block, int captionId, std::wstring& result) {
  std::wstring folded = toLower(block);
  std::replace(folded.begin(), folded.end(), L'\'', L'"');
  const std::size_t key = folded.find(L"value=\"" + std::to_wstring(captionId) + L'"');
  if (key == std::wstring::npos) {
    return false;
  }
  const std::size_t tagEnd = folded.find(L'>', key);
  const std::size_t nextTag = tagEnd == std::wstring::npos ? tagEnd : folded.find(L'<', tagEnd);
  if (nextTag == std::wstring::npos) {
    return false;
  }
  result = block.substr(tagEnd + 1, nextTag - tagEnd - 1);
  return true;
}

bool loadLanguageBuffer(std::wstring& text) {
  try {
    bool opened = false;
    const std::string bytes = readBytes(languageFilePath, &opened);
    if (!opened) {
      text.clear();
      return false;
    }
    text = beginsWithMark(bytes) ? wideText(bytes) : fromSystemCodePage(bytes);
    return true;
  } catch (...) {
    // The caller falls back to English.
    ::OutputDebugStringW(L"*** Error Unknown exception on LoadBuffer\n");
    return false;
  }
}
