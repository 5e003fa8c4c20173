// programme_state_test - what the user's choices and the place of the programme's installer package come to.
// package_selection_programme_test has the reading of both and what is done then.
#include "app/programme_state.h"

#include <gtest/gtest.h>

namespace {

ProgrammeState stateOf(DWORD tuning, DWORD graphics, const wchar_t* package, const wchar_t* folder) {
  ProgrammeState state;
  state.tuning = tuning;
  state.graphics = graphics;
  if (package) {
    state.installerPackage = package;
  }
  if (folder) {
    state.installDir = folder;
  }
  return state;
}

}  // namespace

TEST(PlanOfTheProgramme, FollowsTheChoicesAndThePlaceOfThePackage) {
  constexpr const wchar_t* kInside = L"C:\\Program Files\\ORV\\Lumio\\UXF.msi";
  constexpr const wchar_t* kOutside =
      L"C:\\Program Files\\ORV\\lumio\\UXF.msi";  // the word is searched for with its case
  constexpr const wchar_t* kFolder = L"C:\\Program Files\\ORV\\Programme";
  const struct {
    ProgrammeState state;
    ProgrammeStep step;
    bool packageGoes;
  } rows[] = {
      {ProgrammeState(), ProgrammeStep::None, true},
      {stateOf(0, 1, kInside, kFolder), ProgrammeStep::None, true},
      {stateOf(2, 1, kInside, kFolder), ProgrammeStep::None, true},
      {stateOf(1, 1, nullptr, nullptr), ProgrammeStep::GiveUp, true},
      {stateOf(1, 0, nullptr, nullptr), ProgrammeStep::GiveUp, true},
      {stateOf(1, 1, kInside, nullptr), ProgrammeStep::GiveUp, true},
      {stateOf(1, 0, kInside, nullptr), ProgrammeStep::GiveUp, true},
      {stateOf(1, 1, kInside, kFolder), ProgrammeStep::MovePackage, true},
      {stateOf(1, 0, kInside, kFolder), ProgrammeStep::MovePackage, false},
      {stateOf(1, 2, kInside, kFolder), ProgrammeStep::MovePackage, false},
      {stateOf(1, 1, kOutside, nullptr), ProgrammeStep::None, true},
      {stateOf(1, 0, kOutside, nullptr), ProgrammeStep::None, false},
      {stateOf(1, 1, L"", kFolder), ProgrammeStep::None, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const ProgrammePlan plan = PlanProgramme(row.state);
    EXPECT_EQ(plan.step, row.step);
    EXPECT_EQ(plan.packageGoes, row.packageGoes);
  }
}
