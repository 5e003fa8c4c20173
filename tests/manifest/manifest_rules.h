// manifest_rules - what a row of the shipped manifest may name. The program runs as administrator and removes whatever
// a row names, so the form of a row has to prove that it means the maker's own things. These rules accept only what is
// known to be harmless.
#pragma once

#include <algorithm>
#include <cwctype>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace manifest_rules {

inline std::wstring lowerCase(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return std::towlower(c); });
  return text;
}

inline bool contains(const std::vector<std::wstring>& words, const std::wstring& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

inline std::vector<std::wstring> splitPath(const std::wstring& path) {
  std::vector<std::wstring> parts(1);
  for (const wchar_t c : path) {
    if (c == L'\\') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

// A folder or key with that name belongs to the maker, with everything below it.
inline bool isMakersTop(const std::wstring& name) {
  return contains({L"orv", L"ktl", L"ktl systems", L"orvane", L"halcyra", L"brimwood", L"meridia", L"lumio"},
                  lowerCase(name));
}

// A name that contains one of the maker's words, such as ORVTrayAgent.exe.
inline bool soundsOfTheMaker(const std::wstring& name) {
  const std::wstring lower = lowerCase(name);
  const std::vector<std::wstring> words = {L"orv", L"ktl", L"halcyra", L"brimwood", L"meridia", L"lumio", L"uxf"};
  return std::any_of(words.begin(), words.end(),
                     [&lower](const std::wstring& word) { return lower.find(word) != std::wstring::npos; });
}

// The chipset software stays on the machine.
inline bool namesChipset(const std::wstring& row) {
  return lowerCase(row).find(L"chipset") != std::wstring::npos;
}

// No empty, blank or dotted part, nothing that Windows does not allow in a name.
inline bool isPlainPart(const std::wstring& part) {
  return !part.empty() && part.find_first_of(L"/:*?\"<>|") == std::wstring::npos && part.front() != L' ' &&
         part.back() != L' ' && part.back() != L'.';
}

// The part of a path row below a folder of the maker; empty if the row is not in one.
inline std::vector<std::wstring> partsInMakersFolder(const std::wstring& row) {
  std::vector<std::wstring> parts = splitPath(row);
  const auto below = [&parts](std::size_t count) {
    return parts.size() > count
               ? std::vector<std::wstring>(parts.begin() + static_cast<std::ptrdiff_t>(count), parts.end())
               : std::vector<std::wstring>();
  };
  if (parts[0] == L"INSTALL_DIR" || parts[0] == L"INSTALL_DIR32") {
    return below(1);
  }
  std::size_t top = 1;
  const std::wstring first = lowerCase(parts[0]);
  if (first == L"windows" || first == L"%systemroot%") {
    if (parts.size() < 2 || !contains({L"system32", L"syswow64"}, lowerCase(parts[1]))) {
      return {};
    }
    top = 2;
  } else if (!contains({L"%localappdata%", L"%appdata%", L"program files", L"program files (x86)", L"programdata"},
                       first)) {
    return {};
  }
  return parts.size() > top && isMakersTop(parts[top]) ? below(top + 1) : std::vector<std::wstring>();
}

// A directory is removed with its contents, so it has to be in a folder of the maker. One such folder is named with its
// drive: the one in which the maker's downloads unpack themselves.
inline bool isSafeDirectory(const std::wstring& row) {
  const std::wstring unpacked = L"C:\\ORV\\";
  const std::vector<std::wstring> parts =
      row.starts_with(unpacked) ? splitPath(row.substr(unpacked.size())) : partsInMakersFolder(row);
  return !parts.empty() && std::all_of(parts.begin(), parts.end(), isPlainPart);
}

// The literal parts of a name between wildcards and blanks, up to its first dot.
inline std::vector<std::wstring> literalRows(const std::wstring& name) {
  std::vector<std::wstring> rows(1);
  for (const wchar_t c : name.substr(0, name.find(L'.'))) {
    if (c == L'*' || c == L' ') {
      rows.emplace_back();
    } else {
      rows.back() += c;
    }
  }
  return rows;
}

// Among the system's files, a name begins with the maker's letters, or a pattern contains a longer name of the maker's:
// storvsc is the system's.
inline bool bearsTheMakersLetters(const std::wstring& name) {
  const std::vector<std::wstring> words = {L"orv", L"ktl", L"halcyra", L"brimwood", L"meridia", L"lumio", L"uxf"};
  const auto names = [&words](const std::wstring& row) {
    return row.size() > 5 &&
           std::any_of(words.begin(), words.end(),
                       [lower = lowerCase(row)](const std::wstring& word) { return lower.starts_with(word); });
  };
  const std::vector<std::wstring> rows = literalRows(name);
  return lowerCase(name).starts_with(L"orv") ||
         (name.find(L'*') != std::wstring::npos && std::any_of(rows.begin(), rows.end(), names));
}

// A file is in a folder of the maker, or has the maker's name among the system's files. A pattern is in the last part
// only, next to three consecutive characters and before an extension.
inline bool isSafeFile(const std::wstring& row) {
  std::vector<std::wstring> parts = splitPath(row);
  const std::wstring name = parts.back();
  const std::size_t star = name.rfind(L'*');
  const std::vector<std::wstring> rows = literalRows(name);
  std::wstring literal = name;
  std::erase(literal, L'*');
  if (!isPlainPart(literal) || name.find(L'.') == std::wstring::npos ||
      (star != std::wstring::npos &&
       (name.find(L"**") != std::wstring::npos || name.find(L'.') < star ||
        std::none_of(rows.begin(), rows.end(), [](const std::wstring& text) { return text.size() >= 3; })))) {
    return false;
  }
  const bool besideSystemFiles =
      parts.size() == 3 && parts[0] == L"Windows" && (parts[1] == L"System32" || parts[1] == L"SysWOW64");
  if (besideSystemFiles) {
    return bearsTheMakersLetters(name);
  }
  const std::vector<std::wstring> below = partsInMakersFolder(row);
  return !below.empty() && std::all_of(below.begin(), below.end() - 1, isPlainPart);
}

// Tasks and programs are found by name only.
inline bool isSafeName(const std::wstring& row) {
  return isPlainPart(row) && row.find(L'\\') == std::wstring::npos && soundsOfTheMaker(row);
}

// So are services, but system services have the maker's letters in the middle: storvsc.
inline bool isSafeService(const std::wstring& row) {
  const std::wstring lower = lowerCase(row);
  return isSafeName(row) && (lower.starts_with(L"orv") || lower.starts_with(L"ktl"));
}

// The key's path below its hive without "WOW6432Node"; empty if the row names no hive or the hive itself.
inline std::vector<std::wstring> partsOfKey(const std::wstring& row) {
  std::vector<std::wstring> parts = splitPath(row);
  if (!contains({L"HKEY_LOCAL_MACHINE", L"HKEY_CURRENT_USER", L"HKEY_CLASSES_ROOT"}, parts[0])) {
    return {};
  }
  const bool classes = parts[0] == L"HKEY_CLASSES_ROOT";
  parts.erase(parts.begin());
  if (classes) {
    parts.insert(parts.begin(), {L"software", L"classes"});
  }
  if (parts.size() > 1 && lowerCase(parts[1]) == L"wow6432node") {
    parts.erase(parts.begin() + 1);
  }
  return parts;
}

// Keys where Windows has one subkey per program; the maker's subkeys have the maker's name.
inline bool isPlatformKeyForPrograms(const std::wstring& key) {
  return contains({L"software\\classes", L"software\\classes\\directory\\background\\shellex\\contextmenuhandlers",
                   L"software\\microsoft\\windows\\currentversion\\uninstall",
                   L"software\\microsoft\\windows\\currentversion\\app paths",
                   L"system\\currentcontrolset\\services\\eventlog\\application"},
                  lowerCase(key));
}

inline std::wstring joinFrom(const std::vector<std::wstring>& parts, std::size_t count) {
  std::wstring text;
  for (std::size_t i = 0; i < count; ++i) {
    text += (i ? L"\\" : L"") + parts[i];
  }
  return text;
}

// A key is removed with everything below it. Never the maker's top key, where other software of the maker has its keys.
inline bool isSafeKey(const std::wstring& row) {
  const std::vector<std::wstring> parts = partsOfKey(row);
  if (parts.size() < 2 || !std::all_of(parts.begin(), parts.end(), isPlainPart)) {
    return false;
  }
  if (lowerCase(parts[0]) == L"software" && (isMakersTop(parts[1]) ? parts.size() > 2 : parts[1] == L"UXF")) {
    return true;
  }
  const std::wstring parent = joinFrom(parts, parts.size() - 1);
  return (isPlatformKeyForPrograms(parent) && soundsOfTheMaker(parts.back())) ||
         (lowerCase(parent) == L"system\\currentcontrolset\\services" && isSafeService(parts.back()));
}

// A value is in a key of the maker, or has the maker's name among the programs that start with Windows.
inline bool isSafeValue(const std::wstring& row) {
  const std::size_t backslash = row.rfind(L'\\');
  if (backslash == std::wstring::npos || backslash + 1 == row.size()) {
    return false;
  }
  const std::wstring key = row.substr(0, backslash);
  const std::vector<std::wstring> parts = partsOfKey(key);
  const bool startsWithWindows =
      lowerCase(joinFrom(parts, parts.size())) == L"software\\microsoft\\windows\\currentversion\\run";
  return startsWithWindows ? soundsOfTheMaker(row.substr(backslash + 1)) : isSafeKey(key);
}

// The shortcut's folder is removed with everything in it, so it has to be a folder of the maker's, directly below
// Programs.
inline bool isSafeShortcut(const std::wstring& row) {
  const std::vector<std::wstring> parts = splitPath(row);
  return parts.size() == 2 && isPlainPart(parts[0]) && isPlainPart(parts[1]) && soundsOfTheMaker(parts[0]) &&
         parts[1].ends_with(L".lnk") && parts[1] != L".lnk";
}

inline bool isSafeProcess(const std::wstring& row) {
  return isSafeName(row) && row.ends_with(L".exe");
}

}  // namespace manifest_rules
