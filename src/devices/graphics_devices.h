// graphics_devices - the graphics devices that the command line asks to keep. Plain data.
#pragma once

#include <string>
#include <vector>

// One graphics device: any device with a hardware id that contains both strings.
struct GraphicsDevice {
  std::wstring vendor;  // such as VEN_7A11
  std::wstring device;  // such as DEV_744C
  bool operator==(const GraphicsDevice&) const = default;
};

struct GpuExclusion {
  std::vector<GraphicsDevice> gpus;
  bool excludeGpus = false;  // the switch was given, with or without valid devices
};
