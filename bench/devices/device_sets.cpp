#include "device_sets.h"

#include <map>
#include <memory>
#include <mutex>

#include "device_registry.h"
#include "device_tree.h"

namespace bench {

namespace {

std::mutex setsMutex;
std::map<HDEVINFO, std::unique_ptr<ModelSet>> sets;

bool isStillThere(const SetElement& element) {
  return readNumber(benchKey(element.id), L"DevInst") == element.number;
}

}  // namespace

void ModelSet::listFromStart() {
  listedIndex = 0;
  listed = elements.begin();
}

std::list<SetElement>::iterator ModelSet::at(DWORD index) {
  if (index < listedIndex) {
    listFromStart();
  }
  for (; listed != elements.end(); ++listed) {
    if (listed->removed) {
      continue;
    }
    if (listedIndex == index) {
      break;
    }
    ++listedIndex;
  }
  return listed;
}

BOOL answer(DWORD error) {
  ::SetLastError(error);
  return error == ERROR_SUCCESS;
}

HDEVINFO openSet(std::list<SetElement> elements) {
  auto set = std::make_unique<ModelSet>();
  set->elements = std::move(elements);
  for (SetElement& element : set->elements) {
    set->byNumber[element.number] = &element;
  }
  set->listFromStart();
  const HDEVINFO handle = set.get();
  const std::lock_guard lock(setsMutex);
  sets[handle] = std::move(set);
  return handle;
}

bool closeSet(HDEVINFO handle) {
  const std::lock_guard lock(setsMutex);
  return answer(sets.erase(handle) != 0 ? ERROR_SUCCESS : ERROR_INVALID_HANDLE) != FALSE;
}

ModelSet* findSet(HDEVINFO handle) {
  const std::lock_guard lock(setsMutex);
  const auto found = sets.find(handle);
  if (found == sets.end()) {
    ::SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return found->second.get();
}

SetElement* findElement(HDEVINFO handle, const SP_DEVINFO_DATA* data) {
  ModelSet* const set = findSet(handle);
  if (!set) {
    return nullptr;
  }
  if (data && data->cbSize != sizeof(*data)) {
    ::SetLastError(ERROR_INVALID_USER_BUFFER);
    return nullptr;
  }
  if (const auto found = data ? set->byNumber.find(data->DevInst) : set->byNumber.end(); found != set->byNumber.end()) {
    return found->second;
  }
  ::SetLastError(ERROR_INVALID_PARAMETER);
  return nullptr;
}

SetElement* findDevice(HDEVINFO set, const SP_DEVINFO_DATA* data, const wchar_t* call) {
  SetElement* const element = findElement(set, data);
  if (!element) {
    return nullptr;
  }
  if (!isStillThere(*element)) {
    ::SetLastError(static_cast<DWORD>(ERROR_NO_SUCH_DEVINST));
    return nullptr;
  }
  if (const DWORD failure = plannedFailure(benchKey(element->id), call); failure != 0) {
    ::SetLastError(failure);
    return nullptr;
  }
  return element;
}

bool removeElement(HDEVINFO set, const SP_DEVINFO_DATA* data, const wchar_t* call) {
  SetElement* const element = findElement(set, data);
  if (!element) {
    return false;
  }
  if (!findDevice(set, data, call)) {
    const DWORD error = ::GetLastError();
    recordCall(call, element->id, error);
    return answer(error) != FALSE;
  }
  const std::wstring key = benchKey(element->id);
  element->install.Flags |= readNumber(key, L"NeedReboot");
  element->installParamsFailure = plannedFailure(key, L"SetupDiGetDeviceInstallParamsW after removal");
  removeDevice(element->id);
  element->removed = true;
  findSet(set)->listFromStart();
  recordCall(call, element->id, ERROR_SUCCESS);
  return answer(ERROR_SUCCESS) != FALSE;
}

}  // namespace bench
