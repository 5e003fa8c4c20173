// windows_files - which files Windows protects as its own, so that a list of files to delete can skip them. Deletes
// nothing and knows no list.
#pragma once

#include <string>
#include <unordered_map>

#include "system/handles.h"

// Which files Windows is asked about. In a list of the maker's files only those below the Windows folder can be its
// own. The files of a driver come from an INF file, which may also name system files elsewhere.
enum class AskWindows { BelowItsFolder, AboutEachFile };

// What Windows says about a file.
struct WindowsVerdict {
  enum class Answer { MayGo, Protected, Unknown };
  Answer answer = Answer::MayGo;
  unsigned long error = 0;  // why the answer is unknown
};

// Asks about the files of one list. The library is loaded for the first file that is asked about, and each folder is
// looked up once, so that files elsewhere cost no call each.
class WindowsFiles {
 public:
  explicit WindowsFiles(AskWindows about);

  // Whether an existing file or link may be deleted. Windows is given a path with the links of its folders resolved and
  // without short names. When it cannot be asked, a file may go if a name on its path below the Windows folder begins
  // with the maker's letters. SfcIsFileProtected.
  WindowsVerdict ask(const std::wstring& path);

 private:
  struct Folder {
    std::wstring comparable;
    bool isAskedAbout = false;
  };
  using Folders = std::unordered_map<std::wstring, Folder>;  // without a backslash at their ends
  const Folder& lookUp(const std::wstring& folder);
  Folders::iterator add(const std::wstring& folder, const std::wstring& comparable);
  WindowsVerdict askAbout(const std::wstring& file);

  AskWindows about_;
  std::wstring windows_;
  Folders folders_;
  LibraryHandle library_;
};
