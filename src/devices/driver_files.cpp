#include "devices/driver_files.h"

#include <cstdio>
#include <optional>

#include "devices/current_driver.h"
#include "system/handles.h"
#include "system/text_case.h"

namespace {

// Queue callbacks, called once per file.
UINT CALLBACK countFile(PVOID count, UINT, UINT_PTR, UINT_PTR) {
  ++*static_cast<std::size_t*>(count);
  return NO_ERROR;
}

UINT CALLBACK takeFile(PVOID files, UINT, UINT_PTR targetPath, UINT_PTR) {
  const auto* path = reinterpret_cast<const wchar_t*>(targetPath);
  std::printf("%ls\n", path);
  static_cast<std::vector<std::wstring>*>(files)->emplace_back(path);
  return NO_ERROR;
}

// Has the class installer queue the driver's files. False if the class installer was not called.
bool queueFiles(DeviceElement& device, SP_DRVINFO_DATA_V2_W& driver, FileQueue& queue) {
  auto detail = sizedStructure<SP_DRVINFO_DETAIL_DATA_W>();
  if (!::SetupDiGetDriverInfoDetailW(device.set, &device.data, &driver, &detail, sizeof(detail), nullptr) &&
      ::GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
    return false;
  }
  if (detail.InfFileName[0] == L'\0' || detail.SectionName[0] == L'\0') {
    return false;
  }
  ::SetupDiSetSelectedDriverW(device.set, &device.data, &driver);
  queue.reset(::SetupOpenFileQueue());
  if (!queue) {
    return false;
  }
  auto parameters = sizedStructure<SP_DEVINSTALL_PARAMS_W>();
  if (!::SetupDiGetDeviceInstallParamsW(device.set, &device.data, &parameters)) {
    return false;
  }
  parameters.Flags |= DI_NOVCP;  // the class installer puts its files into our queue and copies none
  parameters.FileQueue = queue.get();
  if (!::SetupDiSetDeviceInstallParamsW(device.set, &device.data, &parameters)) {
    return false;  // without the queue it would copy them
  }
  ::SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, device.set, &device.data);
  return true;
}

std::vector<std::wstring> filesIn(const FileQueue& queue) {
  DWORD result = 0;
  std::size_t count = 0;
  std::vector<std::wstring> files;
  ::SetupScanFileQueueW(queue.get(), SPQ_SCAN_USE_CALLBACK, nullptr, countFile, &count, &result);
  files.reserve(count);
  ::SetupScanFileQueueW(queue.get(), SPQ_SCAN_USE_CALLBACK, nullptr, takeFile, &files, &result);
  return files;
}

}  // namespace

bool isFileCollectionDue(const std::wstring& className, bool gpuExclusionApplied, bool factoryReset) {
  const std::wstring lowerCaseClass = toLower(className);
  if (factoryReset || contains(lowerCaseClass, L"system")) {
    return false;
  }
  return !gpuExclusionApplied || !contains(lowerCaseClass, L"display");
}

std::vector<std::wstring> CollectDriverFiles(DeviceElement& device) {
  auto before = sizedStructure<SP_DEVINSTALL_PARAMS_W>();
  const bool beforeIsKnown = ::SetupDiGetDeviceInstallParamsW(device.set, &device.data, &before);
  FileQueue queue;
  std::vector<std::wstring> files;
  if (std::optional<SP_DRVINFO_DATA_V2_W> driver = FindCurrentDriver(device)) {
    if (queueFiles(device, *driver, queue)) {
      files = filesIn(queue);
    }
    ::SetupDiDestroyDriverInfoList(device.set, &device.data, SPDIT_CLASSDRIVER);
  }
  if (beforeIsKnown) {
    // The parameters still name our queue, which is about to be closed; the removal that follows must not find it.
    ::SetupDiSetDeviceInstallParamsW(device.set, &device.data, &before);
  }
  return files;
}
