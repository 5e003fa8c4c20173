#include "applications/store_apps.h"

#include "applications/store_app_plan.h"
#include "system/log.h"
#include "system/process_launch.h"

void RemoveStoreApp(const std::wstring& packagePattern) {
  const PlannedStoreApp planned = PlanStoreAppRemoval(packagePattern);
  if (planned.isRefused) {
    LogError(L"RemoveStoreApp - Pattern[%s] begins without a name, not carried out", packagePattern.c_str());
    return;
  }
  LogDebug(L"Attempting to uninstall ORV UWP Application");
  RunCommand(planned.commandLine, L"C:\\", true);
  LogDebug(L"%s", planned.closingLine.c_str());
}
