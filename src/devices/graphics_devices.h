// graphics_devices - the graphics devices that the user wants to keep, as the command line names them. Plain data.
#pragma once

#include <string>
#include <vector>

// One graphics device. A device is this one when a hardware id of it contains both texts.
struct GraphicsDevice {
  std::wstring vendor;  // such as VEN_7A11
  std::wstring device;  // such as DEV_744C
  bool operator==(const GraphicsDevice&) const = default;
};

struct GpuExclusion {
  std::vector<GraphicsDevice> gpus;
  bool excludeGpus = false;  // the option was given, with or without devices behind it
};
