#include <gtest/gtest.h>

#include <windows.h>

// The program calls the function through this pointer.
extern "C" FARPROC __imp_GetFileVersionInfoSizeW;

TEST(DelayedLibraries, AreLoadedWhenTheirTableCannotBeWritten) {
  DWORD before = 0;
  ASSERT_TRUE(::VirtualProtect(&__imp_GetFileVersionInfoSizeW, sizeof(FARPROC), PAGE_READONLY, &before));
  const FARPROC unloaded = __imp_GetFileVersionInfoSizeW;
  DWORD ignored = 0;
  ::SetLastError(ERROR_SUCCESS);
  EXPECT_EQ(::GetFileVersionInfoSizeW(L"C:\\no such program.exe", &ignored), 0U);
  EXPECT_NE(::GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(__imp_GetFileVersionInfoSizeW,
            ::GetProcAddress(::GetModuleHandleW(L"version.dll"), "GetFileVersionInfoSizeW"));
  EXPECT_NE(__imp_GetFileVersionInfoSizeW, unloaded);
}
