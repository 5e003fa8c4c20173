#include "system/system_links.h"

#include <array>
#include <string_view>

#include <windows.h>

#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>

namespace {

struct SystemLink {
  const wchar_t* name;
  const wchar_t* target;
};

// In the profile of any user.
constexpr std::array<SystemLink, 8> kProfileLinks = {{
    {L"Application Data", L"AppData\\Roaming"},
    {L"Local Settings", L"AppData\\Local"},
    {L"My Documents", L"Documents"},
    {L"Recent", L"AppData\\Roaming\\Microsoft\\Windows\\Recent"},
    {L"SendTo", L"AppData\\Roaming\\Microsoft\\Windows\\SendTo"},
    {L"Start Menu", L"AppData\\Roaming\\Microsoft\\Windows\\Start Menu"},
    {L"Templates", L"AppData\\Roaming\\Microsoft\\Windows\\Templates"},
    {L"AppData\\Local\\Application Data", L"AppData\\Local"},
}};

// In ProgramData.
constexpr std::array<SystemLink, 3> kProgramDataLinks = {{
    {L"Application Data", L""},
    {L"Start Menu", L"Microsoft\\Windows\\Start Menu"},
    {L"Templates", L"Microsoft\\Windows\\Templates"},
}};

// Empty when the call fails.
std::wstring knownFolder(const KNOWNFOLDERID& id) {
  wchar_t* text = nullptr;
  const bool found = SUCCEEDED(::SHGetKnownFolderPath(id, KF_FLAG_DONT_VERIFY, nullptr, &text));
  std::wstring folder = found ? text : L"";
  ::CoTaskMemFree(text);
  return folder;
}

// Replaces `link` at the start of the path with `target`. Both are full paths.
bool replaceStart(std::wstring& path, const std::wstring& link, const std::wstring& target) {
  const bool below = path.size() >= link.size() && (path.size() == link.size() || path[link.size()] == L'\\') &&
                     ::CompareStringOrdinal(path.data(), static_cast<int>(link.size()), link.data(),
                                            static_cast<int>(link.size()), TRUE) == CSTR_EQUAL;
  if (below) {
    path.replace(0, link.size(), target);
  }
  return below;
}

template <std::size_t count>
bool replaceBelow(std::wstring& path, const std::wstring& folder, const std::array<SystemLink, count>& links) {
  for (const SystemLink& link : links) {
    const std::wstring target = *link.target == L'\0' ? folder : folder + L'\\' + link.target;
    if (replaceStart(path, folder + L'\\' + link.name, target)) {
      return true;
    }
  }
  return false;
}

// The profile in which the path lies; empty when it lies in none.
std::wstring profileOf(const std::wstring& path, const std::wstring& users) {
  std::wstring rest = path;
  if (!replaceStart(rest, users, L"") || rest.size() < 2) {
    return {};
  }
  return path.substr(0, path.find(L'\\', users.size() + 1));
}

}  // namespace

std::wstring throughSystemLinks(std::wstring path) {
  const std::wstring users = knownFolder(FOLDERID_UserProfiles);
  const std::wstring programData = knownFolder(FOLDERID_ProgramData);
  if (users.empty() || programData.empty()) {
    return path;
  }
  const std::wstring root = users.substr(0, users.find(L'\\'));
  // The target of a link may lie behind another link, and one link can be repeated in a path any number of times.
  for (std::size_t most = path.size(); most > 0; --most) {
    const std::wstring profile = profileOf(path, users);
    const bool replaced = replaceStart(path, root + L"\\Documents and Settings", users) ||
                          replaceStart(path, users + L"\\All Users", programData) ||
                          replaceStart(path, users + L"\\Default User", users + L"\\Default") ||
                          replaceBelow(path, programData, kProgramDataLinks) ||
                          (!profile.empty() && replaceBelow(path, profile, kProfileLinks));
    if (!replaced) {
      break;
    }
  }
  return path;
}
