// graphics_devices - the graphics devices that a run is asked to keep. Plain data; knows no command line and no device.
#pragma once

#include <string>
#include <vector>

// One device by two parts of its hardware ids, such as "VEN_7A11" and "DEV_0001".
struct GraphicsDevice {
  std::wstring vendor;
  std::wstring device;
  bool operator==(const GraphicsDevice&) const = default;
};

// The graphics devices that are to be kept. The list may be empty although it was asked for.
struct GpuExclusion {
  std::vector<GraphicsDevice> gpus;
  bool excludeGpus = false;
};
