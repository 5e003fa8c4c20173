// protected_places - folders and keys that belong to the system or to the user as a whole. A row that names one for
// removal with everything in it is a mistake of the manifest's author. Knows no manifest and removes nothing.
#pragma once

#include <string>

// True for
// - a drive's root, and a bare drive, which is taken for its root;
// - the Windows folder, System32 and SysWOW64, and of the Windows folder assembly, Fonts, INF, Installer,
//   Microsoft.NET, servicing, WinSxS, System32\CatRoot, System32\config, System32\drivers and its etc,
//   System32\DriverStore and its FileRepository, System32\Tasks, System32\wbem;
// - Program Files and its Common Files, both of each;
// - ProgramData, Public\Documents, Public\Desktop, and the Start Menu's Programs folder of all users;
// - of the user the profile, Roaming and Local application data, Documents, Desktop and the Start Menu's Programs;
// - the temporary folder;
// - every folder above one of these.
// Paths are compared without case, after GetFullPathNameW, GetLongPathNameW for what exists, and with the links on the
// way to the last element resolved, the places in all these spellings. A link in the place itself is none: it goes
// alone. The prefixes "\\?\" and "\\.\" and the name of a stream do not count.
bool isProtectedDirectory(const std::wstring& path);

// True for a file pattern in such a folder, or behind a link to one, that takes everything or a whole kind of files:
// its name has, in front of its first dot, fewer than three characters in a row that stand for themselves. The
// wildcards are * and ?, and <, > and ", which Windows reads as such; blanks do not count. "System32\orv*.dll" and
// "System32\*orvgfx*.dll" are none, "System32\or*.dll" and "System32\*.orvgfx" are. A name of nothing but dots is one
// too.
bool isProtectedPattern(const std::wstring& path);

// True for
// - a root, and the keys SOFTWARE and SYSTEM;
// - below SOFTWARE, of the machine as of a user: Policies, Microsoft\Windows NT\CurrentVersion, App Paths, Policies,
//   Run, RunOnce and Uninstall of Microsoft\Windows\CurrentVersion, and of Classes AppID, CLSID, Installer, Interface,
//   TypeLib and the context menu handlers of Directory\Background;
// - of the machine COMPONENTS, DRIVERS, HARDWARE, SYSTEM\MountedDevices, SYSTEM\Setup, and of a control set
//   Control\Class, Services and Services\EventLog\Application;
// - of a user Control Panel and Environment; of HKEY_CURRENT_CONFIG Software and System;
// - every key above one of these;
// - BCD00000000, SAM, SECURITY and Enum of a control set, with all that lies above and below.
// WOW6432Node in a path does not count, HKEY_CLASSES_ROOT is the machine's Classes, a key of HKEY_USERS is the current
// user's or, where its name ends in _Classes, that one's Classes. `path` is in the manifest's form; compares without
// case.
bool isProtectedKey(const std::wstring& path);
