// localised_strings - the texts that a user sees. Each has an English default in the code; a small XML file, written to
// the work folder at start, may hold a translation. Knows nothing of windows.
#pragma once

#include <string>

#include <windows.h>

// The file with the texts in the user's language. Set once at start; while it names no file, the English defaults hold.
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

// Writes the file for the user's locale from the module's resources into `workFolder`, which ends in a backslash.
// Returns its path relative to the temporary folder; the path of a file that does not exist for English and for every
// locale without a translation. GetUserDefaultLocaleName.
std::wstring selectLanguageFile(HMODULE module, const std::wstring& workFolder);

// The same, and the full path. GetTempPathW.
std::wstring buildLanguagePath(HMODULE module, const std::wstring& workFolder);

// The translation of a text, or the default when there is none. Reads the file anew each time; callable from any
// thread. Throws nothing but what running out of memory throws.
std::wstring getLocalizedString(int captionId, const std::wstring& defaultText);

// The translation where languageFilePath names an existing file, else the default.
std::wstring userText(int captionId, const wchar_t* defaultText);

// Finds a text in a language block by plain search: the number in the attribute, then what stands between the end of
// that tag and the next tag. Entities are not decoded.
bool findCaption(const std::wstring& block, int captionId, std::wstring& result);

// Reads the language file: wide text behind either byte order mark, taken as little-endian; anything else as text in
// the system's code page. False when it cannot be opened.
bool loadLanguageBuffer(std::wstring& text);
