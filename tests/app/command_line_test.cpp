// command_line_test - the switches of the command line.
#include "app/command_line.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/text.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Devices = std::vector<GraphicsDevice>;

constexpr char kSilentLine[] = "---------------------CleanUp will run silently--------------------";
constexpr char kSafeModeLine[] = "---------------------CleanUp will run in safe mode--------------------";
constexpr char kRebootLine[] =
    "---------------------CleanUp will restart the machine after running--------------------";
constexpr char kFactoryResetLine[] =
    "---------------------CleanUp is launched by instaler for Factory reset--------------------";
constexpr char kGpuLine[] =
    "---------------------CleanUp is launched by instaler with GPU's to exclude--------------------";

// What a command line has switched on, and the lines that tell of it.
struct Parsed {
  Switches switches;
  Devices gpus;
  std::vector<std::string> log;
};

Parsed parse(const std::wstring& text) {
  const CommandLine commandLine = parseSwitches(text);
  Parsed parsed = {commandLine.switches, commandLine.switches.gpuExclusion.gpus, {}};
  for (const wchar_t* line : commandLine.logLines) {
    parsed.log.push_back(narrow(line));
  }
  return parsed;
}

// The letters of the flags that are set, in the order of the words' table.
std::string flags(const Parsed& parsed) {
  const Switches& switches = parsed.switches;
  std::string letters;
  letters += switches.silent ? "S" : "";
  letters += switches.safeModeRequested ? "M" : "";
  letters += switches.rebootAfterRun ? "R" : "";
  letters += switches.factoryReset ? "F" : "";
  letters += switches.gpuExclusion.excludeGpus ? "G" : "";
  letters += switches.removeInstallManager ? "" : "V";
  return letters;
}

}  // namespace

TEST(CommandLine, EmptyLineSetsNothing) {
  for (const wchar_t* line : {L"", L" ", L"      "}) {
    const Parsed parsed = parse(line);
    EXPECT_EQ(flags(parsed), "");
    EXPECT_THAT(parsed.gpus, IsEmpty());
    EXPECT_THAT(parsed.log, IsEmpty());
  }
}

TEST(CommandLine, EachWordSetsItsFlagAndLogsItsLine) {
  const struct {
    const wchar_t* line;
    const char* flags;
    std::vector<std::string> log;
  } rows[] = {{L"silent", "S", {kSilentLine}}, {L"safemode", "M", {kSafeModeLine}},
              {L"reboot", "R", {kRebootLine}}, {L"launchedForFactoryReset", "F", {kFactoryResetLine}},
              {L"gpu", "G", {kGpuLine}},       {L"saveORV", "V", {}}};
  for (const auto& row : rows) {
    const Parsed parsed = parse(row.line);
    EXPECT_EQ(flags(parsed), row.flags);
    EXPECT_EQ(parsed.log, row.log) << narrow(row.line);
    EXPECT_THAT(parsed.gpus, IsEmpty());
  }
}

TEST(CommandLine, WordCountsWhereverItStandsInAToken) {
  const struct {
    const wchar_t* line;
    const char* flags;
  } rows[] = {
      {L"/silent", "S"},    {L"-silent", "S"},        {L"--silent=1", "S"},        {L"nonsilentmode", "S"},
      {L"\"silent\"", "S"}, {L"mysafemodeflag", "M"}, {L"--no-reboot", "R"},       {L"/launchedForFactoryReset:0", "F"},
      {L"regpus", "G"},     {L"-saveORV-", "V"},      {L"\u00C4silent\u6E05", "S"}};
  for (const auto& row : rows) {
    EXPECT_EQ(flags(parse(row.line)), row.flags) << narrow(row.line);
  }
}

TEST(CommandLine, CaseMatters) {
  for (const wchar_t* line : {L"SILENT", L"Silent", L"SafeMode", L"REBOOT", L"LaunchedForFactoryReset",
                              L"launchedforfactoryreset", L"GPU", L"saveorv", L"SAVEORV"}) {
    const Parsed parsed = parse(line);
    EXPECT_EQ(flags(parsed), "") << narrow(line);
    EXPECT_THAT(parsed.log, IsEmpty());
  }
}

TEST(CommandLine, UnknownTokensAreIgnored) {
  EXPECT_EQ(flags(parse(L"/? help C:\\setup.exe silen t reboo safe mode")), "");
  EXPECT_EQ(flags(parse(L"unknown silent unknown")), "S");
}

TEST(CommandLine, AnyOrderOfTheTokensSetsAll) {
  for (const wchar_t* line : {L"silent reboot safemode", L"silent safemode reboot", L"reboot silent safemode",
                              L"reboot safemode silent", L"safemode silent reboot", L"safemode reboot silent"}) {
    EXPECT_EQ(flags(parse(line)), "SMR") << narrow(line);
  }
  EXPECT_THAT(parse(L"reboot silent safemode").log, ElementsAre(kRebootLine, kSilentLine, kSafeModeLine));
}

TEST(CommandLine, EveryWordTogether) {
  const Parsed parsed = parse(L"saveORV launchedForFactoryReset gpu \"A&B\" reboot safemode silent");
  EXPECT_EQ(flags(parsed), "SMRFGV");
  EXPECT_EQ(parsed.gpus, (Devices{{L"A", L"B"}}));
  EXPECT_THAT(parsed.log, ElementsAre(kFactoryResetLine, kGpuLine, kRebootLine, kSafeModeLine, kSilentLine));
}

TEST(CommandLine, RepeatedWordIsLoggedEachTime) {
  EXPECT_THAT(parse(L"silent silent saveORV saveORV").log, ElementsAre(kSilentLine, kSilentLine));
}

TEST(CommandLine, OfSeveralWordsInATokenTheFirstOfTheTableCounts) {
  const struct {
    const wchar_t* line;
    const char* flags;
  } rows[] = {{L"rebootsafemodesilent", "S"},
              {L"saveORVgpulaunchedForFactoryResetrebootsafemode", "M"},
              {L"saveORVgpulaunchedForFactoryResetreboot", "R"},
              {L"saveORVgpulaunchedForFactoryReset", "F"},
              {L"saveORVgpu", "G"}};
  for (const auto& row : rows) {
    EXPECT_EQ(flags(parse(row.line)), row.flags) << narrow(row.line);
  }
}

TEST(CommandLine, OnlyTheBlankSeparates) {
  EXPECT_EQ(flags(parse(L"  silent    reboot  ")), "SR") << "repeated blanks give no tokens";
  EXPECT_EQ(flags(parse(L"reboot\tsilent")), "S") << "a tab makes no second token";
  EXPECT_EQ(flags(parse(L"reboot\nsilent")), "S");
  EXPECT_EQ(flags(parse(L"\"reboot silent\"")), "SR") << "quotation marks hold nothing together";
}

TEST(CommandLine, LongLineIsReadToItsEnd) {
  std::wstring line;
  for (int number = 0; number < 4'000; ++number) {
    line += L"unknown ";
  }
  EXPECT_EQ(flags(parse(line + L"silent")), "S");
  EXPECT_EQ(flags(parse(std::wstring(32'000, L'x') + L"silent")), "S");
}

TEST(GpuValue, DevicesKeepTheirOrder) {
  const struct {
    const wchar_t* line;
    Devices gpus;
  } rows[] = {
      {L"gpu A&B", {{L"A", L"B"}}},
      {L"gpu \"A&B\"", {{L"A", L"B"}}},
      {L"gpu \"A&B\"@\"C&D\"", {{L"A", L"B"}, {L"C", L"D"}}},
      {L"gpu A&B@C&D@E&F", {{L"A", L"B"}, {L"C", L"D"}, {L"E", L"F"}}},
      {L"gpu \"A&B\"\"C&D\"", {{L"A", L"B"}, {L"C", L"D"}}},
      {L"gpu @@\"\"A&B@@", {{L"A", L"B"}}},
      {L"gpu    A&B", {{L"A", L"B"}}},
      {L"gpu A&B&C", {{L"A", L"B"}}},
      {L"gpu &B", {{L"", L"B"}}},
      {L"gpu A&&B", {{L"A", L""}}},
      {L"gpu A&B@A&B", {{L"A", L"B"}, {L"A", L"B"}}},
      {L"gpu VEN_7A11&DEV_0001", {{L"VEN_7A11", L"DEV_0001"}}},
      {L"gpu \u00C4&\u6E05", {{L"\u00C4", L"\u6E05"}}},
  };
  for (const auto& row : rows) {
    const Parsed parsed = parse(row.line);
    EXPECT_EQ(flags(parsed), "G");
    EXPECT_EQ(parsed.gpus, row.gpus) << narrow(row.line);
    EXPECT_THAT(parsed.log, ElementsAre(kGpuLine));
  }
}

TEST(GpuValue, NextTokenIsTheValueWhateverItHolds) {
  for (const wchar_t* value : {L"silent", L"gpu", L"saveORV", L"reboot"}) {
    const Parsed parsed = parse(L"gpu " + std::wstring(value));
    EXPECT_EQ(flags(parsed), "G") << narrow(value);
    EXPECT_THAT(parsed.log, ElementsAre(kGpuLine));
  }
}

TEST(GpuValue, TokensBehindTheValueCount) {
  EXPECT_EQ(flags(parse(L"gpu A&B silent")), "SG");
  EXPECT_EQ(flags(parse(L"regpus silent reboot")), "RG");
}

TEST(GpuValue, TextBehindTheWordInItsTokenIsLost) {
  const Parsed alone = parse(L"--gpu=\"A&B\"");
  EXPECT_EQ(flags(alone), "G");
  EXPECT_THAT(alone.gpus, IsEmpty());
  EXPECT_EQ(parse(L"--gpu=\"A&B\" C&D").gpus, (Devices{{L"C", L"D"}}));
}

TEST(GpuValue, MissingValueIsAnEmptyOne) {
  for (const wchar_t* line : {L"gpu", L"gpu ", L"silent gpu", L"gpu   "}) {
    const Parsed parsed = parse(line);
    EXPECT_TRUE(parsed.switches.gpuExclusion.excludeGpus);
    EXPECT_THAT(parsed.gpus, IsEmpty());
  }
}

TEST(GpuValue, SecondValueIsAppended) {
  const Parsed parsed = parse(L"gpu A&B gpu C&D");
  EXPECT_EQ(parsed.gpus, (Devices{{L"A", L"B"}, {L"C", L"D"}}));
  EXPECT_THAT(parsed.log, ElementsAre(kGpuLine, kGpuLine));
}

TEST(GpuValue, MalformedValuesDoNotCrash) {
  for (const std::wstring& value :
       {std::wstring(L"A"), std::wstring(L"&"), std::wstring(L"&&"), std::wstring(L"A&"), std::wstring(L"@"),
        std::wstring(L"@@@"), std::wstring(L"\""), std::wstring(L"\"\""), std::wstring(L"\"A&B"), std::wstring(L"A@B"),
        std::wstring(L"&@&"), std::wstring(L"\"&\"@\"&\""), std::wstring(32'000, L'&'), std::wstring(32'000, L'x')}) {
    EXPECT_EQ(flags(parse(L"gpu " + value + L" silent")), "SG") << narrow(value.substr(0, 20));
  }
}

TEST(SplitByPattern, PiecesBetweenTheMatches) {
  const struct {
    const wchar_t* pattern;
    const wchar_t* text;
    std::vector<std::wstring> pieces;
  } rows[] = {
      {L"[ ]", L"one", {L"one"}},
      {L"[ ]", L"one two", {L"one", L"two"}},
      {L"[ ]", L"one  two", {L"one", L"", L"two"}},
      {L"[ ]", L" one", {L"", L"one"}},
      {L"[ ]", L"one\ttwo", {L"one\ttwo"}},
      {L"[\"@]", L"\"A&B\"@\"C&D\"", {L"", L"A&B", L"", L"", L"C&D"}},
      {L"[&]", L"A&B&C", {L"A", L"B", L"C"}},
      {L"x+", L"axxxb", {L"a", L"b"}},
      {L"[ ]", L"\u00C4 \u6E05 \U0001F5D1", {L"\u00C4", L"\u6E05", L"\U0001F5D1"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(splitByPattern(row.pattern, row.text), row.pieces) << narrow(row.text);
  }
}

TEST(SplitByPattern, EmptyTextNeverReachesTheExpression) {
  EXPECT_THAT(splitByPattern(L"[ ]", L""), IsEmpty());
  EXPECT_NO_THROW(EXPECT_THAT(splitByPattern(L"[", L""), IsEmpty()));
}
