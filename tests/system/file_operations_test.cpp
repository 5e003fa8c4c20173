#include "system/file_operations.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/text.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

// Failures that the test machine cannot produce: the system refuses the mark, or the change of attributes.
DWORD markError = ERROR_SUCCESS;
DWORD attributesError = ERROR_SUCCESS;
// The last error after a successful mark.
constexpr DWORD kErrorAfterMark = 997;
std::optional<DWORD> attributesSet;
// Treated as a file in use, although it does not exist: no drive accepts such a long path.
std::wstring pretendedFile;

bool isPretended(LPCWSTR path) {
  return !pretendedFile.empty() && std::wstring_view(path).ends_with(pretendedFile);
}

}  // namespace

LINK_SEAM(BOOL, MoveFileExW, (LPCWSTR from, LPCWSTR to, DWORD flags)) {
  if (markError != ERROR_SUCCESS) {
    ::SetLastError(markError);
    return FALSE;
  }
  const BOOL moved =
      isPretended(from) || realFunction<decltype(&::MoveFileExW)>(L"kernel32.dll", "MoveFileExW")(from, to, flags);
  ::SetLastError(kErrorAfterMark);
  return moved;
}

LINK_SEAM(BOOL, SetFileAttributesW, (LPCWSTR path, DWORD attributes)) {
  attributesSet = attributes;
  if (attributesError != ERROR_SUCCESS) {
    ::SetLastError(attributesError);
    return FALSE;
  }
  return isPretended(path) ||
         realFunction<decltype(&::SetFileAttributesW)>(L"kernel32.dll", "SetFileAttributesW")(path, attributes);
}

LINK_SEAM(DWORD, GetFileAttributesW, (LPCWSTR path)) {
  return isPretended(path) ? FILE_ATTRIBUTE_NORMAL
                           : realFunction<decltype(&::GetFileAttributesW)>(L"kernel32.dll", "GetFileAttributesW")(path);
}

LINK_SEAM(BOOL, DeleteFileW, (LPCWSTR path)) {
  if (isPretended(path)) {
    ::SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
  }
  return realFunction<decltype(&::DeleteFileW)>(L"kernel32.dll", "DeleteFileW")(path);
}

namespace {

class FileOperationTest : public testing::Test {
 protected:
  FileOperationTest() { fileRebootPending = false; }
  ~FileOperationTest() override {
    markError = ERROR_SUCCESS;
    attributesError = ERROR_SUCCESS;
    attributesSet.reset();
    pretendedFile.clear();
  }

  static std::string marked(const std::wstring& path) {
    return "DEBUG FileOperation::Delete - Mark File[" + narrow(path) + "] as deleted until reboot, Error Code[997]";
  }
  static std::string spared(const std::wstring& path, DWORD error) {
    return "DEBUG FileOperation::Delete - Skip deletion of log file [" + narrow(path) + "], Error Code[" +
           std::to_string(error) + "]";
  }
  static std::string notDeleted(const std::wstring& path, DWORD error) {
    return "ERROR FileOperation::Delete - File[" + narrow(path) + "] not Deleted, Error Code[" + std::to_string(error) +
           "]";
  }

  TestFolder folder_;
  CapturedLog log_;
};

using FileOperationDelete = FileOperationTest;
using FileOperationDeleteVulkanForm = FileOperationTest;

constexpr char kTemporaryLine[] = "DEBUG \t is a temp file";

}  // namespace

TEST_F(FileOperationDelete, OfAMissingFileSucceedsAndLogsNothing) {
  EXPECT_TRUE(FileOperation::Delete(folder_ / L"missing", true));
  EXPECT_TRUE(FileOperation::Delete(folder_ / L"missing\\too", false));
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(pendingDeletions(), IsEmpty());
  EXPECT_FALSE(fileRebootPending);
}

TEST_F(FileOperationDelete, RemovesAFileAndLogsNothing) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  EXPECT_TRUE(FileOperation::Delete(file, true));
  EXPECT_FALSE(pathExists(file));
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_FALSE(fileRebootPending);
}

TEST_F(FileOperationDelete, RemovesALogThatNobodyHolds) {
  const std::wstring file = folder_.makeFile(L"setup.log");
  EXPECT_TRUE(FileOperation::Delete(file, true));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(FileOperationDelete, RemovesAReadOnlyFile) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(FileOperation::Delete(file, false));
  EXPECT_FALSE(pathExists(file));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FileOperationDelete, ClearsTheReadOnlyAttributeAlone) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
  const DWORD before = ::GetFileAttributesW(file.c_str());
  ASSERT_TRUE(before & FILE_ATTRIBUTE_READONLY);
  FileOperation::Delete(file, true);
  EXPECT_EQ(attributesSet, before & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
}

TEST_F(FileOperationDelete, RemovesAFileWithALongPath) {
  const std::wstring file = folder_.makeFile(std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'));
  EXPECT_TRUE(FileOperation::Delete(file, true));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(FileOperationDelete, RemovesAFileThatIsHeldOpenForDeletion) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  {
    const FileHandle holder(::CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(FileOperation::Delete(file, true));
  }
  EXPECT_FALSE(pathExists(file));
  EXPECT_THAT(pendingDeletions(), Not(Contains(file)));
  EXPECT_FALSE(fileRebootPending);
}

TEST_F(FileOperationDelete, MarksALockedFileAndAsksForARestart) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  const FileHandle lock = lockFile(file);
  EXPECT_TRUE(FileOperation::Delete(file, true));
  EXPECT_TRUE(pathExists(file));
  EXPECT_THAT(pendingDeletions(), Contains(file));
  EXPECT_TRUE(fileRebootPending);
  EXPECT_THAT(log_.lines(), ElementsAre(marked(file)));
}

TEST_F(FileOperationDelete, MarksALockedFileWithALongPath) {
  const std::wstring file = folder_.makeFile(std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'));
  const FileHandle lock = lockFile(file);
  EXPECT_TRUE(FileOperation::Delete(file, true));
  EXPECT_THAT(pendingDeletions(), Contains(file));
  EXPECT_TRUE(fileRebootPending);
  EXPECT_THAT(log_.lines(), ElementsAre(marked(file)));
}

TEST_F(FileOperationDelete, MarksARunningProgram) {
  const std::wstring program = folder_ / L"running.exe";
  ASSERT_TRUE(::CopyFileW(ownProgram().c_str(), program.c_str(), TRUE));
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION information = {};
  ASSERT_TRUE(::CreateProcessW(program.c_str(), nullptr, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, nullptr,
                               &startup, &information));
  const KernelHandle process(information.hProcess);
  const KernelHandle thread(information.hThread);
  EXPECT_TRUE(FileOperation::Delete(program, true));
  EXPECT_TRUE(pathExists(program));
  EXPECT_THAT(pendingDeletions(), Contains(program));
  EXPECT_TRUE(fileRebootPending);
  ::TerminateProcess(process.get(), 0);
  ::WaitForSingleObject(process.get(), INFINITE);
}

TEST_F(FileOperationDelete, LeavesTheRestartRequestThatIsThere) {
  fileRebootPending = true;
  FileOperation::Delete(folder_.makeFile(L"a.dll"), true);
  const std::wstring temporary = folder_.makeFile(L"a.tmp");
  const FileHandle lock = lockFile(temporary);
  FileOperation::Delete(temporary, true);
  EXPECT_TRUE(fileRebootPending);
}

TEST_F(FileOperationDelete, AsksForNoRestartForTemporaryFilesAndCaches) {
  const struct {
    const wchar_t* path;
    bool restart;
  } rows[] = {
      {L"Temp\\a.dll", false},    {L"tmp\\a.dll", false},      {L"TEMP\\deeper\\a.dll", false},
      {L"a.tmp", false},          {L"a.TEMP", false},          {L"a.tmp.dll", false},
      {L"a.tmpx", false},         {L"Template\\a.dll", false}, {L"ShaderCache\\a.dll", false},
      {L"DXCACHE\\a.dll", false}, {L"a.cached.dll", false},    {L"my cache of files\\a.dll", false},
      {L"a.dll", true},           {L"mytemp\\a.dll", true},    {L"attempt.dll", true},
      {L"te mp\\a.dll", true},    {L"teemp\\a.dll", true},     {L"tp\\a.dll", true},
      {L"my-tmp.dll", true},      {L"cach e\\a.dll", true},    {L"a.LOG", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(narrow(row.path));
    fileRebootPending = false;
    const CapturedLog log;
    const std::wstring file = folder_.makeFile(row.path);
    const FileHandle lock = lockFile(file);
    EXPECT_TRUE(FileOperation::Delete(file, true));
    EXPECT_THAT(pendingDeletions(), Contains(file));
    EXPECT_EQ(fileRebootPending, row.restart);
    if (row.restart) {
      EXPECT_THAT(log.lines(), ElementsAre(marked(file)));
    } else {
      EXPECT_THAT(log.lines(), ElementsAre(marked(file), kTemporaryLine));
    }
  }
}

TEST_F(FileOperationDelete, SparesALockedLogByItsExtension) {
  const struct {
    const wchar_t* path;
    bool spared;
  } rows[] = {
      {L"setup.log", true},       {L"setup.logs", true},        {L"setup.log2", true},  {L"setup.1.log", true},
      {L"Temp\\setup.log", true}, {L"setup.LOG", false},        {L"setup.Log", false},  {L"setup.log.bak", false},
      {L"setuplog", false},       {L"x.log\\setup.dat", false}, {L"setup.blog", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(narrow(row.path));
    fileRebootPending = false;
    const CapturedLog log;
    const std::wstring file = folder_.makeFile(row.path);
    const FileHandle lock = lockFile(file);
    EXPECT_TRUE(FileOperation::Delete(file, true));
    EXPECT_TRUE(pathExists(file));
    EXPECT_EQ(fileRebootPending, !row.spared);
    if (row.spared) {
      EXPECT_THAT(pendingDeletions(), Not(Contains(file)));
      EXPECT_THAT(log.lines(), ElementsAre(spared(file, ERROR_SHARING_VIOLATION)));
    } else {
      EXPECT_THAT(pendingDeletions(), Contains(file));
      EXPECT_THAT(log.lines(), ElementsAre(marked(file)));
    }
  }
}

TEST_F(FileOperationDelete, InAFactoryResetMarksNothing) {
  for (const wchar_t* name : {L"a.dll", L"a.tmp", L"cache\\a.dll"}) {
    const CapturedLog log;
    const std::wstring file = folder_.makeFile(name);
    const FileHandle lock = lockFile(file);
    EXPECT_FALSE(FileOperation::Delete(file, false));
    EXPECT_THAT(pendingDeletions(), Not(Contains(file)));
    EXPECT_FALSE(fileRebootPending);
    EXPECT_THAT(log.lines(), ElementsAre(notDeleted(file, ERROR_SHARING_VIOLATION)));
  }
}

TEST_F(FileOperationDelete, InAFactoryResetSparesALockedLog) {
  const std::wstring file = folder_.makeFile(L"setup.log");
  const FileHandle lock = lockFile(file);
  EXPECT_TRUE(FileOperation::Delete(file, false));
  EXPECT_THAT(log_.lines(), ElementsAre(spared(file, ERROR_SHARING_VIOLATION)));
}

TEST_F(FileOperationDelete, FailsWhenTheSystemRefusesTheMark) {
  const std::wstring file = folder_.makeFile(L"Temp\\a.dll");
  const FileHandle lock = lockFile(file);
  markError = ERROR_ACCESS_DENIED;
  EXPECT_FALSE(FileOperation::Delete(file, true));
  EXPECT_FALSE(fileRebootPending);
  EXPECT_THAT(log_.lines(), ElementsAre(notDeleted(file, ERROR_ACCESS_DENIED)));
}

TEST_F(FileOperationDelete, FailsWithoutALineWhenTheAttributesCannotBeCleared) {
  for (const wchar_t* name : {L"a.dll", L"setup.log"}) {
    const std::wstring file = folder_.makeFile(name);
    const FileHandle lock = lockFile(file);
    attributesError = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(FileOperation::Delete(file, true));
    EXPECT_THAT(pendingDeletions(), Not(Contains(file)));
  }
  EXPECT_FALSE(fileRebootPending);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FileOperationDelete, JudgesAPathOf32767Characters) {
  const struct {
    const wchar_t *start, *end;
    bool restart;
  } rows[] = {{L"C:\\", L"\\a.dll", true}, {L"C:\\", L"\\Cache\\a.dll", false}, {L"C:\\Temp\\", L"\\a.dll", false}};
  for (const auto& row : rows) {
    const std::wstring start = row.start;
    const std::wstring end = row.end;
    pretendedFile = start + std::wstring(32'767 - start.size() - end.size(), L'x') + end;
    fileRebootPending = false;
    EXPECT_TRUE(FileOperation::Delete(pretendedFile, true));
    EXPECT_EQ(fileRebootPending, row.restart) << narrow(end);
  }
}

TEST_F(FileOperationDeleteVulkanForm, RemovesAFileAndIsContentWithAMissingOne) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  EXPECT_TRUE(FileOperation::Delete(file.c_str()));
  EXPECT_FALSE(pathExists(file));
  EXPECT_TRUE(FileOperation::Delete(file.c_str()));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FileOperationDeleteVulkanForm, LeavesTheReadOnlyAttributeAndMarksTheFile) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(FileOperation::Delete(file.c_str()));
  EXPECT_TRUE(::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY);
  EXPECT_THAT(pendingDeletions(), Contains(file));
  EXPECT_THAT(log_.lines(), ElementsAre(marked(file)));
}

TEST_F(FileOperationDeleteVulkanForm, SparesALockedLogByItsWholeName) {
  const struct {
    const wchar_t* path;
    bool spared;
  } rows[] = {
      {L"setup.log", true},  {L"setup.logs", true}, {L"setup.log.bak", true},     {L".log", true},
      {L"setup.LOG", false}, {L"setuplog", false},  {L"x.log\\setup.dat", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(narrow(row.path));
    const CapturedLog log;
    const std::wstring file = folder_.makeFile(row.path);
    const FileHandle lock = lockFile(file);
    EXPECT_TRUE(FileOperation::Delete(file.c_str()));
    if (row.spared) {
      EXPECT_THAT(pendingDeletions(), Not(Contains(file)));
      EXPECT_THAT(log.lines(), ElementsAre(spared(file, ERROR_SHARING_VIOLATION)));
    } else {
      EXPECT_THAT(pendingDeletions(), Contains(file));
      EXPECT_THAT(log.lines(), ElementsAre(marked(file)));
    }
  }
}

TEST_F(FileOperationDeleteVulkanForm, NeverAsksForARestart) {
  for (const wchar_t* name : {L"vulkan-1.dll", L"Temp\\a.dll", L"cache\\a.dll"}) {
    const CapturedLog log;
    const std::wstring file = folder_.makeFile(name);
    const FileHandle lock = lockFile(file);
    EXPECT_TRUE(FileOperation::Delete(file.c_str()));
    EXPECT_THAT(pendingDeletions(), Contains(file));
    EXPECT_THAT(log.lines(), ElementsAre(marked(file)));
  }
  EXPECT_FALSE(fileRebootPending);
}

TEST_F(FileOperationDeleteVulkanForm, FailsWhenTheSystemRefusesTheMark) {
  const std::wstring file = folder_.makeFile(L"a.dll");
  const FileHandle lock = lockFile(file);
  markError = ERROR_ACCESS_DENIED;
  EXPECT_FALSE(FileOperation::Delete(file.c_str()));
  EXPECT_THAT(log_.lines(), ElementsAre(notDeleted(file, ERROR_ACCESS_DENIED)));
}
