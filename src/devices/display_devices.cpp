#include "devices/display_devices.h"

namespace {

constexpr GUID kDisplayClass = {0x4D36E968, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

}  // namespace

DisplayDevices FindDisplayDevices() {
  DisplayDevices display = {DeviceSet(::SetupDiGetClassDevsW(&kDisplayClass, nullptr, nullptr, 0)), {}};
  auto data = sizedStructure<SP_DEVINFO_DATA>();
  while (::SetupDiEnumDeviceInfo(display.set.get(), static_cast<DWORD>(display.devices.size()), &data)) {
    display.devices.push_back(data);
  }
  return display;
}
