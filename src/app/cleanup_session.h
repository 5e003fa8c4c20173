// cleanup_session - the one object of a run: every work, failure and exclusion list, the flags that the switches set,
// and the steps of the run as members. What the steps do to the machine is done by the modules below app.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <windows.h>

#include "devices/setup.h"
#include "manifest/scrub_list.h"
#include "system/handles.h"

// When it is not 0 after the sequence, the run loop posts the quit message.
extern std::int32_t quitRequested;
// Set by the switch `reboot`.
extern bool rebootAfterRun;

class CleanupSession {
 public:
  // Sets the installer silent, zeroes the progress value that the maker's installer reads, and creates the instance
  // mutex. Failures only log. `commandLine` is the text behind the program's own name.
  CleanupSession(HINSTANCE instance, wchar_t* commandLine, int showCommand);
  ~CleanupSession();
  CleanupSession(const CleanupSession&) = delete;
  CleanupSession& operator=(const CleanupSession&) = delete;

  // Reads the switches into the session's flags. Unknown words are ignored.
  void parseCommandLine();

  // Everything from the checks to the end of the message loop. Returns the exit code: 0 whatever the outcome of the
  // cleanup, -1 when GetMessageW fails. Exceptions end the run with one log line.
  int run();

  // Registers the window class, creates the hidden main window unless the run is silent, extracts and reads the
  // manifest. Returns 0 when the window cannot be created, else 1. Throws what the manifest's reader throws.
  int initializeWindow();

  // Ends the process, after a message, while Windows Update is running. For interactive runs.
  void checkWindowsUpdate();

  // Switches the system's driver search off and keeps the setting for restoreSystemState. RegQueryValueExW,
  // RegSetValueExW.
  void disableDriverSearch();

  // Runs the sequence in place, or restarts the machine into safe mode, or asks which of the two. Returns 1.
  int decideAndStart();

  // Has Windows restart into safe mode and start this program there again with the same arguments. RunOnce, bcdedit,
  // shutdown.
  void rebootIntoSafeMode();

  // Takes safe mode out of the boot settings and puts the driver search back. Part of every run that got to its end.
  void restoreSystemState();

  // The whole cleanup: consent, restore point, every stage in its fixed order, outcome. Reports through the log and the
  // failure lists.
  void runCleanupSequence();

  // The tail of the sequence: lists what failed, decides the outcome, leaves word that a restart is due, ends the run.
  void finishRun();

  // Shows the outcome to the user, who looks at the report and finishes the run from there.
  void showFinishDialog();

  // The end of an interactive run: asks for the restart and either quits or restarts. Called by the dialog that it
  // ends.
  void onFinish(HWND dialog);

  // Work lists, filled by the collectors.
  std::vector<std::wstring> registryKeys;
  std::vector<std::wstring> registryKeysEmpty;  // to be deleted only when no other key lies below them
  std::vector<std::wstring> registryValues;
  std::vector<std::wstring> directories;       // with their contents
  std::vector<std::wstring> directoriesForce;  // only when they are empty, else marked for the next restart
  std::vector<std::wstring> services;
  std::vector<std::wstring> scheduledTasks;
  std::vector<std::wstring> files;
  std::vector<std::wstring> processes;
  std::vector<std::wstring> shortcuts;
  std::vector<TrackerCommand> commands;

  // Failure lists, appended to by the action dispatcher.
  std::vector<std::wstring> failedRegistryKeys;
  std::vector<std::wstring> failedRegistryValues;
  std::vector<std::wstring> failedPreUninstallRegistryValues;
  std::vector<std::wstring> failedPreUninstallRegistryKeys;
  std::vector<std::wstring> failedDirectories;
  std::vector<std::wstring> failedServices;
  std::vector<std::wstring> failedScheduledTasks;
  std::vector<std::wstring> failedFiles;
  std::vector<std::wstring> failedDriverFiles;
  std::vector<std::wstring> failedProcesses;
  std::vector<std::wstring> failedShortcuts;

  // Exclusion lists: rows that are taken out of the work lists.
  std::vector<std::wstring> excludedRegistryKeys;
  std::vector<std::wstring> excludedRegistryValues;
  std::vector<std::wstring> excludedDirectories;
  std::vector<std::wstring> excludedServices;
  std::vector<std::wstring> excludedScheduledTasks;
  std::vector<std::wstring> excludedFiles;
  std::vector<std::wstring> excludedProcesses;

  ScrubList scrubList;
  ScrubListData* scrubListData;  // the records of scrubList

  Setup deviceUninstaller;  // the devices of the machine as they were at the start of the run

  std::vector<DriverPackage> failedDrivers;
  std::vector<DriverPackage> removedDrivers;
  std::vector<ApplicationPackage> failedApplications;
  std::vector<ApplicationPackage> removedApplications;
  std::vector<DriverPackage> eligibleDrivers;
  std::vector<ApplicationPackage> eligibleApplications;

  DWORD instanceError = ERROR_SUCCESS;  // GetLastError straight after the mutex was created
  KernelHandle instanceMutex;
  Setup secondDeviceUninstaller;  // nothing uses it; a machine that refuses a device set says so twice

  HINSTANCE instance;
  wchar_t* commandLine;
  std::int32_t showCommand;
  LANGID uiLanguage;
  HACCEL accelerators = nullptr;
  HWND finishDialog = nullptr;  // modeless; null while there is none

  bool cleanupEnabled = true;  // nothing clears it; the sequence ends early when it is false
  bool silent = false;
  bool removeInstallManager = true;  // false: the install manager's folder is kept
  bool safeModeRequested = false;
  std::uint32_t savedSearchOrderConfig = 0xFFFFFFFF;
  bool searchOrderConfigSaved = false;
  std::uint32_t savedDontSearchWindowsUpdate = 0xFFFFFFFF;
  bool dontSearchWindowsUpdateSaved = false;
  bool factoryReset = false;

  GpuExclusion gpuExclusion;

  std::wstring tempPath;       // GetTempPathW
  std::wstring workDirectory;  // the work folder; from initializeWindow on the path of the extracted manifest
  wchar_t windowTitle[100] = {};
  wchar_t windowClass[100] = {};

  // Registry paths below HKEY_LOCAL_MACHINE whose values name a file of the Vulkan loader, and those files.
  std::map<std::wstring, std::wstring> vulkanRegistryValues;
  std::vector<std::wstring> vulkanFiles;
  // The 32-bit tables are part of the session's data and are read by nothing.
  std::map<std::wstring, std::wstring> vulkanRegistryValues32;
  std::vector<std::wstring> vulkanFiles32;

  // Chooses the packages that are to go and protects what the others list.
  void selectEligibleApplications();
  void selectEligibleDrivers();
  // Narrows the applications to those that the installer knows, one for each upgrade code, and lists them. One branding
  // package of one version is wiped here. Throws std::out_of_range for a control panel version of less than three
  // characters, and what ForceRemoveProduct throws.
  void filterInstalledApplications();

 private:
  void resetProgressValue();
  void restoreDriverSearch();
  bool confirmWithUser();
  void runMainPass();

  // The stages of the main pass, in its order.
  void preUninstallRegistryStage();
  void commandStage();
  void processStage();
  void serviceStage();
  void cachedDriverStage();
  void shortcutStage();
  void applicationStage();
  void driverStage();
  void protectInstallManager();
  void collectDirectoriesFilesAndTasks();
  void scheduledTaskStage();
  void fileStage();
  void driverFileStage();
  void directoryStage();
  void registryValueStage();
  void registryKeyStage();
  void previousInstallerStage();
};
