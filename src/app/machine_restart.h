// machine_restart - whether the machine has to be restarted after a run, the announcement of that, and the restart
// itself. Asks nobody.
#pragma once

// True when the removal of a file, an application or a device needs a restart to finish.
bool isRestartDue();

// Tells other programs that a restart is required, through a volatile key, which the restart deletes. Failures are
// ignored. RegCreateKeyExW.
void announceRestart();

// Restarts the machine at once as a planned restart, forcing all programs to close. Does nothing if the shutdown
// privilege is not granted. ExitWindowsEx.
void rebootMachine();
