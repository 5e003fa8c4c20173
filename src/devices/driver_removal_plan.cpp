// driver_removal_plan - the part of Setup that decides: which devices belong to the driver packages of the manifest, by
// five rules, and in which order they go. Nothing is removed before every package was matched.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include "devices/driver_store_cleaner.h"
#include "devices/maker_words.h"
#include "devices/setup.h"
#include "system/log.h"
#include "system/text_case.h"

namespace {

constexpr wchar_t kSystemClass[] = L"system";
constexpr wchar_t kFilterDeviceId[] = L"0A0";
constexpr wchar_t kFilterDriver[] = L"orvpcifd";

constexpr GUID kDisplayClass = {0x4D36E968, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

// A device and the package whose rule it met.
struct DriverMatch {
  DeviceRecord* device;
  DriverPackage driver;
};

using Matches = std::vector<DriverMatch>;

struct MatchLists {
  Matches devicesByClassName;
  Matches devicesByDevDesc;
  Matches devicesBySibblings;
  Matches devicesByHWID;
  Matches devicesByDeviceID;
};

// A driver node of the maker from an OEM package. A device that only the system's own drivers serve stays untouched.
bool hasQualifyingDriver(DeviceRecord& device) {
  for (const std::unique_ptr<DriverInfo>& driver : device.drivers) {
    const InfRecord& inf = *driver->inf;
    LogDebug(L"---------Device data------------%s - %s - %s - %s", driver->description.c_str(), driver->version.c_str(),
             driver->manufacturer.c_str(), driver->provider.c_str());
    LogDebug(L"---------INF data------------%s - %s - %s - %d", inf.catalogFile.c_str(), inf.className.c_str(),
             inf.provider.c_str(), inf.isOem ? 1 : 0);
    // In lower case they stay until the removal reads the nodes anew.
    driver->manufacturer = toLower(driver->manufacturer);
    driver->provider = toLower(driver->provider);
    if ((containsMakerWord(driver->manufacturer) || containsMakerWord(driver->provider)) && inf.isOem) {
      return true;
    }
  }
  return false;
}

// Each query makes new records, so devices are told apart by their ids. An entry whose id begins with the candidate's
// counts as the candidate too.
bool isNotYetListed(const DeviceRecord& device, const Matches& listed) {
  LogDebug(L"---------toCheck: %s------------", device.getDeviceId().c_str());
  for (const DriverMatch& match : listed) {
    LogDebug(L"---------getDeviceId: %s------------", match.device->getDeviceId().c_str());
    if (match.device->getDeviceId().starts_with(device.getDeviceId())) {
      return false;
    }
  }
  return true;
}

void listOnce(DeviceRecord& device, const DriverPackage& driver, Matches& listed) {
  if (isNotYetListed(device, listed) && hasQualifyingDriver(device)) {
    listed.push_back({&device, driver});
  }
}

// The rule for the PCI filter driver. A device that two hardware ids fit is listed twice.
void matchByHardwareId(Setup& setup, const DriverPackage& driver, Matches& listed) {
  for (DeviceRecord* device : setup.FindDevices(driver.ClassName, false, kFilterDeviceId, L"")) {
    for (const std::wstring& hardwareId : driver.HardwareIds) {
      if (!device->hardwareIds.empty() && contains(device->hardwareIds.front(), hardwareId) &&
          !device->lowerFilters.empty() && contains(device->lowerFilters.front(), kFilterDriver) &&
          hasQualifyingDriver(*device)) {
        listed.push_back({device, driver});
      }
    }
  }
}

void matchByDeviceId(Setup& setup, const DriverPackage& driver, Matches& listed) {
  for (DeviceRecord* device : setup.FindDevices(driver.ClassName, true, L"", driver.DeviceID)) {
    listOnce(*device, driver, listed);
  }
}

void matchBySiblings(DeviceRecord& device, const DriverPackage& driver, Matches& listed) {
  LogDebug(L"---------sibblingClassName to find: %s-----sibblingCompatibleId to find: %s------------",
           driver.SibblingClassName.c_str(), driver.SibblingCompatibleId.c_str());
  for (const DeviceRecord* sibling : device.siblings) {
    const std::wstring siblingClass = toLower(sibling->getClassName());
    if (!contains(siblingClass, driver.SibblingClassName)) {
      continue;
    }
    LogDebug(L"---------sibblingClassName: %s------------", siblingClass.c_str());
    // The device's own ids, whatever the line says: the companion only has to be there.
    for (const std::wstring& compatibleId : device.compatibleIds) {
      LogDebug(L"---------sibblingCompatibleId: %s------------", compatibleId.c_str());
      if (contains(compatibleId, driver.SibblingCompatibleId)) {
        listOnce(device, driver, listed);
      }
    }
  }
}

void matchByClass(Setup& setup, const DriverPackage& driver, MatchLists& lists) {
  for (DeviceRecord* device : setup.FindDevices(driver.ClassName, true, L"", L"")) {
    if (driver.ClassName != kSystemClass) {
      listOnce(*device, driver, lists.devicesByClassName);
    } else if (!driver.DeviceDesc.empty()) {
      if (contains(device->getDescription(), driver.DeviceDesc)) {
        listOnce(*device, driver, lists.devicesByDevDesc);
      }
    } else if (!driver.SibblingClassName.empty() && !driver.SibblingCompatibleId.empty()) {
      matchBySiblings(*device, driver, lists.devicesBySibblings);
    }
  }
}

MatchLists matchDevices(Setup& setup, const std::vector<DriverPackage>& drivers) {
  MatchLists lists;
  for (const DriverPackage& driver : drivers) {
    if (driver.ClassName.empty()) {
      LogDebug(L"No ClassName Specified for the driver\t:\t%s", driver.Name.c_str());
    } else if (driver.ClassName == kSystemClass && !driver.HardwareIds.empty()) {
      matchByHardwareId(setup, driver, lists.devicesByHWID);
    } else if (!driver.DeviceID.empty()) {
      matchByDeviceId(setup, driver, lists.devicesByDeviceID);
    } else {
      matchByClass(setup, driver, lists);
    }
  }
  return lists;
}

// Removes the matched devices and keeps the outcome of each attempt.
class Execution {
 public:
  Execution(Setup& setup, std::vector<DriverPackage>& failed, std::vector<DriverPackage>& succeeded,
            const GpuExclusion& gpuExclusion, bool factoryReset)
      : setup_(setup),
        failed_(failed),
        succeeded_(succeeded),
        gpuExclusion_(gpuExclusion),
        factoryReset_(factoryReset) {}

  // The one stage that spares: display devices in a factory reset, named graphics devices, and extensions, which are
  // left to the driver store cleaner.
  void removeByClassName(const Matches& matches) {
    LogDebug(L"Devices to Uninstall by classname");
    for (const DriverMatch& match : matches) {
      const DeviceRecord& device = *match.device;
      LogDebug(L"Class Name: %s ----- Description: %s ----- DeviceId: %s", device.getClassName().c_str(),
               device.getDescription().c_str(), device.getDeviceId().c_str());
      LogDebug(L"Hardware ID's");
      const std::wstring className = toLower(device.getClassName());
      const bool isDisplay = contains(className, L"display");
      if (factoryReset_ && isDisplay) {
        LogDebug(L"Excluding display driver in factory reset");
        continue;
      }
      if (isSparedGpu(device, isDisplay) || contains(className, L"extension")) {
        continue;
      }
      remove(match, gpuExclusionApplied_);
    }
  }

  void removeAll(const wchar_t* header, const Matches& matches) {
    LogDebug(header);
    for (const DriverMatch& match : matches) {
      const DeviceRecord& device = *match.device;
      LogDebug(L"getClassName: %s-----getDescription: %s-----getDeviceId: %s", device.getClassName().c_str(),
               device.getDescription().c_str(), device.getDeviceId().c_str());
      LogDebug(L"Hardware ID's");
      for (const std::wstring& hardwareId : device.hardwareIds) {
        LogDebug(L"%s", hardwareId.c_str());
      }
      remove(match, false);
    }
  }

  bool gpuExclusionApplied() const { return gpuExclusionApplied_; }

 private:
  // Logs the hardware ids up to the one that spares the device.
  bool isSparedGpu(const DeviceRecord& device, bool isDisplay) {
    for (const std::wstring& hardwareId : device.hardwareIds) {
      LogDebug(L"%s", hardwareId.c_str());
      if (!gpuExclusion_.excludeGpus || !isDisplay) {
        continue;
      }
      gpuExclusionApplied_ = true;
      for (const auto& [vendor, part] : gpuExclusion_.gpus) {
        LogDebug(L"%s-%s", vendor.c_str(), part.c_str());
        if (contains(hardwareId, vendor) && contains(hardwareId, part)) {
          LogDebug(L"Excluding GPU: %s", hardwareId.c_str());
          return true;
        }
      }
    }
    return false;
  }

  void remove(const DriverMatch& match, bool gpuExclusionApplied) {
    const std::wstring description = match.device->getDescription();
    if (setup_.UninstallDevice(*match.device, gpuExclusionApplied, factoryReset_)) {
      succeeded_.push_back(match.driver);
      LogDebug(L"Successfully Uninstalled: Description: %s ", description.c_str());
    } else {
      failed_.push_back(match.driver);
      LogDebug(L"Failed Uninstallion: Description: %s ", description.c_str());
    }
  }

  Setup& setup_;
  std::vector<DriverPackage>& failed_;
  std::vector<DriverPackage>& succeeded_;
  const GpuExclusion& gpuExclusion_;
  bool factoryReset_;
  bool gpuExclusionApplied_ = false;
};

}  // namespace

void Setup::RemoveDrivers(const std::vector<DriverPackage>& drivers, std::vector<DriverPackage>& failed,
                          std::vector<DriverPackage>& succeeded, GpuExclusion gpuExclusion, bool factoryReset) {
  ReenumerateDevices();
  const MatchLists lists = matchDevices(*this, drivers);

  Execution execution(*this, failed, succeeded, gpuExclusion, factoryReset);
  execution.removeByClassName(lists.devicesByClassName);
  execution.removeAll(L"Devices to Uninstall by devicesByDevDesc", lists.devicesByDevDesc);
  execution.removeAll(L"Devices to Uninstall by devicesBySibblings", lists.devicesBySibblings);
  execution.removeAll(L"Devices to Uninstall by devicesByHWID's", lists.devicesByHWID);
  execution.removeAll(L"Devices to Uninstall by devicesByDeviceID's", lists.devicesByDeviceID);

  const bool displayDevicesMustGo = CleanDriverStore(execution.gpuExclusionApplied(), factoryReset);
  ReenumerateDevices();
  if (displayDevicesMustGo && !factoryReset) {
    RemoveDisplayDevices();
    ReenumerateDevices();
  }
}

void Setup::ReenumerateDevices() {
  DEVINST root = 0;
  if (::CM_Locate_DevNodeW(&root, nullptr, CM_LOCATE_DEVNODE_NORMAL) == CR_SUCCESS) {
    ::CM_Reenumerate_DevNode(root, CM_REENUMERATE_SYNCHRONOUS);
  }
}

bool Setup::RemoveDisplayDevices() {
  const DeviceSet set(::SetupDiGetClassDevsW(&kDisplayClass, nullptr, nullptr, 0));
  // Listed before the first one goes: a removal may take a device out of the set and move the others up.
  std::vector<SP_DEVINFO_DATA> devices;
  SP_DEVINFO_DATA data = {};
  data.cbSize = sizeof(data);
  while (::SetupDiEnumDeviceInfo(set.get(), static_cast<DWORD>(devices.size()), &data)) {
    devices.push_back(data);
  }
  bool removed = false;
  for (SP_DEVINFO_DATA& device : devices) {
    removed = ::SetupDiRemoveDevice(set.get(), &device) || removed;
  }
  return removed;
}
