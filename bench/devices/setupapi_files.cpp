// setupapi_files - file queues, and INF reading, which is forwarded to the machine's own library.

#include <algorithm>
#include <memory>
#include <mutex>

#include <windows.h>

#include <setupapi.h>

#include "device_registry.h"
#include "device_sets.h"
#include "not_covered.h"

using namespace bench;

namespace {

struct QueuedFiles {
  std::vector<std::wstring> targets;
};

std::mutex queuesMutex;
std::vector<std::unique_ptr<QueuedFiles>> queues;

QueuedFiles* findQueue(HSPFILEQ handle) {
  const std::lock_guard lock(queuesMutex);
  for (const std::unique_ptr<QueuedFiles>& queue : queues) {
    if (queue.get() == handle) {
      return queue.get();
    }
  }
  return nullptr;
}

// A function of the machine's own library, which this one replaces. The bench keeps it under another name
// (bench/session.py).
template <class Function>
Function* ownFunction(const char* name) {
  static const HMODULE library = ::LoadLibraryW(L"C:\\windows\\system32\\own_setupapi.dll");
  const FARPROC found = library ? ::GetProcAddress(library, name) : nullptr;
  if (!found) {
    notCovered(name);
  }
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}

}  // namespace

bool bench::isQueue(HSPFILEQ handle) {
  return findQueue(handle) != nullptr;
}

bool bench::queueFiles(HSPFILEQ handle, const std::vector<std::wstring>& files) {
  QueuedFiles* const queue = findQueue(handle);
  if (queue) {
    queue->targets.insert(queue->targets.end(), files.begin(), files.end());
  }
  return queue != nullptr;
}

HSPFILEQ WINAPI SetupOpenFileQueue() {
  if (const DWORD failure = plannedFailure(kDevicesKey, L"SetupOpenFileQueue"); failure != 0) {
    ::SetLastError(failure);
    return INVALID_HANDLE_VALUE;
  }
  const std::lock_guard lock(queuesMutex);
  queues.push_back(std::make_unique<QueuedFiles>());
  return queues.back().get();
}

BOOL WINAPI SetupCloseFileQueue(HSPFILEQ handle) {
  const std::lock_guard lock(queuesMutex);
  const size_t closed =
      std::erase_if(queues, [handle](const std::unique_ptr<QueuedFiles>& queue) { return queue.get() == handle; });
  return answer(closed == 0 ? ERROR_INVALID_HANDLE : ERROR_SUCCESS);
}

BOOL WINAPI SetupScanFileQueueW(HSPFILEQ handle, DWORD flags, HWND, PSP_FILE_CALLBACK_W callback, PVOID context,
                                PDWORD result) {
  if (flags != SPQ_SCAN_USE_CALLBACK) {
    notCovered("flags of SetupScanFileQueueW but SPQ_SCAN_USE_CALLBACK alone");
  }
  const QueuedFiles* const queue = findQueue(handle);
  if (!queue) {
    return answer(ERROR_INVALID_HANDLE);
  }
  if (!callback || !result) {
    return answer(ERROR_INVALID_PARAMETER);
  }
  *result = 0;
  for (const std::wstring& target : queue->targets) {
    const UINT stop = callback(context, SPFILENOTIFY_QUEUESCAN, reinterpret_cast<UINT_PTR>(target.c_str()), 0);
    if (stop != NO_ERROR) {
      return answer(stop);
    }
  }
  *result = 1;
  return answer(ERROR_SUCCESS);
}

HINF WINAPI SetupOpenInfFileW(PCWSTR fileName, PCWSTR infClass, DWORD style, PUINT errorLine) {
  return ownFunction<decltype(::SetupOpenInfFileW)>("SetupOpenInfFileW")(fileName, infClass, style, errorLine);
}

VOID WINAPI SetupCloseInfFile(HINF inf) {
  ownFunction<decltype(::SetupCloseInfFile)>("SetupCloseInfFile")(inf);
}

BOOL WINAPI SetupFindFirstLineW(HINF inf, PCWSTR section, PCWSTR key, PINFCONTEXT context) {
  return ownFunction<decltype(::SetupFindFirstLineW)>("SetupFindFirstLineW")(inf, section, key, context);
}

BOOL WINAPI SetupFindNextLine(PINFCONTEXT in, PINFCONTEXT out) {
  return ownFunction<decltype(::SetupFindNextLine)>("SetupFindNextLine")(in, out);
}

BOOL WINAPI SetupGetStringFieldW(PINFCONTEXT context, DWORD index, PWSTR buffer, DWORD size, PDWORD requiredSize) {
  return ownFunction<decltype(::SetupGetStringFieldW)>("SetupGetStringFieldW")(context, index, buffer, size,
                                                                               requiredSize);
}
