// safe_boot - starts, in safe mode, the services that installers and the removal of store apps need. Each is first
// added to the services that Windows allows in the present safe mode. Does nothing outside safe mode. A failure costs a
// log line and nothing else; the entries stay after the run.
#pragma once

void StartMsiServerInSafeMode();
void StartAppXSvcInSafeMode();
void StartCamSvcInSafeMode();
