// language_files_test - the shipped translations: their format, on which the program's plain text search relies, and
// that every text is present, translated and fits its place.
#include <algorithm>
#include <array>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include <gtest/gtest.h>

#include "support/text.h"
#include "ui/localised_strings.h"

namespace {

// `letters` are the only characters allowed in a file besides ASCII, with hyphens for ranges; every letter of `typical`
// must occur in it.
struct LanguageFile {
  const char* file;
  int resource;
  const wchar_t* name;
  const wchar_t* id;
  const wchar_t* letters;
  const wchar_t* typical;
};

void PrintTo(const LanguageFile& language, std::ostream* stream) {
  *stream << language.file;
}

// The Ukrainian file carries the Turkish attributes. Nothing reads them, and the file stays as it has always been
// shipped.
constexpr LanguageFile kFiles[] = {
    {"CHS", 186, L"Chinese (Simplified)", L"CHS", L"一-鿿。、，？", L"驱动应图软检测统运"},
    {"CHT", 151, L"Chinese (Traditional)", L"CHT", L"一-鿿。、，？", L"驅動應圖軟偵測統執"},
    {"CSY", 166, L"Czech", L"CSY", L"áčďéěíňóřšťúůýž", L"áčěíů"},
    {"DAN", 167, L"Danish", L"DAN", L"æøå", L"æø"},
    {"DEU", 179, L"German", L"DEU", L"äöüß", L"äöüß"},
    {"ELL", 178, L"Greek", L"ELL", L"ΐ-ώ", L"αέήίόςώ"},
    {"ESN", 177, L"Spanish", L"ESN", L"áéíñóúü¿", L"áó¿"},
    {"FIN", 176, L"Finnish", L"FIN", L"äö", L"äö"},
    {"FRA", 164, L"French", L"FRA", L"àâçéèêëîïôùûü’\u00a0", L"éè’\u00a0"},
    {"HUN", 175, L"Hungarian", L"HUN", L"áéíóöőúüű", L"áéíóöő"},
    {"ITA", 174, L"Italian", L"ITA", L"àèéìòù’", L"àè’"},
    {"JPN", 165, L"Japanese", L"JPN", L"ぁ-んァ-ー一-鿿。、？", L"のはを"},
    {"KOR", 173, L"Korean", L"KOR", L"가-힣", L"가다니"},
    {"NOR", 180, L"Norwegian", L"NOR", L"æøå", L"øå"},
    {"NLD", 172, L"Dutch", L"NLD", L"ëïé’", L"’"},
    {"PLK", 171, L"Polish", L"PLK", L"ąćęłńóśźż", L"ąęłńóż"},
    {"PTB", 181, L"Portuguese (Brazil)", L"PTB", L"áâãàçéêíóôõú", L"áãçêõ"},
    {"RUS", 170, L"Russian", L"RUS", L"а-яё", L"ыя"},
    {"SVE", 182, L"Swedish", L"SVE", L"åäö", L"åäö"},
    {"THA", 169, L"Thai", L"THA", L"ก-๛", L"กเ่้"},
    {"TRK", 168, L"Turkish", L"TRK", L"çğıöşüâ’", L"çğışü"},
    {"UKR", 187, L"Turkish", L"TRK", L"а-щьюяіїєґ", L"іїє"},
};

// `room` is in columns (see columnsOf); 0 for a message box, which adapts to its text.
struct CaptionRow {
  int number;
  const wchar_t* symbol;
  const wchar_t* english;
  int room;
};

constexpr CaptionRow kCaptions[] = {
    {125, L"IDS_WARNING_MESSAGE",
     L"This process will remove ORV drivers and applications such as graphics drivers, audio drivers, and ORV "
     L"Software. "
     L"This process will not remove or modify ORV chipset drivers.",
     0},
    {126, L"IDS_HEADER", L"ORV Cleanup Utility", 40},
    {127, L"IDS_SUCCESSTEXT", L"The ORV Cleanup Utility has successfully completed.", 60},
    {128, L"IDS_WARNINGTEXT", L"The ORV Cleanup Utility has completed with warnings.", 60},
    {129, L"IDS_ERRORTEXT", L"The ORV Cleanup Utility has not completed successfully.", 60},
    {131, L"IDS_VIEWREPORT", L"View Report", 20},
    {132, L"IDS_FINISH", L"Finish", 12},
    {133, L"IDS_REBOOTMSG",
     L"Actions taken by ORV Cleanup Utility require a system reboot. Would you like to reboot now?", 0},
    {135, L"IDS_SAFEMODEMSG",
     L"ORV Cleanup Utility has detected that your system is not currently in safe mode. Would you like to reboot and "
     L"run "
     L"in safe mode?",
     0},
    {137, L"IDS_WSUPDATEMSG",
     L"ORV Cleanup Utility cannot complete while Windows Update is running. Please finish or exit Windows Update and "
     L"re-launch ORV Cleanup Utility.",
     0},
    {138, L"IDS_ANOTHERINSTANCERUNNING", L"Another instance is running.", 0},
    {139, L"IDS_SPLASHSCREENCAPTION", L"Removing Drivers, Applications, Utilities", 45},
    {140, L"IDS_SPLASHSCREENBRANDINGNAME", L"Cleanup Utility", 30},
};

std::wstring contentOf(const LanguageFile& language) {
  const HRSRC resource = ::FindResourceW(nullptr, MAKEINTRESOURCEW(language.resource), L"BINARY");
  const HGLOBAL loaded = resource ? ::LoadResource(nullptr, resource) : nullptr;
  return loaded ? std::wstring(static_cast<const wchar_t*>(::LockResource(loaded)),
                               ::SizeofResource(nullptr, resource) / sizeof(wchar_t))
                : std::wstring();
}

// Without the byte order mark and the line ends. A line feed on its own does not end a line.
std::vector<std::wstring> linesOf(const LanguageFile& language) {
  const std::wstring content = contentOf(language);
  std::vector<std::wstring> lines;
  for (std::size_t begin = 1; begin < content.size();) {
    const std::size_t end = std::min(content.find(L"\r\n", begin), content.size());
    lines.push_back(content.substr(begin, end - begin));
    begin = end + 2;
  }
  return lines;
}

std::wstring openingOf(const CaptionRow& caption) {
  return std::wstring(L"    <Caption ID=\"") + caption.symbol + L"\" Value=\"" + std::to_wstring(caption.number) +
         L"\">";
}

// The text between the tags on the caption's line; empty if the line is not the caption's.
std::wstring textOf(const LanguageFile& language, const CaptionRow& caption) {
  const std::wstring opening = openingOf(caption);
  const std::wstring closing = L"</Caption>";
  for (const std::wstring& line : linesOf(language)) {
    if (line.starts_with(opening) && line.ends_with(closing)) {
      return line.substr(opening.size(), line.size() - opening.size() - closing.size());
    }
  }
  return std::wstring();
}

std::wstring textOf(const LanguageFile& language, int number) {
  return textOf(language, *std::ranges::find(kCaptions, number, &CaptionRow::number));
}

std::wstring lower(std::wstring text) {
  ::CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

bool has(std::wstring_view text, std::wstring_view part) {
  return text.find(part) != std::wstring_view::npos;
}

bool isBetween(wchar_t character, wchar_t first, wchar_t last) {
  return first <= character && character <= last;
}

bool isLetterOf(wchar_t character, std::wstring_view letters) {
  for (std::size_t i = 0; i < letters.size(); ++i) {
    const bool isRange = i + 2 < letters.size() && letters[i + 1] == L'-';
    if (isBetween(character, letters[i], letters[isRange ? i + 2 : i])) {
      return true;
    }
  }
  return false;
}

// The width of a text in Latin characters: East Asian ones count twice, Thai marks above and below a letter not at all.
int columnsOf(std::wstring_view text) {
  int columns = 0;
  for (const wchar_t character : text) {
    const bool isThaiSign =
        character == 0x0e31 || isBetween(character, 0x0e34, 0x0e3a) || isBetween(character, 0x0e47, 0x0e4e);
    const bool isWide = isBetween(character, 0x3000, 0xd7ff) || isBetween(character, 0xff00, 0xff60);
    columns += isThaiSign ? 0 : isWide ? 2 : 1;
  }
  return columns;
}

// Every pair of consecutive words, in lower case with one blank between them.
std::set<std::wstring> wordPairsOf(const std::wstring& text) {
  std::set<std::wstring> pairs;
  std::wstring last;
  std::wstring word;
  for (const wchar_t character : lower(text) + L' ') {
    if (::IsCharAlphaW(character)) {
      word += character;
    } else if (!word.empty()) {
      if (!last.empty()) {
        pairs.insert(last + L' ' + word);
      }
      last = std::move(word);
      word.clear();
    }
  }
  return pairs;
}

// Names, which are not translated.
const std::set<std::wstring> kNames = {L"windows update", L"orv software"};

class LanguageFiles : public ::testing::TestWithParam<LanguageFile> {};

TEST_P(LanguageFiles, AreLittleEndianWideTextBehindTheirMark) {
  const std::wstring content = contentOf(GetParam());
  ASSERT_FALSE(content.empty());
  EXPECT_EQ(0xfeff, content.front());
  EXPECT_EQ(std::wstring::npos, content.find(L'\xfeff', 1));
  EXPECT_EQ(std::wstring::npos, content.find(L'\0'));
}

TEST_P(LanguageFiles, EndEveryLineWithCarriageReturnAndLineFeed) {
  const std::wstring content = contentOf(GetParam());
  EXPECT_TRUE(content.ends_with(L"\r\n"));
  for (const std::wstring& line : linesOf(GetParam())) {
    EXPECT_EQ(std::wstring::npos, line.find_first_of(L"\r\n")) << narrow(line);
  }
}

TEST_P(LanguageFiles, HoldTheThirteenCaptionsInOneLanguageInOrder) {
  const std::vector<std::wstring> lines = linesOf(GetParam());
  ASSERT_EQ(std::size(kCaptions) + 5, lines.size());
  EXPECT_EQ(L"<?xml version=\"1.0\" encoding=\"utf-16\"?>", lines[0]);
  EXPECT_EQ(L"<Root>", lines[1]);
  EXPECT_EQ(
      std::wstring(L"  <Language Name=\"") + GetParam().name + L"\" Align=\"Left\" ID=\"" + GetParam().id + L"\">",
      lines[2]);
  for (std::size_t i = 0; i < std::size(kCaptions); ++i) {
    EXPECT_TRUE(lines[3 + i].starts_with(openingOf(kCaptions[i]))) << narrow(lines[3 + i]);
    EXPECT_TRUE(lines[3 + i].ends_with(L"</Caption>")) << narrow(lines[3 + i]);
  }
  EXPECT_EQ(L"  </Language>", lines[16]);
  EXPECT_EQ(L"</Root>", lines[17]);
}

// Entities are not decoded, and a bracket would end the text.
TEST_P(LanguageFiles, HoldPlainTextWithoutMarkup) {
  for (const CaptionRow& caption : kCaptions) {
    const std::wstring text = textOf(GetParam(), caption);
    ASSERT_FALSE(text.empty()) << caption.number;
    EXPECT_EQ(std::wstring::npos, text.find_first_of(L"<>&\t")) << narrow(text);
    EXPECT_FALSE(text.starts_with(L' ') || text.ends_with(L' ')) << narrow(text);
  }
}

TEST_P(LanguageFiles, GiveTheProgramEachTextByItsNumber) {
  for (const CaptionRow& caption : kCaptions) {
    std::wstring found;
    EXPECT_TRUE(findCaption(contentOf(GetParam()), caption.number, found)) << caption.number;
    EXPECT_EQ(narrow(textOf(GetParam(), caption)), narrow(found));
  }
}

// Neither a whole English text, of this or another caption, nor a part of one: languages share single words, but not
// two in a row.
TEST_P(LanguageFiles, LeaveNoTextInEnglish) {
  for (const CaptionRow& caption : kCaptions) {
    const std::wstring text = textOf(GetParam(), caption);
    ASSERT_FALSE(text.empty()) << caption.number;
    const std::set<std::wstring> pairs = wordPairsOf(text);
    for (const CaptionRow& english : kCaptions) {
      EXPECT_NE(lower(english.english), lower(text)) << caption.number;
      for (const std::wstring& pair : wordPairsOf(english.english)) {
        EXPECT_TRUE(kNames.contains(pair) || !pairs.contains(pair)) << caption.number << ": " << narrow(pair);
      }
    }
  }
}

TEST(EnglishTexts, AreFoundInAMixedText) {
  EXPECT_EQ(wordPairsOf(L"Bitte, would you LIKE?"),
            (std::set<std::wstring>{L"bitte would", L"would you", L"you like"}));
  EXPECT_TRUE(wordPairsOf(L"Finish").empty());
}

TEST_P(LanguageFiles, KeepTheMakersNameWhereTheEnglishTextHasIt) {
  for (const CaptionRow& caption : kCaptions) {
    const std::wstring text = textOf(GetParam(), caption);
    EXPECT_EQ(has(caption.english, L"ORV"), has(text, L"ORV")) << narrow(text);
  }
}

// A case ending may follow the name, and its first letter may be small inside a sentence.
TEST_P(LanguageFiles, CallTheProgramByOneName) {
  const std::wstring title = lower(textOf(GetParam(), kCaptionTitle));
  ASSERT_FALSE(title.empty());
  EXPECT_TRUE(has(title, lower(textOf(GetParam(), kCaptionSplashHeadline))));
  for (const CaptionRow& caption : kCaptions) {
    const std::wstring text = textOf(GetParam(), caption);
    EXPECT_EQ(has(caption.english, kDefaultTitle), has(lower(text), title)) << narrow(text);
  }
}

TEST_P(LanguageFiles, HoldTextsThatFitTheirPlaces) {
  for (const CaptionRow& caption : kCaptions) {
    const std::wstring text = textOf(GetParam(), caption);
    EXPECT_TRUE(caption.room == 0 || columnsOf(text) <= caption.room) << columnsOf(text) << " " << narrow(text);
  }
}

TEST_P(LanguageFiles, AreWrittenInTheirLanguagesLetters) {
  std::wstring text;
  for (const CaptionRow& caption : kCaptions) {
    text += lower(textOf(GetParam(), caption));
  }
  for (const wchar_t character : text) {
    EXPECT_TRUE(character < 0x80 || isLetterOf(character, GetParam().letters)) << narrow({character});
  }
  for (const wchar_t letter : std::wstring_view(GetParam().typical)) {
    EXPECT_TRUE(has(text, {&letter, 1})) << narrow({letter});
  }
}

INSTANTIATE_TEST_SUITE_P(Shipped, LanguageFiles, ::testing::ValuesIn(kFiles),
                         [](const auto& row) { return std::string(row.param.file); });

// Both are written with Han characters, so the range does not distinguish them.
TEST(ChineseFiles, DoNotMixSimplifiedAndTraditionalCharacters) {
  constexpr std::wstring_view kSimplified = L"驱动应图软测统执检显响请启实数务报过时";
  constexpr std::wstring_view kTraditional = L"驅動應圖軟測統執檢顯響請啟實數務報過時";
  EXPECT_EQ(std::wstring::npos, contentOf(kFiles[0]).find_first_of(kTraditional));
  EXPECT_EQ(std::wstring::npos, contentOf(kFiles[1]).find_first_of(kSimplified));
}

// The Ukrainian and the Turkish file, for one, have the same attributes.
TEST(LanguageFileSet, HoldsEachTranslationOnce) {
  std::set<std::wstring> sentences;
  for (const LanguageFile& language : kFiles) {
    EXPECT_TRUE(sentences.insert(textOf(language, kCaptionConsent)).second) << language.file;
  }
}

}  // namespace
