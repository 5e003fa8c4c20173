// driver_package - the calls on one driver package and one driver node that the inventory, the removal of devices and
// the sweep of the driver store share.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <setupapi.h>

// What SetupUninstallOEMInfW says of a package that a device still uses.
constexpr DWORD kInfInUse = 0x800F023D;

enum class PackageUninstall {
  Done,
  Failed,        // logged with the system's text
  NotAvailable,  // this system has no such call
};

// Calls DiUninstallDriverW on the full path of an INF. `needReboot` is written on success alone.
PackageUninstall uninstallDriverPackage(const std::wstring& infPath, bool* needReboot);

// What the system keeps of a device's installed driver in the device's driver key. Empty texts where there is none.
struct InstalledDriver {
  std::wstring provider;
  std::wstring section;
  std::wstring hardwareId;
  bool operator==(const InstalledDriver&) const = default;
};

InstalledDriver readInstalledDriver(HDEVINFO set, SP_DEVINFO_DATA* device);

// The details of one driver node, hardware id included, which stands behind the fixed part of the structure.
// SetupDiGetDriverInfoDetailW in two calls. False when either failed.
class DriverDetail {
 public:
  DriverDetail(HDEVINFO set, SP_DEVINFO_DATA* device, SP_DRVINFO_DATA_V2_W* driver);
  explicit operator bool() const { return !bytes_.empty(); }
  const SP_DRVINFO_DETAIL_DATA_W& operator*() const {
    return *reinterpret_cast<const SP_DRVINFO_DETAIL_DATA_W*>(bytes_.data());
  }
  const SP_DRVINFO_DETAIL_DATA_W* operator->() const { return &**this; }

 private:
  std::vector<BYTE> bytes_;
};
