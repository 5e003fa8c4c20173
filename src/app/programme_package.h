// programme_package - what is done to keep the experience programme, or to give it up, before the control panel goes.
// Which of the two is decided elsewhere (programme_state).
#pragma once

#include "app/programme_state.h"

// Copies the programme's installer package out of the control panel's folder into the programme's own and has the
// registry name the copy. The state must hold both paths. A copy that fails is logged and changes nothing in what
// follows. False when the target cannot be looked at or written to, or the registry cannot be rewritten.
bool moveProgrammePackage(const ProgrammeState& state);

// Takes the user's opt-in back. RegDeleteKeyValueW.
void giveUpProgramme();
