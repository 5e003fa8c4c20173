// programme_state - the state of the experience programme, which is installed along with the control panel, and what it
// means for the package that contains it. Reads the registry only.
#pragma once

#include <optional>
#include <string>

#include <windows.h>

// Below HKEY_LOCAL_MACHINE.
inline constexpr wchar_t kProgrammeKey[] = L"Software\\UXF";
inline constexpr wchar_t kTuningStatus[] = L"KO_UXFStatus";
inline constexpr wchar_t kProgrammeInstallKey[] = L"Software\\KTL Systems\\Install\\PPC";
inline constexpr wchar_t kInstallerPackageValue[] = L"OriginalDB";

struct ProgrammeState {
  // The user's choices: 1 for opted in, 0 for one that could not be read.
  DWORD tuning = 0;
  DWORD graphics = 0;
  // From the programme's install key; empty for what could not be read.
  std::optional<std::wstring> installerPackage;
  std::optional<std::wstring> installDir;
};

// Reads the choices and, if the user has opted in, the install key. RegOpenKeyExW, RegGetValueW.
ProgrammeState FindProgrammeState();

// What has to be done about the programme first.
enum class ProgrammeStep {
  None,
  MovePackage,  // its installer package is in the control panel's folder, which will be deleted
  GiveUp,       // it cannot be kept intact, so the opt-in is withdrawn
};

struct ProgrammePlan {
  ProgrammeStep step = ProgrammeStep::None;
  bool packageGoes = true;
};

// If the user has opted in, the programme outlives the control panel that installed it. Pure.
ProgrammePlan PlanProgramme(const ProgrammeState& state);
