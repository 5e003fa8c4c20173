// localised_strings - the texts that the user sees. Each has an English default in the code; a small XML file,
// extracted to the work folder at the start, may have a translation. Knows nothing of windows.
#pragma once

#include <string>

#include <windows.h>

// The file with the texts in the user's language, set once at the start. If it does not exist, the texts are English.
extern std::wstring languageFilePath;

// Numbers of the texts in the language files.
enum CaptionId : int {
  kCaptionConsent = 125,
  kCaptionTitle = 126,
  kCaptionSuccess = 127,
  kCaptionWarnings = 128,
  kCaptionFailure = 129,
  kCaptionViewReport = 131,
  kCaptionFinish = 132,
  kCaptionRestartQuestion = 133,
  kCaptionSafeModeQuestion = 135,
  kCaptionWindowsUpdate = 137,
  kCaptionOtherInstance = 138,
  kCaptionSplash = 139,
  kCaptionSplashHeadline = 140,
};

// The English text of the title, which most windows share.
inline constexpr wchar_t kDefaultTitle[] = L"ORV Cleanup Utility";

// Extracts the file for the user's locale from the module's resources into `workFolder`, which ends in a backslash.
// Returns its path relative to the temporary folder; for English and for a locale without a translation, the path of a
// file that does not exist. GetUserDefaultLocaleName.
std::wstring selectLanguageFile(HMODULE module, const std::wstring& workFolder);

// Does the same and returns the full path. GetTempPathW.
std::wstring buildLanguagePath(HMODULE module, const std::wstring& workFolder);

// The translation of a text, or the default if there is none. Reads the file each time; can be called from any thread.
// Throws std::bad_alloc only.
std::wstring getLocalizedString(int captionId, const std::wstring& defaultText);

// The translation if languageFilePath exists, else the default.
std::wstring userText(int captionId, const wchar_t* defaultText);

// Finds a text by plain search: the attribute with its number, then the text between that tag and the next. Entities
// are not decoded. Returns false if there is none.
bool findCaption(const std::wstring& block, int captionId, std::wstring& result);

// Reads the language file: as little-endian wide text if it begins with either byte order mark, otherwise in the
// system's code page. Returns false when it cannot be opened.
bool loadLanguageBuffer(std::wstring& text);
