// tracker_document - plants an install manager: its entry in the Uninstall key, its folder, and its tracker file.
#pragma once

#include <string>

#include "support/test_folder.h"
#include "support/test_registry.h"

inline const std::wstring kInstallManagerEntry =
    LR"(HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\ORV Brimwood Install Manager)";

// The file's six objects, each as the text of its sections: `"Services": ["x"]`.
struct TrackerDocument {
  std::string genericPre;
  std::string genericPost;
  std::string resetPre;
  std::string resetPost;
  std::string cleanupPre;
  std::string cleanupPost;

  std::string text() const {
    return "{\"PKMBinaries\": {" + occasion("Generic", genericPre, genericPost) + ", " +
           occasion("FactoryReset", resetPre, resetPost) + ", " + occasion("Cleanup", cleanupPre, cleanupPost) + "}}";
  }

 private:
  static std::string occasion(const std::string& name, const std::string& pre, const std::string& post) {
    return "\"" + name + "\": {\"PreOperations\": {" + pre + "}, \"PostOperations\": {" + post + "}}";
  }
};

// The machine has the install manager during the lifetime of this object.
class InstallManager {
 public:
  // `behind` is appended to the folder in the entry.
  explicit InstallManager(const std::wstring& behind = L"") {
    folder_.makeDirectory(L"PKM");
    plantString(kInstallManagerEntry, L"InstallDir", folder() + behind);
  }
  ~InstallManager() { removeKey(kInstallManagerEntry); }
  InstallManager(const InstallManager&) = delete;
  InstallManager& operator=(const InstallManager&) = delete;

  const TestFolder& base() const { return folder_; }
  std::wstring folder() const { return folder_ / L"PKM"; }
  std::wstring trackerPath() const { return folder_ / L"PKM\\Config\\PKMTracker.JSON"; }
  void writeTracker(const std::string& text) const { folder_.makeFile(L"PKM\\Config\\PKMTracker.JSON", text); }

 private:
  TestFolder folder_;
};
