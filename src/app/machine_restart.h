// machine_restart - the restart at the end of a run, and the word that one is due.
#pragma once

// True when a file, an application or a device needs a restart to be gone for good.
bool isRestartDue();

// Leaves word for other programs that a restart is due, in a key that is gone after it. A failure passes in silence.
// RegCreateKeyExW.
void announceRestart();

// Restarts the machine at once, with all programs ended by force, as a planned restart. Reports nothing; when the
// privilege cannot be had, nothing happens.
void rebootMachine();
