#include "applications/support_type_task.h"

#include <windows.h>

#include "system/log.h"
#include "system/process_launch.h"

namespace {

constexpr wchar_t kSupportTypeUpdate[] = L"schtasks /Run /TN \"ORVScoSupportTypeUpdate\"";

}  // namespace

void RunSupportTypeUpdateTask() {
  // The working directory is passed unexpanded; where it is invalid the start fails, which does no harm.
  const DWORD code = RunCommand(kSupportTypeUpdate, L"%SYSTEMROOT%\\System32", false);
  // Non-zero is STILL_ACTIVE for a running process, but also the error of a failed start: both are logged as able.
  LogDebug(code != 0 ? L"Able to run ORVScoSupportTypeUpdate  : %s " : L"Not able to run ORVScoSupportTypeUpdate : %s ",
           kSupportTypeUpdate);
}
