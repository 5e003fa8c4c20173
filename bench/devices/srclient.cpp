// srclient - the test machine's System Restore. Restore points are kept in HKLM\SOFTWARE\Bench Restore Points\<number>:
// Description, and Ended (a number) once the change has ended. A value State in the parent key is the error that System
// Restore returns instead.

#include <string>

#include <windows.h>

#include <srrestoreptapi.h>

#include "device_registry.h"
#include "not_covered.h"

using namespace bench;

namespace {

const std::wstring kPointsKey = L"SOFTWARE\\Bench Restore Points";

DWORD begin(const RESTOREPOINTINFOW& point, STATEMGRSTATUS& status) {
  const DWORD number = readNumber(kPointsKey, L"Next", 1);
  const std::wstring key = kPointsKey + L"\\" + std::to_wstring(number);
  writeText(key, L"Description", point.szDescription);
  writeNumber(key, L"Ended", 0);
  writeNumber(kPointsKey, L"Next", number + 1);
  status.llSequenceNumber = number;
  return ERROR_SUCCESS;
}

DWORD end(const RESTOREPOINTINFOW& point) {
  const std::wstring key = kPointsKey + L"\\" + std::to_wstring(point.llSequenceNumber);
  if (!keyExists(key)) {
    return ERROR_INVALID_DATA;
  }
  writeNumber(key, L"Ended", 1);
  return ERROR_SUCCESS;
}

}  // namespace

extern "C" BOOL WINAPI SRSetRestorePointW(RESTOREPOINTINFOW* point, STATEMGRSTATUS* status) {
  if (point->dwEventType != BEGIN_SYSTEM_CHANGE && point->dwEventType != END_SYSTEM_CHANGE) {
    notCovered("nested changes of SRSetRestorePointW");
  }
  const bool begins = point->dwEventType == BEGIN_SYSTEM_CHANGE;
  status->llSequenceNumber = point->llSequenceNumber;
  status->nStatus = readNumber(kPointsKey, L"State");
  if (status->nStatus == ERROR_SUCCESS) {
    status->nStatus = begins ? begin(*point, *status) : end(*point);
  }
  recordCall(L"SRSetRestorePointW",
             begins ? point->szDescription : L"end of " + std::to_wstring(point->llSequenceNumber), status->nStatus);
  ::SetLastError(status->nStatus);
  return status->nStatus == ERROR_SUCCESS;
}

extern "C" DWORD WINAPI SRRemoveRestorePoint(DWORD) {
  notCovered("SRRemoveRestorePoint");
}
