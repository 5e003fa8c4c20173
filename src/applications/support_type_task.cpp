#include "applications/support_type_task.h"

#include <windows.h>

#include "system/log.h"
#include "system/process_launch.h"

namespace {

constexpr wchar_t kSupportTypeUpdate[] = L"schtasks /Run /TN \"ORVScoSupportTypeUpdate\"";

}  // namespace

void RunSupportTypeUpdateTask() {
  // Nothing expands the working directory; the task is only asked for, and what becomes of it does not matter.
  const DWORD code = RunCommand(kSupportTypeUpdate, L"%SYSTEMROOT%\\System32", false);
  // A process that still runs has the code STILL_ACTIVE, and a failed start that of its error: both count as able.
  LogDebug(code != 0 ? L"Able to run ORVScoSupportTypeUpdate  : %s " : L"Not able to run ORVScoSupportTypeUpdate : %s ",
           kSupportTypeUpdate);
}
