#include "app/command_line.h"

#include <algorithm>
#include <array>
#include <regex>
#include <string_view>

namespace {

using Tokens = std::vector<std::wstring>;

enum class Switch { None, Silent, SafeMode, Reboot, FactoryReset, Gpu, SaveOrv };

struct SwitchWord {
  std::wstring_view word;
  Switch meaning;
  const wchar_t* logLine;  // null for none
};

// A word counts anywhere in a token; the first row of the table that matches decides.
constexpr std::array<SwitchWord, 6> kSwitchWords = {{
    {L"silent", Switch::Silent, L"---------------------CleanUp will run silently--------------------"},
    {L"safemode", Switch::SafeMode, L"---------------------CleanUp will run in safe mode--------------------"},
    {L"reboot", Switch::Reboot,
     L"---------------------CleanUp will restart the machine after running--------------------"},
    {L"launchedForFactoryReset", Switch::FactoryReset,
     L"---------------------CleanUp is launched by instaler for Factory reset--------------------"},
    {L"gpu", Switch::Gpu,
     L"---------------------CleanUp is launched by instaler with GPU's to exclude--------------------"},
    {L"saveORV", Switch::SaveOrv, nullptr},
}};

// Removes empty tokens and trims trailing blanks from the others.
Tokens cleanUp(Tokens tokens) {
  std::erase_if(tokens, [](const std::wstring& token) { return token.empty(); });
  for (std::wstring& token : tokens) {
    token.resize(token.find_last_not_of(L' ') + 1);
  }
  return tokens;
}

const SwitchWord& findSwitch(const std::wstring& token) {
  static constexpr SwitchWord kNoWord = {L"", Switch::None, nullptr};
  const auto row = std::find_if(kSwitchWords.begin(), kSwitchWords.end(), [&token](const SwitchWord& candidate) {
    return token.find(candidate.word) != std::wstring::npos;
  });
  return row == kSwitchWords.end() ? kNoWord : *row;
}

// The devices in a value such as "A&B"@"C&D". An item without an & is ignored.
std::vector<GraphicsDevice> parseExcludedGpus(const std::wstring& value) {
  std::vector<GraphicsDevice> gpus;
  for (const std::wstring& item : cleanUp(splitByPattern(L"[\"@]", value))) {
    const Tokens parts = splitByPattern(L"[&]", item);
    if (parts.size() >= 2) {
      gpus.push_back({parts[0], parts[1]});
    }
  }
  return gpus;
}

}  // namespace

std::vector<std::wstring> splitByPattern(const std::wstring& pattern, const std::wstring& text) {
  if (text.empty()) {
    return {};
  }
  const std::wregex expression(pattern);
  return {std::wsregex_token_iterator(text.begin(), text.end(), expression, -1), std::wsregex_token_iterator()};
}

CommandLine parseSwitches(const std::wstring& text) {
  CommandLine result;
  Switches& switches = result.switches;
  const Tokens tokens = cleanUp(splitByPattern(L"[ ]", text));
  for (auto token = tokens.begin(); token != tokens.end(); ++token) {
    const SwitchWord& word = findSwitch(*token);
    if (word.logLine) {
      result.logLines.push_back(word.logLine);
    }
    switch (word.meaning) {
      case Switch::Silent:
        switches.silent = true;
        break;
      case Switch::SafeMode:
        switches.safeModeRequested = true;
        break;
      case Switch::Reboot:
        switches.rebootAfterRun = true;
        break;
      case Switch::FactoryReset:
        switches.factoryReset = true;
        break;
      case Switch::Gpu:
        switches.gpuExclusion.excludeGpus = true;
        // The next token is the value, whatever it contains; without one the value is empty.
        if (std::next(token) != tokens.end()) {
          const std::vector<GraphicsDevice> gpus = parseExcludedGpus(*++token);
          switches.gpuExclusion.gpus.insert(switches.gpuExclusion.gpus.end(), gpus.begin(), gpus.end());
        }
        break;
      case Switch::SaveOrv:
        switches.removeInstallManager = false;
        break;
      case Switch::None:
        break;
    }
  }
  return result;
}
