// device_plan - plants devices and driver packages on a test machine, where the model of device installation
// (device_tree.h, driver_store.h) finds them. All functions throw std::runtime_error if the machine refuses.
//
// A device is HKLM\SYSTEM\CurrentControlSet\Enum\<instance id>, with the values that Windows has there. What Windows
// keeps elsewhere is in the subkey Bench; a key without that subkey is not a device of the model.
//
//   DevInst              number; the devices of a set are in this order
//   Parent               instance id; empty for a child of the root
//   Present, Status, Problem, InstallState
//   NeedReboot           flags that a removal leaves in the installation parameters (DI_NEEDREBOOT, DI_NEEDRESTART)
//   NeedRebootFallback   whether DiUninstallDevice asks for a restart
//   Installed            name of the installed driver's subkey of Drivers; absent if there is none
//   Drivers\00, 01, ...  driver nodes, the best first: Inf, Description, Provider, Manufacturer, Version (a.b.c.d),
//                        Section, HardwareId, Date (yyyy-mm-dd), Files (target paths), Excluded (from selection by
//                        hand)
//   Fail                 number values: the name of a call and the error that it fails with; "<name> times" limits how
//                        often it fails
//
// A package is C:\windows\INF\oemN.inf, with oemN.PNF and its catalog oemN.cat below C:\windows\System32\CatRoot.
// HKLM\SOFTWARE\Bench Packages\oemN.inf has NeedReboot and Fail. HKLM\SOFTWARE\Bench Devices has Fail for calls that
// belong to no device, and Calls: the requested changes in order, as "<call> <what> -> <error>".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

// Every field has a default, so that a test sets only what matters to it.

// A driver that fits a device. Empty texts are taken from the device: its description, its manufacturer, its first
// hardware id.
struct PlantedDriver {
  std::wstring inf = {};  // full path
  std::wstring provider = {};
  std::wstring manufacturer = {};
  std::wstring description = {};
  std::wstring version = L"1.0.0.0";
  std::wstring section = L"Install";
  std::wstring hardwareId = {};
  std::wstring date = L"2024-05-17";
  std::vector<std::wstring> files = {};  // full target paths
  // "Exclude from select": listed only if the caller asks for such drivers too. If absent: true for plug and play
  // devices, false for devices that are added by hand (ROOT), as is common on Windows.
  std::optional<bool> excluded = {};
};

// Empty texts and lists are absent properties.
struct PlantedDevice {
  std::wstring id = {};  // instance id of three parts, ENUMERATOR\DEVICE\INSTANCE
  std::wstring className = {};
  std::wstring description = {};
  std::wstring classGuid = {};  // may be empty for the classes that Windows itself defines
  std::wstring friendlyName = {};
  std::wstring manufacturer = {};
  std::vector<std::wstring> hardwareIds = {};
  std::vector<std::wstring> compatibleIds = {};
  std::vector<std::wstring> lowerFilters = {};
  std::wstring parent = {};  // instance id of a planted device; empty for the root
  bool present = true;
  DWORD status = 0x0180200A;  // loaded, started, can be disabled and removed
  DWORD problem = 0;          // if not 0, plant DN_HAS_PROBLEM in the status
  DWORD installState = 0;
  DWORD configFlags = 0;
  DWORD capabilities = 0;
  DWORD rebootFlags = 0;                    // DI_NEEDREBOOT, DI_NEEDRESTART after DIF_REMOVE
  bool fallbackNeedsReboot = false;         // what DiUninstallDevice returns
  std::vector<PlantedDriver> drivers = {};  // the best first
  int installedDriver = 0;                  // index in drivers; none if there is no such driver
};

struct PlantedPackage {
  std::wstring name = {};  // oemN.inf
  std::wstring className = {};
  std::wstring provider = {};
  std::wstring catalog = {};  // as named in the INF; empty for no CatalogFile line
  std::wstring classGuid = {};
  std::wstring driverVer = L"05/17/2024,1.0.0.0";
  std::wstring text = {};  // the whole INF, instead of one made from the fields above
  bool needsReboot = false;
};

inline const std::wstring kInfFolder = L"C:\\windows\\INF\\";
inline const std::wstring kCatalogFolder = L"C:\\windows\\System32\\CatRoot\\{F750E6C3-38EE-11D1-85E5-00C04FC295EE}\\";

// Returns the device's number (DevInst). Planting an id again replaces the device; it gets a new number.
DWORD plantDevice(const PlantedDevice& device);
// Adds a driver after those that the device already has.
void plantDriverNode(const std::wstring& deviceId, const PlantedDriver& driver);
// Creates the software key of an installed driver below its class from the key of the driver node. Returns its name,
// which is the device's value Driver.
std::wstring plantDriverKey(const std::wstring& classGuid, const std::wstring& nodeKey);
void plantDriverPackage(const PlantedPackage& package);

// Makes a call fail with that code: for one device, for one package, or for calls that belong to neither. With a number
// of times it fails that often and works from then on. Besides function names there are:
//   DIF_REMOVE, DIF_INSTALLDEVICEFILES               the class installer's functions
//   DI_FLAGSEX_INSTALLEDDRIVER                       SetupDiSetDeviceInstallParamsW with this flag
//   SetupDiGetDeviceInstallParamsW after removal     this call, once the device has been removed
void failDeviceCall(const std::wstring& deviceId, const std::wstring& call, DWORD code, DWORD times = 0);
void failPackageCall(const std::wstring& name, const std::wstring& call, DWORD code, DWORD times = 0);
void failCall(const std::wstring& call, DWORD code, DWORD times = 0);
