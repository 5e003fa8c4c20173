// msi_products - real installer products on the test machine: installs them, looks what the installer knows of them,
// and lets their removal fail.
#pragma once

#include <string>

struct MsiProduct {
  std::wstring package;  // name of the resource that holds the package
  std::wstring name;
  std::wstring productCode;
  std::wstring packedCode;  // the product code as the installer's registry keys spell it
  std::wstring upgradeCode;
  std::wstring packedUpgradeCode;
  std::wstring packedComponentCode;

  std::wstring payload() const;     // the file that it installs
  std::wstring iconFolder() const;  // its folder below the installer's own
  std::wstring userDataKey() const;
};

extern const MsiProduct kWidget;
extern const MsiProduct kGadget;     // behind the upgrade code of the widget
extern const MsiProduct kTwin;       // behind the same upgrade code, with the widget's name
extern const MsiProduct kNeighbour;  // nearly the widget's name, an upgrade code of its own

inline const std::wstring kUnknownUpgradeCode = L"{B1000000-0000-4000-8000-00000000000F}";

inline const std::wstring kInstallerFolder = L"C:\\windows\\Installer";
inline const std::wstring kUninstallKey = LR"(HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall)";
inline const std::wstring kInstallerKey = LR"(HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Installer)";
inline const std::wstring kMachineInstallerKey = LR"(HKEY_LOCAL_MACHINE\Software\Classes\Installer)";

void install(const MsiProduct& product);
// The result of a removal through the installer.
unsigned uninstall(const MsiProduct& product);
bool isInstalled(const MsiProduct& product);
// True when nothing of the product's registration, its cached package and its icon folder is left. Says what is.
bool isWiped(const MsiProduct& product, const std::wstring& cachedPackage);
// The installer's own copy of the product's package.
std::wstring cachedPackageOf(const MsiProduct& product);

// The removal of the product with that name fails with 1603, or ends with 3010. "all" fails all; empty fails none.
void letRemovalFail(const std::wstring& productName);
void letRemovalAskForRestart(const std::wstring& productName);

// The test machine drops an upgrade code's whole list with the first product that is removed. Windows drops that one
// product's entry: this puts those of the others back. A test calls it after each removal that it watches.
void mendUpgradeCodes();

// Makes the machine forget every product of the tests, whatever state they are in, and leaves the installer's keys and
// its folder in place, empty.
void forgetProducts();
