// msi_products - real installer products on the test machine: installs them, checks what the installer knows about
// them, and makes their removal fail.
#pragma once

#include <string>

struct MsiProduct {
  std::wstring package;  // name of the resource with the package
  std::wstring name;
  std::wstring productCode;
  std::wstring packedCode;  // the product code as in the installer's registry keys
  std::wstring upgradeCode;
  std::wstring packedUpgradeCode;
  std::wstring packedComponentCode;

  std::wstring payload() const;     // the file that it installs
  std::wstring iconFolder() const;  // its folder below the installer's own
  std::wstring userDataKey() const;
};

extern const MsiProduct kWidget;
extern const MsiProduct kGadget;     // has the widget's upgrade code
extern const MsiProduct kTwin;       // has the widget's upgrade code and name
extern const MsiProduct kNeighbour;  // almost the widget's name, an upgrade code of its own

inline const std::wstring kUnknownUpgradeCode = L"{B1000000-0000-4000-8000-00000000000F}";

inline const std::wstring kInstallerFolder = L"C:\\windows\\Installer";
inline const std::wstring kUninstallKey = LR"(HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall)";
inline const std::wstring kInstallerKey = LR"(HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Installer)";
inline const std::wstring kMachineInstallerKey = LR"(HKEY_LOCAL_MACHINE\Software\Classes\Installer)";

void install(const MsiProduct& product);
// The result of a removal through the installer.
unsigned uninstall(const MsiProduct& product);
bool isInstalled(const MsiProduct& product);
// True if nothing of the product's registration, its cached package and its icon folder is left. Prints what is.
bool isWiped(const MsiProduct& product, const std::wstring& cachedPackage);
// The installer's own copy of the product's package.
std::wstring cachedPackageOf(const MsiProduct& product);

// Makes the removal of the product with that name fail with 1603, or end with 3010. "all" means all products, an empty
// text none.
void letRemovalFail(const std::wstring& productName);
void letRemovalAskForRestart(const std::wstring& productName);

// When a product is removed, Wine drops its upgrade code's whole list, where Windows drops only the product's entry.
// This restores the entries of the others. Call it after each removal that a test watches.
void mendUpgradeCodes();

// Makes the machine forget every product of the tests, whatever its state. The installer's keys and its folder remain,
// empty.
void forgetProducts();
