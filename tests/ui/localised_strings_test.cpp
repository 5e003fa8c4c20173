// localised_strings_test - which language file belongs to a locale, how it is written to the work folder, and how a
// text is found in it.

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "ui/localised_strings.h"

namespace {

std::wstring userLocale;
std::wstring tempFolderShown;
std::vector<std::wstring> debugOutput;
bool conversionThrows = false;

}  // namespace

LINK_SEAM(int, GetUserDefaultLocaleName, (LPWSTR buffer, int size)) {
  if (size < static_cast<int>(userLocale.size()) + 1) {
    return 0;
  }
  ::wcscpy(buffer, userLocale.c_str());
  return static_cast<int>(userLocale.size()) + 1;
}

LINK_SEAM(DWORD, GetTempPathW, (DWORD size, LPWSTR buffer)) {
  if (tempFolderShown.empty()) {
    return realFunction<decltype(&::GetTempPathW)>(L"kernel32.dll", "GetTempPathW")(size, buffer);
  }
  ::wcscpy(buffer, tempFolderShown.c_str());
  return static_cast<DWORD>(tempFolderShown.size());
}

LINK_SEAM(int, MultiByteToWideChar,
          (UINT codePage, DWORD flags, LPCCH bytes, int length, LPWSTR text, int characters)) {
  if (conversionThrows) {
    throw std::bad_alloc();
  }
  return realFunction<decltype(&::MultiByteToWideChar)>(L"kernel32.dll", "MultiByteToWideChar")(
      codePage, flags, bytes, length, text, characters);
}

LINK_SEAM(void, OutputDebugStringW, (LPCWSTR text)) {
  debugOutput.emplace_back(text);
}

namespace {

class LanguageFileChoice : public testing::Test {
 protected:
  void SetUp() override { tempFolderShown.clear(); }

  std::wstring select(const std::wstring& locale) const {
    userLocale = locale;
    return selectLanguageFile(::GetModuleHandleW(nullptr), folder.path() + L"\\");
  }

  TestFolder folder;
};

class Caption : public testing::Test {
 protected:
  void TearDown() override { languageFilePath.clear(); }

  void useFile(const std::string& bytes) { languageFilePath = folder.makeFile(L"language.xml", bytes); }
  void useText(const std::wstring& text) { useFile("\xFF\xFE" + bytesOf(text)); }

  static std::string bytesOf(const std::wstring& text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
  }

  static std::wstring document(const std::wstring& captions) {
    return L"<?xml version=\"1.0\" encoding=\"utf-16\"?><Root><Language Name=\"X\" Align=\"Left\" ID=\"X\">" +
           captions + L"</Language></Root>";
  }

  static std::wstring lookUp(int captionId) { return getLocalizedString(captionId, L"default"); }

  TestFolder folder;
};

}  // namespace

TEST_F(LanguageFileChoice, EveryRowOfTheTable) {
  const struct {
    const wchar_t* locale;
    const wchar_t* file;
    const char* content;  // of the replaced resource, by its number
  } rows[] = {
      {L"zh-CN", L"CHS.xml", "186"}, {L"zh-TW", L"CHT.xml", "151"}, {L"cs-CZ", L"CSY.xml", "166"},
      {L"da-DK", L"DAN.xml", "167"}, {L"de-DE", L"DEU.xml", "179"}, {L"el-GR", L"ELL.xml", "178"},
      {L"es-ES", L"ESN.xml", "177"}, {L"fi-FI", L"FIN.xml", "176"}, {L"fr-FR", L"FRA.xml", "164"},
      {L"hu-HU", L"HUN.xml", "175"}, {L"it-IT", L"ITA.xml", "174"}, {L"ja-JP", L"JPN.xml", "165"},
      {L"ko-KR", L"KOR.xml", "173"}, {L"nb-NO", L"NOR.xml", "180"}, {L"nl-NL", L"NLD.xml", "172"},
      {L"pl-PL", L"PLK.xml", "171"}, {L"pt-BR", L"PTB.xml", "181"}, {L"ru-RU", L"RUS.xml", "170"},
      {L"sv-SE", L"SVE.xml", "182"}, {L"th-TH", L"THA.xml", "169"}, {L"tr-TR", L"TRK.xml", "168"},
      {L"uk-UA", L"UKR.xml", "187"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(select(row.locale), std::wstring(L"CleanUp\\") + row.file) << narrow(row.locale);
    EXPECT_EQ(readFile(folder / row.file), row.content) << narrow(row.locale);
  }
}

TEST_F(LanguageFileChoice, LocalesOfOneLanguageShareItsFile) {
  for (const wchar_t* locale : {L"pt-PT", L"pt-BR", L"pt"}) {
    EXPECT_EQ(select(locale), L"CleanUp\\PTB.xml") << narrow(locale);
  }
  for (const wchar_t* locale : {L"de-AT", L"de-CH", L"de"}) {
    EXPECT_EQ(select(locale), L"CleanUp\\DEU.xml") << narrow(locale);
  }
  EXPECT_EQ(select(L"zh-CN_stroke"), L"CleanUp\\CHS.xml");
}

TEST_F(LanguageFileChoice, OtherLocalesGetEnglishAndNoFile) {
  for (const wchar_t* locale : {L"en-US", L"en-GB", L"zh-HK", L"zh-SG", L"zh-Hans-CN", L"zh", L"nn-NO", L"no", L"hr-HR",
                                L"ar-SA", L"DE-DE", L"Fr-FR", L"zh-cn", L"", L"d"}) {
    EXPECT_EQ(select(locale), L"CleanUp\\ENU.xml") << narrow(locale);
  }
  EXPECT_EQ(snapshot(folder.path()).size(), 0u);
}

TEST_F(LanguageFileChoice, PrefixNeedsNoSeparatorBehindIt) {
  // Filipino begins like Finnish and gets its file.
  EXPECT_EQ(select(L"fil-PH"), L"CleanUp\\FIN.xml");
}

TEST_F(LanguageFileChoice, OlderFileIsReplaced) {
  folder.makeFile(L"DEU.xml", std::string(1'000, 'x'));
  select(L"de-DE");
  EXPECT_EQ(readFile(folder / L"DEU.xml"), "179");
}

TEST_F(LanguageFileChoice, LocaleNamesMayHave84Characters) {
  EXPECT_EQ(select(L"de-" + std::wstring(81, L'x')), L"CleanUp\\DEU.xml");
}

TEST_F(LanguageFileChoice, FullPathIsBelowTheTempFolder) {
  const struct {
    const wchar_t* temp;
    const wchar_t* path;
  } rows[] = {
      {L"C:\\bench\\temp\\", L"C:\\bench\\temp\\CleanUp\\DEU.xml"},
      {L"C:\\bench\\temp", L"C:\\bench\\temp\\CleanUp\\DEU.xml"},
      {L"C:/bench/temp/", L"C:\\bench\\temp\\CleanUp\\DEU.xml"},
      {L"C:/bench/temp", L"C:\\bench\\temp\\CleanUp\\DEU.xml"},
  };
  userLocale = L"de-DE";
  for (const auto& row : rows) {
    tempFolderShown = row.temp;
    EXPECT_EQ(buildLanguagePath(::GetModuleHandleW(nullptr), folder.path() + L"\\"), row.path) << narrow(row.temp);
  }
  EXPECT_EQ(readFile(folder / L"DEU.xml"), "179");
}

TEST_F(LanguageFileChoice, EnglishPathNamesNoFile) {
  userLocale = L"en-US";
  const std::wstring path = buildLanguagePath(::GetModuleHandleW(nullptr), folder.path() + L"\\");
  EXPECT_TRUE(path.ends_with(L"\\CleanUp\\ENU.xml")) << narrow(path);
  EXPECT_FALSE(pathExists(path));
  EXPECT_FALSE(pathExists(folder / L"ENU.xml"));
}

TEST_F(Caption, IsFoundInAWideFile) {
  useText(document(L"<Caption ID=\"IDS_FINISH\" Value=\"132\">\u5B8C\u6210</Caption>"));
  EXPECT_EQ(lookUp(132), L"\u5B8C\u6210");
  EXPECT_EQ(userText(132, L"default"), L"\u5B8C\u6210");
}

TEST_F(Caption, SearchRows) {
  const struct {
    const char* name;
    const wchar_t* block;
    const wchar_t* result;  // null when there is none
  } rows[] = {
      {"plain", L"<Caption Value=\"13\">Text</Caption>", L"Text"},
      {"case of the attribute", L"<CAPTION VALUE=\"13\">Text</CAPTION>", L"Text"},
      {"apostrophes", L"<Caption VALUE='13'>Text</Caption>", L"Text"},
      {"one of each", L"<Caption Value=\"13'>Text</Caption>", L"Text"},
      {"case and apostrophes of the text stay", L"<c value='13'>L'\u00C4pfel OF \"X\"</c>", L"L'\u00C4pfel OF \"X\""},
      {"longer number first", L"<c Value=\"133\">Longer</c><c Value=\"13\">Text</c>", L"Text"},
      {"longer number only", L"<c Value=\"133\">Longer</c>", nullptr},
      {"number at the end of another", L"<c Value=\"213\">Other</c>", nullptr},
      {"leading zero", L"<c Value=\"013\">Other</c>", nullptr},
      {"blank before the number", L"<c Value=\" 13\">Other</c>", nullptr},
      {"blank around the equals sign", L"<c Value = \"13\">Other</c>", nullptr},
      {"first of two", L"<c Value=\"13\">First</c><c Value=\"13\">Second</c>", L"First"},
      {"attribute behind the number", L"<c Value=\"13\" ID=\"X\">Text</c>", L"Text"},
      {"closing bracket in the text", L"<c Value=\"13\">a > b</c>", L"a > b"},
      {"closing bracket at its start", L"<c Value=\"13\">>b</c>", L">b"},
      {"opening bracket ends it", L"<c Value=\"13\">a < b</c>", L"a "},
      {"entities stay", L"<c Value=\"13\">a &amp; b</c>", L"a &amp; b"},
      {"line ends and blanks stay", L"<c Value=\"13\"> a\r\nb </c>", L" a\r\nb "},
      {"empty text", L"<c Value=\"13\"></c>", L""},
      {"empty element", L"<c Value=\"13\"/><d>Next</d>", L""},
      {"no closing bracket", L"<c Value=\"13\"", nullptr},
      {"no opening bracket behind", L"<c Value=\"13\">Text", nullptr},
      {"nothing", L"", nullptr},
  };
  for (const auto& row : rows) {
    std::wstring result = L"untouched";
    EXPECT_EQ(findCaption(row.block, 13, result), row.result != nullptr) << row.name;
    EXPECT_EQ(result, row.result ? row.result : L"untouched") << row.name;
  }
}

TEST_F(Caption, DefaultStandsInForWhatTheFileLacks) {
  const struct {
    const char* name;
    std::wstring text;
  } rows[] = {
      {"no caption of the number", document(L"<Caption Value=\"133\">Other</Caption>")},
      {"no block", L"<Root><Caption Value=\"13\">Text</Caption></Root>"},
      {"block without a blank behind its name", L"<Language><Caption Value=\"13\">Text</Caption></Language>"},
      {"block in another case", L"<language X><Caption Value=\"13\">Text</Caption></Language>"},
      {"block without an end", L"<Language X><Caption Value=\"13\">Text</Caption>"},
      {"end before the block", L"</Language><Language X><Caption Value=\"13\">Text</Caption>"},
      {"caption before the block", L"<Caption Value=\"13\">Text</Caption>" + document(L"")},
      {"caption behind the block", document(L"") + L"<Caption Value=\"13\">Text</Caption>"},
      {"no opening bracket before the block's end", document(L"<Caption Value=\"13\">Text")},
      {"nothing", L""},
  };
  const CapturedLog log;
  for (const auto& row : rows) {
    useText(row.text);
    EXPECT_EQ(lookUp(13), L"default") << row.name;
  }
  EXPECT_EQ(log.lines(), std::vector<std::string>());
}

TEST_F(Caption, FileThatIsMissingGivesTheDefault) {
  languageFilePath = folder / L"missing.xml";
  EXPECT_EQ(lookUp(13), L"default");
  EXPECT_EQ(userText(13, L"default"), L"default");
  std::wstring text = L"older";
  EXPECT_FALSE(loadLanguageBuffer(text));
  EXPECT_EQ(text, L"");
}

TEST_F(Caption, WithoutAPathEnglishHolds) {
  EXPECT_EQ(lookUp(13), L"default");
  EXPECT_EQ(userText(13, L"default"), L"default");
}

TEST_F(Caption, FileIsReadAnewEachTime) {
  useText(document(L"<Caption Value=\"13\">First</Caption>"));
  EXPECT_EQ(lookUp(13), L"First");
  useText(document(L"<Caption Value=\"13\">Second</Caption>"));
  EXPECT_EQ(lookUp(13), L"Second");
}

TEST_F(Caption, TwoThreadsFindTheirsAtTheSameTime) {
  useText(document(L"<Caption Value=\"13\">Here</Caption><Caption Value=\"14\">There</Caption>"));
  constexpr int kRounds = 100;
  int foundThere = 0;
  std::thread other([this, &foundThere] {
    for (int round = 0; round < kRounds; ++round) {
      foundThere += lookUp(14) == L"There" ? 1 : 0;
    }
  });
  int foundHere = 0;
  for (int round = 0; round < kRounds; ++round) {
    foundHere += lookUp(13) == L"Here" ? 1 : 0;
  }
  other.join();
  EXPECT_EQ(foundHere, kRounds);
  EXPECT_EQ(foundThere, kRounds);
}

TEST_F(Caption, FileThatSomebodyReadsIsReadToo) {
  useText(document(L"<Caption Value=\"13\">Text</Caption>"));
  const FileHandle other(::CreateFileW(languageFilePath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(static_cast<bool>(other));
  EXPECT_EQ(lookUp(13), L"Text");
}

TEST_F(Caption, FileThatSomebodyHoldsGivesTheDefault) {
  useText(document(L"<Caption Value=\"13\">Text</Caption>"));
  const FileHandle lock = lockFile(languageFilePath);
  EXPECT_EQ(lookUp(13), L"default");
}

TEST_F(Caption, MarkOfABigEndianFileIsSkippedAndItsBytesAreNotSwapped) {
  std::string bytes = bytesOf(document(L"<Caption Value=\"13\">Text</Caption>"));
  useFile("\xFE\xFF" + bytes);
  EXPECT_EQ(lookUp(13), L"Text");
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    std::swap(bytes[at], bytes[at + 1]);
  }
  useFile("\xFE\xFF" + bytes);
  EXPECT_EQ(lookUp(13), L"default");
}

TEST_F(Caption, FileWithoutAMarkIsTextOfTheSystemsCodePage) {
  useFile("<Language X><Caption Value=\"13\">\xC3\xA4 or \xE4</Caption></Language>");
  const std::string bytes = "\xC3\xA4 or \xE4";
  wchar_t expected[20] = {};
  ASSERT_GT(::MultiByteToWideChar(CP_ACP, 0, bytes.c_str(), -1, expected, 20), 0);
  EXPECT_EQ(lookUp(13), expected);
}

TEST_F(Caption, LoadedTextRows) {
  const struct {
    const char* name;
    std::string bytes;
    std::wstring text;
  } rows[] = {
      {"wide",
       std::string("\xFF\xFE"
                   "a\0b\0c\0",
                   8),
       L"abc"},
      {"wide, ends at the first zero character",
       std::string("\xFF\xFE"
                   "a\0\0\0c\0",
                   8),
       L"a"},
      {"wide, odd byte at the end",
       std::string("\xFF\xFE"
                   "a\0b\0c",
                   7),
       L"abc"},
      {"mark and one character: 4 bytes keep the mark",
       std::string("\xFF\xFE"
                   "a\0",
                   4),
       L"\xFEFF"
       L"a"},
      {"mark alone", std::string("\xFF\xFE", 2), L"\xFEFF"},
      {"other mark, 5 bytes",
       std::string("\xFE\xFF"
                   "a\0b",
                   5),
       L"ab"},
      {"narrow", "abc", L"abc"},
      {"one byte", "a", L"a"},
      {"half a mark", "\xFF", L"\xFF"},
      {"empty", "", L""},
  };
  for (const auto& row : rows) {
    if (std::string(row.name) == "half a mark" && ::GetACP() != 1252) {
      continue;  // another code page has a different letter there
    }
    useFile(row.bytes);
    std::wstring text = L"older";
    EXPECT_TRUE(loadLanguageBuffer(text)) << row.name;
    EXPECT_EQ(text, row.text) << row.name;
  }
}

TEST_F(Caption, ExceptionWhileReadingGivesTheDefaultAndIsToldToADebugger) {
  useFile("<Language X><Caption Value=\"13\">Text</Caption></Language>");
  debugOutput.clear();
  conversionThrows = true;
  const std::wstring result = lookUp(13);
  conversionThrows = false;
  EXPECT_EQ(result, L"default");
  EXPECT_EQ(debugOutput, std::vector<std::wstring>{L"*** Error Unknown exception on LoadBuffer\n"});
}

TEST_F(Caption, LongFileIsReadWhole) {
  useText(document(std::wstring(300'000, L' ') + L"<Caption Value=\"13\">Text</Caption>"));
  EXPECT_EQ(lookUp(13), L"Text");
}
