#include "app/programme_state.h"

#include "system/registry.h"

namespace {

constexpr DWORD kOptedIn = 1;
constexpr wchar_t kControlPanelFolder[] = L"Lumio";

DWORD readDword(HKEY key, const wchar_t* valueName) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  const LSTATUS status = ::RegGetValueW(key, nullptr, valueName, RRF_RT_REG_DWORD, nullptr, &number, &size);
  if (status != ERROR_SUCCESS) {
    throw RegKeyError(status, "Unable to get registry value");
  }
  return number;
}

}  // namespace

ProgrammeState FindProgrammeState() {
  ProgrammeState state;
  try {
    const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kProgrammeKey, KEY_READ);
    state.tuning = readDword(key.get(), kTuningStatus);
    state.graphics = readDword(key.get(), L"HLX_UXFStatus");
  } catch (...) {
    // A choice that cannot be read counts as not opted in.
  }
  if (state.tuning != kOptedIn) {
    return state;
  }
  try {
    const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kProgrammeInstallKey, KEY_ALL_ACCESS);
    state.installerPackage = GetRegistryString(key.get(), nullptr, kInstallerPackageValue);
    state.installDir = GetRegistryString(key.get(), nullptr, L"InstallDir");
  } catch (...) {
    // Missing values are for the plan to judge.
  }
  return state;
}

ProgrammePlan PlanProgramme(const ProgrammeState& state) {
  if (state.tuning != kOptedIn) {
    return {ProgrammeStep::None, true};
  }
  if (!state.installerPackage) {
    return {ProgrammeStep::GiveUp, true};
  }
  const bool isInControlPanel = state.installerPackage->find(kControlPanelFolder) != std::wstring::npos;
  if (isInControlPanel && !state.installDir) {
    return {ProgrammeStep::GiveUp, true};
  }
  // With both opted in, the package is uninstalled even after the move, while everything it lists stays.
  return {isInControlPanel ? ProgrammeStep::MovePackage : ProgrammeStep::None, state.graphics == kOptedIn};
}
