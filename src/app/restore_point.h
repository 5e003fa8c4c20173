// restore_point - makes a System Restore point before anything is removed. Its messages go to standard output, not to
// the log; a machine without System Restore only loses the restore point.
#pragma once

// Sets the COM security of the process and leaves COM initialised on this thread. To be called before any other use of
// COM: security can be set only once in a process, and the first call to another process sets the default.
// createRestorePoint reports a failure. CoInitializeSecurity.
void prepareComSecurity();

// Initialises COM and its security, creates the restore point, uninitialises COM. SRSetRestorePointW.
void createRestorePoint();

// Lets administrators, the system accounts and the process itself call this process's COM objects. Returns true when
// every call succeeded.
bool configureComSecurity();
