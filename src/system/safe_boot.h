// safe_boot - in safe mode, lets the services run that installers and the removal of store apps need: each is entered
// into the list of the safe mode at hand and started. Outside safe mode nothing happens. Failures cost only a log line;
// the entries stay after the run.
#pragma once

void StartMsiServerInSafeMode();
void StartAppXSvcInSafeMode();
void StartCamSvcInSafeMode();
