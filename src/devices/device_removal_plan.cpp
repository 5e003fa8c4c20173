#include "devices/device_removal_plan.h"

#include <array>
#include <utility>

#include "system/text_case.h"

namespace {

struct StageRow {
  MatchRule rule;
  const wchar_t* header;
  std::vector<DriverMatch> MatchLists::*matches;
};

constexpr std::array<StageRow, 5> kStages = {{
    {MatchRule::ClassName, L"Devices to Uninstall by classname", &MatchLists::devicesByClassName},
    {MatchRule::Description, L"Devices to Uninstall by devicesByDevDesc", &MatchLists::devicesByDevDesc},
    {MatchRule::Siblings, L"Devices to Uninstall by devicesBySibblings", &MatchLists::devicesBySibblings},
    {MatchRule::HardwareId, L"Devices to Uninstall by devicesByHWID's", &MatchLists::devicesByHWID},
    {MatchRule::DeviceId, L"Devices to Uninstall by devicesByDeviceID's", &MatchLists::devicesByDeviceID},
}};

// Appends the device's hardware ids to its log lines, up to the first that names a graphics device to keep. True if one
// does.
bool examineHardwareIds(const DeviceRecord& device, const std::vector<GraphicsDevice>& kept,
                        std::vector<std::wstring>& lines) {
  for (const std::wstring& hardwareId : device.hardwareIds) {
    lines.push_back(hardwareId);
    for (const GraphicsDevice& graphics : kept) {
      lines.push_back(graphics.vendor + L"-" + graphics.device);
      if (contains(hardwareId, graphics.vendor) && contains(hardwareId, graphics.device)) {
        lines.push_back(L"Excluding GPU: " + hardwareId);
        return true;
      }
    }
  }
  return false;
}

// Plans a device that was matched by class. The first display device with a hardware id sets `gpuExclusionApplied`,
// whether it is kept or not, and the flag then holds for all devices after it.
PlannedDevice planByClassName(DriverMatch match, const GpuExclusion& gpuExclusion, bool factoryReset,
                              bool& gpuExclusionApplied) {
  const DeviceRecord& device = *match.device;
  PlannedDevice planned = {.match = std::move(match)};
  planned.lines = {L"Class Name: " + device.getClassName() + L" ----- Description: " + device.getDescription() +
                       L" ----- DeviceId: " + device.getDeviceId(),
                   L"Hardware ID's"};
  const std::wstring className = toLower(device.getClassName());
  const bool isDisplay = contains(className, L"display");
  if (factoryReset && isDisplay) {
    planned.lines.emplace_back(L"Excluding display driver in factory reset");
    planned.fate = DeviceFate::KeptInFactoryReset;
    return planned;
  }
  std::vector<GraphicsDevice> kept;
  if (gpuExclusion.excludeGpus && isDisplay && !device.hardwareIds.empty()) {
    gpuExclusionApplied = true;
    kept = gpuExclusion.gpus;
  }
  if (examineHardwareIds(device, kept, planned.lines)) {
    planned.fate = DeviceFate::KeptGraphicsDevice;
  } else if (contains(className, L"extension")) {
    planned.fate = DeviceFate::LeftToStoreCleaner;
  }
  planned.gpuExclusionApplied = gpuExclusionApplied;
  return planned;
}

PlannedDevice planRemoval(DriverMatch match) {
  const DeviceRecord& device = *match.device;
  PlannedDevice planned = {.match = std::move(match)};
  planned.lines = {L"getClassName: " + device.getClassName() + L"-----getDescription: " + device.getDescription() +
                       L"-----getDeviceId: " + device.getDeviceId(),
                   L"Hardware ID's"};
  planned.lines.insert(planned.lines.end(), device.hardwareIds.begin(), device.hardwareIds.end());
  return planned;
}

}  // namespace

DeviceRemovalPlan PlanDeviceRemoval(MatchLists matches, const GpuExclusion& gpuExclusion, bool factoryReset) {
  DeviceRemovalPlan plan;
  for (const StageRow& row : kStages) {
    RemovalStage stage = {row.rule, row.header, {}};
    for (DriverMatch& match : matches.*row.matches) {
      stage.devices.push_back(row.rule == MatchRule::ClassName ? planByClassName(std::move(match), gpuExclusion,
                                                                                 factoryReset, plan.gpuExclusionApplied)
                                                               : planRemoval(std::move(match)));
    }
    plan.stages.push_back(std::move(stage));
  }
  return plan;
}
