// restore_point - makes a System Restore point before anything is removed. Its messages go to standard output, not to
// the log; a machine without System Restore only loses the restore point.
#pragma once

// Sets the security of the process's COM calls and leaves COM initialised on this thread. For whoever asks COM for
// anything before the restore point: security can be set once in a process, and the first call to another process sets
// it by default. What fails here is told by createRestorePoint.
void prepareComSecurity();

// Initialises COM for the process and its security, makes and closes the restore point, uninitialises COM.
void createRestorePoint();

// Lets administrators, the system's own accounts and the process itself call into the process's COM objects. True only
// when every call succeeded.
bool configureComSecurity();
