#include "devices/driver_store_plan.h"

#include <algorithm>
#include <array>

#include "devices/maker_words.h"
#include "system/text_case.h"

namespace {

// Parts of the catalog file names of the maker's packages in classes that it shares with others. They are searched for
// in lower-case text, so the three with capitals never match; such a sensor is still removed if its class is camera.
constexpr std::array<const wchar_t*, 27> kCatalogWords = {
    L"orvjournal",   L"orvshieldfd", L"orvqz",        L"orvtonefd_comp", L"orvtonefdcomp", L"orvearsetcomp",
    L"orvtonebus",   L"orvtonebus2", L"apxtwin",      L"orvnoisefd",     L"orvglrt",       L"orvvlk",
    L"orvmnt",       L"orvclrt",     L"orvdesk",      L"npulinkdrv",     L"orvstoremini",  L"orvwirectl",
    L"sensorqa01x",  L"sensorqb02y", L"sensorqc2750", L"sensorqd9240",   L"sensorQE1100",  L"sensorQF08Z",
    L"sensorQG55H0", L"orvearset",   L"orvtonebtx",
};

constexpr std::array<const wchar_t*, 5> kSweptClasses = {L"display", L"ssg", L"extension", L"media", L"camera"};

// Both strings in lower case.
bool isCandidate(const std::wstring& className, const std::wstring& catalogFile) {
  return std::find(kSweptClasses.begin(), kSweptClasses.end(), className) != kSweptClasses.end() ||
         std::any_of(kCatalogWords.begin(), kCatalogWords.end(),
                     [&catalogFile](const wchar_t* word) { return contains(catalogFile, word); });
}

// The line for a package that a factory reset keeps, or null.
const wchar_t* factoryResetLine(const std::wstring& className, const std::wstring& catalogFile) {
  if (contains(catalogFile, L"orvdispext")) {
    return L"CleanDriverStore::Skipping ORVDISPEXT driver as it is factory reset";
  }
  if (contains(catalogFile, L"orvbridgeextension")) {
    return L"CleanDriverStore::Skipping orvbridgeextension driver";
  }
  if (contains(className, L"display")) {
    return L"CleanDriverStore::Skipping display driver in factory reset";
  }
  return nullptr;
}

}  // namespace

PlannedPackage PlanPackageRemoval(const InfRecord& inf, bool factoryReset) {
  const std::wstring className = toLower(inf.className);
  const std::wstring catalogFile = toLower(inf.catalogFile);
  PlannedPackage planned;
  planned.isDisplayDriver = className == L"display";
  planned.isDisplayExtension = contains(catalogFile, L"orvdispext") || contains(catalogFile, L"orvgpuke");
  if (!isCandidate(className, catalogFile) || !containsMakerWord(toLower(inf.provider))) {
    return planned;
  }
  planned.keptLine = factoryReset ? factoryResetLine(className, catalogFile) : nullptr;
  planned.fate = planned.keptLine ? PackageFate::KeptInFactoryReset : PackageFate::Remove;
  return planned;
}
