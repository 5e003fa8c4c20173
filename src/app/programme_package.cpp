#include "app/programme_package.h"

#include "system/file_operations.h"
#include "system/file_status.h"
#include "system/log.h"
#include "system/system_message.h"
#include "system/registry.h"

namespace {

bool writePackagePath(HKEY key, const std::wstring& path) {
  return ::RegSetValueExW(key, kInstallerPackageValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                          static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

}  // namespace

bool moveProgrammePackage(const ProgrammeState& state) {
  const std::wstring& package = *state.installerPackage;
  try {
    const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kProgrammeInstallKey, KEY_ALL_ACCESS);
    LogDebug(L"Meridia MSI is present in LUMIO location - %s, need to copy to Meridia location - %s", package.c_str(),
             state.installDir->c_str());
    const std::wstring target = *state.installDir + L"\\UXF64.msi";
    if (fileExists(target) && !clearReadOnly(target)) {
      return false;
    }
    LogDebug(L"Copying Meridia MSI is from %s to %s", package.c_str(), target.c_str());
    if (!::CopyFileW(package.c_str(), target.c_str(), FALSE)) {
      const DWORD error = ::GetLastError();
      LogError(L"Unable to copy file from %s to %s. Error code: %d %s", package.c_str(), target.c_str(), error,
               systemMessage(error).c_str());
    }
    return writePackagePath(key.get(), target);
  } catch (...) {
    return false;
  }
}

void giveUpProgramme() {
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kProgrammeKey, kTuningStatus);
}
