#include "system/log_file.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <ctime>
#include <cwchar>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <windows.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/text.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

// What went to the debugger instead of the file.
std::wstring& debugOutput() {
  static std::wstring text;
  return text;
}

}  // namespace

LINK_SEAM(void, OutputDebugStringW, (const wchar_t* text)) {
  debugOutput() += text;
}

// A character that the stream cannot hold ends the output of its text, and the call fails. A runtime may mark the
// stream as failed for good as well, which the bench machine's does not: no later line may depend on that mark.
LINK_SEAM(int, fputws, (const wchar_t* text, FILE* stream)) {
  const int result = realFunction<decltype(&::fputws)>(L"msvcrt.dll", "fputws")(text, stream);
  for (const wchar_t character : std::wstring_view(text)) {
    if (character > 0xFF) {
      stream->_flag |= _IOERR;
      break;
    }
  }
  return result;
}

namespace {

bool writeLine(LogLevel level, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const bool result = Logger::Write(level, format, arguments);
  va_end(arguments);
  return result;
}

std::string ownPrefix(const std::string& stamp) {
  return "Thread Id:" + std::to_string(::GetCurrentThreadId()) + "\t" + stamp + "\tDEBUG\t";
}

std::string localTime() {
  const std::time_t now = std::time(nullptr);
  char text[32];
  std::strftime(text, sizeof(text), "%Y:%m:%d-%H:%M:%S", std::localtime(&now));
  return text;
}

// What differs from run to run is named alike in every line.
std::string withoutPrefix(const std::string& text) {
  static const std::regex prefix(R"(Thread Id:\d+\t\d{4}:\d\d:\d\d-\d\d:\d\d:\d\d\t)");
  return std::regex_replace(text, prefix, "<prefix>");
}

const std::size_t kPrefixLength = ownPrefix("2026:11:14-12:09:34").size();

// Another run of the program with a temporary folder of its own.
class SecondRun {
 public:
  SecondRun(const std::wstring& temporaryFolder, const std::wstring& arguments) {
    const std::wstring before = variable();
    set(temporaryFolder.c_str());
    std::wstring commandLine = L"\"" + ownProgram() + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information = {};
    if (::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                         &information)) {
      const KernelHandle process(information.hProcess);
      const KernelHandle thread(information.hThread);
      id_ = information.dwProcessId;
      EXPECT_EQ(::WaitForSingleObject(process.get(), 30'000), WAIT_OBJECT_0);
      ::GetExitCodeProcess(process.get(), &exitCode_);
    }
    set(before.c_str());
  }

  std::string header() const { return "Process Id:" + std::to_string(id_) + "\r\n"; }
  DWORD exitCode() const { return exitCode_; }

 private:
  static std::wstring variable() {
    wchar_t value[MAX_PATH] = L"";
    ::GetEnvironmentVariableW(L"TMP", value, MAX_PATH);
    return value;
  }
  static void set(const wchar_t* folder) {
    ::SetEnvironmentVariableW(L"TMP", folder);
    ::SetEnvironmentVariableW(L"TEMP", folder);
  }

  DWORD id_ = 0;
  DWORD exitCode_ = 0;
};

constexpr int kSecondRunEnded = 42;

// What a second run does: it logs its arguments and is then ended without any chance to write what it still holds. With
// `--tell FILE` it leaves in that file what went to the debugger, and where its log would have been.
int secondRun(int count, char** arguments) {
  std::wstring tellFile;
  for (int index = 2; index < count; ++index) {
    const std::string text = arguments[index];
    if (text == "--tell") {
      ++index;
      tellFile.assign(arguments[index], arguments[index] + std::string(arguments[index]).size());
    } else {
      LogDebug(L"%hs", text.c_str());
    }
  }
  if (!tellFile.empty()) {
    const std::string report = narrow(Logger::GetPath() + L"\n" + debugOutput());
    const FileHandle file(::CreateFileW(tellFile.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    ::WriteFile(file.get(), report.data(), static_cast<DWORD>(report.size()), &written, nullptr);
  }
  ::TerminateProcess(::GetCurrentProcess(), kSecondRunEnded);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count > 1 && std::string(arguments[1]) == "--second-run") {
    return secondRun(count, arguments);
  }
  testing::InitGoogleMock(&count, arguments);
  return RUN_ALL_TESTS();
}

TEST(LogFile, LiesInTheFolderCleanUpOfTheTemporaryFolder) {
  wchar_t temporary[MAX_PATH] = L"";
  ::GetTempPathW(MAX_PATH, temporary);
  EXPECT_EQ(Logger::GetPath(), std::wstring(temporary) + L"CleanUp\\ORVCleanup.log");
  EXPECT_TRUE(pathExists(Logger::GetPath()));
}

TEST(LogFile, BeginsWithTheProcessId) {
  EXPECT_THAT(readFile(Logger::GetPath()),
              StartsWith("Process Id:" + std::to_string(::GetCurrentProcessId()) + "\r\n"));
}

TEST(LogFile, IsThereBeforeAnythingIsLogged) {
  const TestFolder folder;
  const SecondRun run(folder.path(), L"--second-run");
  EXPECT_EQ(run.exitCode(), static_cast<DWORD>(kSecondRunEnded));
  EXPECT_EQ(readFile(folder / L"CleanUp\\ORVCleanup.log"), run.header());
}

TEST(LogFile, HoldsEachLineEvenWhenTheProcessIsKilledNext) {
  const TestFolder folder;
  const SecondRun run(folder.path(), L"--second-run one two");
  const std::string text = withoutPrefix(readFile(folder / L"CleanUp\\ORVCleanup.log"));
  EXPECT_EQ(text, run.header() + "<prefix>DEBUG\tone\r\n<prefix>DEBUG\ttwo\r\n");
}

TEST(LogFile, IsEmptiedByTheNextRun) {
  const TestFolder folder;
  const SecondRun first(folder.path(), L"--second-run first");
  const SecondRun second(folder.path(), L"--second-run");
  EXPECT_EQ(readFile(folder / L"CleanUp\\ORVCleanup.log"), second.header());
}

TEST(LogFile, MayBeReadButNotWrittenByOthersWhileItIsOpen) {
  const auto open = [](DWORD access) {
    return FileHandle(::CreateFileW(Logger::GetPath().c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
  };
  EXPECT_TRUE(open(GENERIC_READ));
  for (const DWORD access : {static_cast<DWORD>(GENERIC_WRITE), static_cast<DWORD>(FILE_APPEND_DATA)}) {
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(open(access));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  }
}

TEST(LogLine, HasThreadTimeLevelAndMessage) {
  const CapturedLog log;
  const std::string before = localTime();
  LogDebug(L"Stopping Service\t:\t%s", L"MyService");
  const std::string after = localTime();
  const std::string line = log.bytes();
  const std::string stamp = line.substr(line.find('\t') + 1, before.size());
  EXPECT_EQ(line, ownPrefix(stamp) + "Stopping Service\t:\tMyService\r\n");
  EXPECT_LE(before, stamp);
  EXPECT_LE(stamp, after);
}

TEST(LogLine, NamesItsLevel) {
  const struct {
    LogLevel level;
    std::string name;
  } rows[] = {{LogLevel::Debug, "DEBUG"}, {LogLevel::Warning, "WARNING"}, {LogLevel::Error, "ERROR"}};
  for (const auto& row : rows) {
    const CapturedLog log;
    EXPECT_TRUE(writeLine(row.level, L"message"));
    EXPECT_EQ(withoutPrefix(log.bytes()), "<prefix>" + row.name + "\tmessage\r\n");
  }
}

TEST(LogLine, IsDebugOrErrorByTheNameOfTheCall) {
  const CapturedLog log;
  LogDebug(L"first");
  LogError(L"second");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG first", "ERROR second"));
}

TEST(LogLine, ReadsFormatsAsTheWideRuntimeDoes) {
  const CapturedLog log;
  LogDebug(L"%s|%ls|%hs|%d|%d|%c|%%", L"wide", L"long", "narrow", -7, 2147483647, L'c');
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG wide|long|narrow|-7|2147483647|c|%"));
}

TEST(LogLine, TakesAMessageThatIsPassedAsFormatForAFormat) {
  const CapturedLog log;
  EXPECT_TRUE(writeLine(LogLevel::Debug, L"100%% of 3"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG 100% of 3"));
}

TEST(LogLine, KeepsPercentSignsOfAnArgument) {
  const CapturedLog log;
  LogDebug(L"%s", L"C:\\100%s\\%d\\%n");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG C:\\100%s\\%d\\%n"));
}

TEST(LogLine, EscapesNothing) {
  const CapturedLog log;
  LogDebug(L"Output: \n%hs", "a\tb\nc");
  EXPECT_EQ(withoutPrefix(log.bytes()), "<prefix>DEBUG\tOutput: \r\na\tb\r\nc\r\n");
}

TEST(LogLine, MayBeEmpty) {
  const CapturedLog log;
  LogDebug(L"");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG "));
}

TEST(LogLine, OfExactlyTheLargestSizeIsWhole) {
  const CapturedLog log;
  const std::wstring message(65535 - kPrefixLength - 1, L'x');
  LogDebug(L"%s", message.c_str());
  const std::string bytes = log.bytes();
  EXPECT_EQ(bytes.size(), 65535u + 1u);  // and the carriage return
  EXPECT_EQ(withoutPrefix(bytes), "<prefix>DEBUG\t" + std::string(message.size(), 'x') + "\r\n");
}

// The last character gives way to the line's end, so the next line begins a line.
TEST(LogLine, IsCutAt65535CharactersAndEnds) {
  for (const std::size_t length :
       {65535 - kPrefixLength, std::size_t{65535}, std::size_t{65536}, std::size_t{200'000}}) {
    const CapturedLog log;
    const std::wstring message(length, L'x');
    LogDebug(L"%s", message.c_str());
    LogDebug(L"next");
    EXPECT_EQ(withoutPrefix(log.bytes()),
              "<prefix>DEBUG\t" + std::string(65535 - kPrefixLength - 1, 'x') + "\r\n<prefix>DEBUG\tnext\r\n")
        << length;
  }
}

TEST(LogLine, CutBehindALineFeedOfTheMessageEndsOnce) {
  const CapturedLog log;
  const std::wstring message = std::wstring(65535 - kPrefixLength - 1, L'x') + L"\nmore";
  LogDebug(L"%s", message.c_str());
  EXPECT_EQ(log.bytes().substr(kPrefixLength), std::string(65535 - kPrefixLength - 1, 'x') + "\r\n");
}

TEST(LogLine, WritesCharactersThatTheLocaleCannotHoldByTheirNumbers) {
  const CapturedLog log;
  LogDebug(L"%s", L"C:\\\u4e2d\u6587\\\U0001F600.txt");
  LogDebug(L"first");
  LogError(L"%s", L"\u0100\u20ac\uffff");
  LogDebug(L"%s|%d", L"\u4e2d", 7);
  LogError(L"second");
  EXPECT_EQ(withoutPrefix(log.bytes()),
            "<prefix>DEBUG\tC:\\\\u4e2d\\u6587\\\\ud83d\\ude00.txt\r\n"
            "<prefix>DEBUG\tfirst\r\n"
            "<prefix>ERROR\t\\u0100\\u20ac\\uffff\r\n"
            "<prefix>DEBUG\t\\u4e2d|7\r\n"
            "<prefix>ERROR\tsecond\r\n");
}

TEST(LogLine, MayHoldNothingButSuchCharacters) {
  const CapturedLog log;
  const std::wstring message(65535, L'\u4e2d');
  LogDebug(L"%s", message.c_str());
  LogDebug(L"next");
  std::string numbers;
  for (std::size_t index = 0; index < 65535 - kPrefixLength - 1; ++index) {
    numbers += "\\u4e2d";
  }
  EXPECT_EQ(withoutPrefix(log.bytes()), "<prefix>DEBUG\t" + numbers + "\r\n<prefix>DEBUG\tnext\r\n");
}

// What the runtime's own output of wide text makes of each character that it can write.
TEST(LogLine, HoldsTheBytesOfTheLocale) {
  std::wstring characters;
  for (wchar_t unit = 1; unit < 0x100; ++unit) {
    characters += unit;
  }
  const TestFolder folder;
  const std::wstring path = folder / L"reference.txt";
  FILE* reference = ::_wfopen(path.c_str(), L"w");
  ASSERT_TRUE(reference);
  EXPECT_GE(::fputws(characters.c_str(), reference), 0);
  ::fclose(reference);
  const std::string expected = readFile(path);
  ASSERT_EQ(expected.size(), 0x100u) << "a byte for each, and a carriage return before the line feed";

  const CapturedLog log;
  LogDebug(L"%s", characters.c_str());
  EXPECT_EQ(log.bytes().substr(kPrefixLength), expected + "\r\n");
}

TEST(LogLine, HoldsNothingOfTheLinesBefore) {
  const CapturedLog log;
  for (const std::size_t length : {std::size_t{200'000}, std::size_t{1'000}}) {
    LogDebug(L"%s", std::wstring(length, L'x').c_str());
    LogDebug(L"short");
    LogDebug(L"ends here%c%s", L'\0', L"and not here");
    LogDebug(L"");
  }
  const std::vector<std::string> lines = log.lines();
  ASSERT_EQ(lines.size(), 8u);
  EXPECT_EQ(lines[4], "DEBUG " + std::string(1'000, 'x'));
  for (const std::size_t first : {std::size_t{1}, std::size_t{5}}) {
    EXPECT_EQ(lines[first], "DEBUG short");
    EXPECT_EQ(lines[first + 1], "DEBUG ends here");
    EXPECT_EQ(lines[first + 2], "DEBUG ");
  }
}

TEST(LogLine, OfOneThreadNeverMixesWithThatOfAnother) {
  constexpr int kThreads = 8;
  constexpr int kLines = 100;
  const CapturedLog log;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      const std::wstring filling(static_cast<std::size_t>(200 + thread), static_cast<wchar_t>(L'a' + thread));
      for (int line = 0; line < kLines; ++line) {
        LogDebug(L"%d %d %s", thread, line, filling.c_str());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const std::regex pattern(R"(DEBUG (\d) (\d+) ([a-h]+))");
  std::vector<int> nextLine(kThreads, 0);
  for (const std::string& line : log.lines()) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, pattern)) << line;
    const int thread = std::stoi(match[1]);
    ASSERT_EQ(std::stoi(match[2]), nextLine[static_cast<std::size_t>(thread)]++) << line;
    ASSERT_EQ(match[3], std::string(static_cast<std::size_t>(200 + thread), static_cast<char>('a' + thread)));
  }
  EXPECT_THAT(nextLine, testing::Each(kLines));
}

TEST(LogLine, GoesToTheDebuggerOnlyWithoutAFile) {
  debugOutput().clear();
  LogDebug(L"message");
  EXPECT_EQ(debugOutput(), L"");
}

class LogWithoutAFile : public testing::Test {
 protected:
  // Returns what a run without a log file told: the path it had wanted, then the lines for the debugger.
  std::string runIn(const std::wstring& temporaryFolder) {
    const std::wstring told = folder_ / L"told.txt";
    const SecondRun run(temporaryFolder, L"--second-run \"one line\" two --tell " + told);
    EXPECT_EQ(run.exitCode(), static_cast<DWORD>(kSecondRunEnded));
    const std::string text = readFile(told);
    return withoutPrefix(text);
  }

  TestFolder folder_;
};

TEST_F(LogWithoutAFile, TellsTheDebuggerWhenTheTemporaryFolderIsMissing) {
  EXPECT_EQ(runIn(folder_ / L"missing"),
            narrow(folder_ / L"missing\\CleanUp\\ORVCleanup.log") + "\n<prefix>DEBUG\tone line\n<prefix>DEBUG\ttwo\n");
  EXPECT_FALSE(pathExists(folder_ / L"missing"));
}

TEST_F(LogWithoutAFile, TellsTheDebuggerWhenADirectoryHasItsName) {
  folder_.makeDirectory(L"CleanUp\\ORVCleanup.log");
  EXPECT_EQ(runIn(folder_.path()),
            narrow(folder_ / L"CleanUp\\ORVCleanup.log") + "\n<prefix>DEBUG\tone line\n<prefix>DEBUG\ttwo\n");
}

TEST_F(LogWithoutAFile, TellsTheDebuggerAndLeavesTheLogOfARunningProgramAlone) {
  const CapturedLog log;
  LogDebug(L"before");
  wchar_t temporary[MAX_PATH] = L"";
  ::GetTempPathW(MAX_PATH, temporary);
  EXPECT_EQ(runIn(temporary), narrow(Logger::GetPath()) + "\n<prefix>DEBUG\tone line\n<prefix>DEBUG\ttwo\n");
  LogDebug(L"after");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG before", "DEBUG after"));
}
