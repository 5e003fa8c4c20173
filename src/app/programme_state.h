// programme_state - what the machine tells of the experience programme that comes with the control panel, and what that
// means for the package that carries it. Reads the registry and changes nothing.
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
  // The user's choices: 1 for opted in, 0 where a choice could not be read.
  DWORD tuning = 0;
  DWORD graphics = 0;
  // From the programme's own install key. Empty where the key or the value could not be read.
  std::optional<std::wstring> installerPackage;
  std::optional<std::wstring> installDir;
};

// Reads the choices and, for a user who has opted in, the install key. RegOpenKeyExW, RegGetValueW.
ProgrammeState FindProgrammeState();

// What is to be done about the programme before its package is uninstalled or kept.
enum class ProgrammeStep {
  None,
  MovePackage,  // its installer package lies in the control panel's folder, which is about to go
  GiveUp,       // a programme that cannot be kept whole is not kept: the opt-in goes
};

struct ProgrammePlan {
  ProgrammeStep step = ProgrammeStep::None;
  bool packageGoes = true;
};

// The programme survives the control panel that has brought it when its user has opted in. Pure.
ProgrammePlan PlanProgramme(const ProgrammeState& state);
