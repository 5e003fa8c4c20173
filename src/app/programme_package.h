// programme_package - keeps the experience programme, or gives it up, before the control panel is removed. Which of the
// two is decided in programme_state.
#pragma once

#include "app/programme_state.h"

// Copies the programme's installer package from the control panel's folder to the programme's own, and updates its path
// in the registry. `state` must have both paths. If only the copying fails, that is logged and the path is updated all
// the same. Returns false when an existing target cannot be made writable, or the registry cannot be written.
// CopyFileW, RegSetValueExW.
bool moveProgrammePackage(const ProgrammeState& state);

// Withdraws the user's opt-in. RegDeleteKeyValueW.
void giveUpProgramme();
