// store_apps_test - the removal of store apps through PowerShell.
#include "applications/store_apps.h"

#include <utility>

#include "applications/recorded_starts.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/text.h"

using ::testing::ElementsAre;

namespace {

constexpr char kAttempt[] = "DEBUG Attempting to uninstall ORV UWP Application";
constexpr char kFinished[] = "DEBUG Finished uninstalling ORV UWP Application: ";
constexpr wchar_t kRecordVariable[] = L"RECORD_FILE";

using StoreApps = RecordedStarts;

constexpr wchar_t kPowerShell[] = L"C:\\windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe";

// Puts this program in PowerShell's place, where it records how it was started.
class RecordingPowerShell {
 public:
  RecordingPowerShell() : record_(folder_ / L"record.txt"), original_(folder_ / L"powershell.exe") {
    placed_ =
        ::CopyFileW(kPowerShell, original_.c_str(), TRUE) && ::CopyFileW(ownProgram().c_str(), kPowerShell, FALSE);
    ::SetEnvironmentVariableW(kRecordVariable, record_.c_str());
  }
  ~RecordingPowerShell() {
    ::CopyFileW(original_.c_str(), kPowerShell, FALSE);
    ::SetEnvironmentVariableW(kRecordVariable, nullptr);
  }
  RecordingPowerShell(const RecordingPowerShell&) = delete;
  RecordingPowerShell& operator=(const RecordingPowerShell&) = delete;

  bool isPlaced() const { return placed_; }
  // One line "<working directory>|<command line>" per start.
  std::string record() const { return readFile(record_); }

 private:
  TestFolder folder_;
  std::wstring record_;
  std::wstring original_;
  bool placed_ = false;
};

// The recording side: true if this program was started in PowerShell's place.
bool recordOwnStart() {
  wchar_t path[MAX_PATH] = L"";
  if (::_wcsicmp(ownProgram().c_str(), kPowerShell) != 0 ||
      ::GetEnvironmentVariableW(kRecordVariable, path, MAX_PATH) == 0) {
    return false;
  }
  wchar_t directory[MAX_PATH] = L"";
  ::GetCurrentDirectoryW(MAX_PATH, directory);
  const std::string row = narrow(std::wstring(directory) + L"|" + ::GetCommandLineW() + L"\n");
  const FileHandle file(::CreateFileW(path, FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, 0, nullptr));
  DWORD written = 0;
  ::WriteFile(file.get(), row.data(), static_cast<DWORD>(row.size()), &written, nullptr);
  return true;
}

}  // namespace

TEST_F(StoreApps, InterpreterGetsTheWholeLineAndIsWaitedFor) {
  startsNothing = true;
  RemoveStoreApp(L"OrvaneDevicesInc-2.Sample*");
  ASSERT_EQ(starts.size(), 1u);
  EXPECT_EQ(starts[0].commandLine,
            L"cmd.exe /C \"%SYSTEMROOT%\\System32\\WindowsPowerShell\\v1.0\\powershell.exe \"Get-AppxPackage -AllUsers "
            L"\"OrvaneDevicesInc-2.Sample*\" | Remove-AppxPackage -AllUsers\"\"");
  EXPECT_EQ(starts[0].directory, L"C:\\");
  EXPECT_EQ(waitedFor.size(), 1u);
  EXPECT_THAT(log.lines(), ElementsAre(kAttempt, std::string(kFinished) + "OrvaneDevicesInc-2.Sample*"));
}

TEST_F(StoreApps, PowerShellOfTheSystemFolderIsStartedWithTheScript) {
  const RecordingPowerShell powerShell;
  ASSERT_TRUE(powerShell.isPlaced());
  RemoveStoreApp(L"OrvaneDevicesInc-2.Sample*");
  RemoveStoreApp(L"OrvaneDevicesInc-2.Other*");
  // No need to wait: the calls return after PowerShell has ended.
  EXPECT_EQ(powerShell.record(),
            "C:\\|C:\\windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe \"Get-AppxPackage -AllUsers "
            "\"OrvaneDevicesInc-2.Sample*\" | Remove-AppxPackage -AllUsers\"\n"
            "C:\\|C:\\windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe \"Get-AppxPackage -AllUsers "
            "\"OrvaneDevicesInc-2.Other*\" | Remove-AppxPackage -AllUsers\"\n");
}

TEST_F(StoreApps, ExitCodeOfPowerShellIsNotLookedAt) {
  startsNothing = true;
  for (const DWORD code : {DWORD{0}, DWORD{1}, ~DWORD{0}}) {
    exitCodeOfChild = code;
    const CapturedLog lines;
    RemoveStoreApp(L"Maker.App*");
    EXPECT_THAT(lines.lines(), ElementsAre(kAttempt, std::string(kFinished) + "Maker.App*"));
  }
}

TEST_F(StoreApps, FailedStartHasItsErrorLineAndTheClosingLineAllTheSame) {
  startFailure = ERROR_FILE_NOT_FOUND;
  RemoveStoreApp(L"Maker.App*");
  EXPECT_THAT(
      log.lines(),
      ElementsAre(kAttempt,
                  "ERROR Failed Applications uninstall : cmd: %SYSTEMROOT%\\System32\\WindowsPowerShell\\v1.0\\"
                  "powershell.exe \"Get-AppxPackage -AllUsers \"Maker.App*\" | Remove-AppxPackage -AllUsers\" ,error "
                  "code\t:\t2",
                  std::string(kFinished) + "Maker.App*"));
}

TEST_F(StoreApps, ConversionsInThePatternPrintNothingAndReadNothing) {
  const struct {
    const wchar_t* pattern;
    const char* printed;
  } rows[] = {
      {L"a%sb", "ab"},    {L"a%nb", "ab"},    {L"a%db", "ab"},    {L"%s%s%s%n%n%n", ""},
      {L"100%%", "100%"}, {L"100%", "100"},   {L"a%08lxb", "ab"}, {L"a%-5.3sb", "ab"},
      {L"a%*.*fb", "ab"}, {L"a%I64db", "ab"}, {L"a%hsb", "ab"},   {L"%%s", "%s"},
      {L"%%%s", "%"},     {L"%%%", "%"},      {L"a%5", "a"},      {L"no sign*", "no sign*"},
  };
  startsNothing = true;
  for (const auto& row : rows) {
    const CapturedLog lines;
    RemoveStoreApp(row.pattern);
    EXPECT_THAT(lines.lines(), ElementsAre(kAttempt, std::string(kFinished) + row.printed)) << narrow(row.pattern);
    EXPECT_NE(starts.back().commandLine.find(std::wstring(L"-AllUsers \"") + row.pattern + L"\" |"), std::wstring::npos)
        << "the command has the pattern as it stands";
  }
}

TEST_F(StoreApps, PatternThatBeginsWithoutANameIsRefused) {
  startsNothing = true;
  for (const wchar_t* pattern : {L"", L"*", L"?*", L"[a-z]*", L" ", L" OrvaneDevicesInc-2.Sample*", L"\t*", L"\"\""}) {
    const CapturedLog lines;
    RemoveStoreApp(pattern);
    EXPECT_THAT(lines.lines(), ElementsAre("ERROR RemoveStoreApp - Pattern[" + narrow(pattern) +
                                           "] begins without a name, not carried out"));
  }
  EXPECT_TRUE(starts.empty());
}

// The log's formatter knows no numbered arguments: the conversion ends at the dollar sign, and the rest is text.
TEST_F(StoreApps, NumberedConversionReadsNothing) {
  startsNothing = true;
  for (const auto& [pattern, printed] : {std::pair{L"a%1$sb", "asb"}, {L"a%2$nb", "anb"}, {L"a%1$*2$sb", "a*2$sb"}}) {
    const CapturedLog lines;
    RemoveStoreApp(pattern);
    EXPECT_THAT(lines.lines(), ElementsAre(kAttempt, std::string(kFinished) + printed)) << narrow(pattern);
    EXPECT_NE(starts.back().commandLine.find(std::wstring(L"-AllUsers \"") + pattern + L"\" |"), std::wstring::npos)
        << "the command has the pattern as it stands";
  }
}

int main(int argumentCount, char** arguments) {
  if (recordOwnStart()) {
    return 0;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
