// cleanup_session - the one object of a run: it ties the switches, the lists and the results together, and its members
// are the steps of the run. It leaves every change of the machine to other modules.
#pragma once

#include <cstdint>
#include <string>

#include <windows.h>

#include "app/command_line.h"
#include "app/driver_search.h"
#include "app/failure_lists.h"
#include "app/main_window.h"
#include "app/vulkan_entries.h"
#include "devices/setup.h"
#include "manifest/package_lists.h"
#include "manifest/scrub_list.h"
#include "manifest/work_lists.h"
#include "system/handles.h"

class CleanupSession {
 public:
  // Turns off the UI of Windows Installer, zeroes the progress value that the maker's installer displays, and creates
  // the instance mutex. Failures are only logged. `arguments` is the command line without the program's name.
  CleanupSession(HINSTANCE moduleHandle, wchar_t* arguments, int showState);
  ~CleanupSession();
  CleanupSession(const CleanupSession&) = delete;
  CleanupSession& operator=(const CleanupSession&) = delete;

  // Reads and logs the switches.
  void parseCommandLine();

  // Everything from the first checks to the end of the message loop. Returns the exit code: 0 whatever the outcome, -1
  // when GetMessageW fails. An exception ends the run with one log line.
  int run();

  // Creates the hidden main window unless the run is silent, then extracts and reads the manifest. Returns 0 when the
  // window cannot be created, else 1. Throws what parseScrubList throws.
  int initializeWindow();

  // Runs the sequence, or restarts the machine into safe mode. Always returns 1.
  int decideAndStart();

  // The whole cleanup: consent, restore point, all stages in their fixed order, outcome. Reports through the log and
  // the failure lists.
  void runCleanupSequence();

  // The end of the sequence: logs what failed, retries applications, decides the outcome, writes the report, restores
  // the system state, announces a restart, ends the run.
  void finishRun();

  // Turns safe mode off for the next boot and restores the driver search.
  void restoreSystemState();

  // Shows the outcome; from there the user opens the report and ends the run.
  void showFinishDialog();

  // The end of an interactive run, called by the finish dialog: closes it, asks about the restart, and quits or
  // restarts.
  void onFinish(HWND dialog);

  WorkLists work;
  FailureLists failures;
  ExclusionLists exclusions;
  ScrubList scrubList;
  ScrubListData* scrubListData;  // the records of scrubList
  EligiblePackages packages;
  PackageResults results;
  VulkanTables vulkan;

  Setup deviceUninstaller;              // all devices as they were at the start of the run
  DWORD instanceError = ERROR_SUCCESS;  // GetLastError straight after the mutex was created
  KernelHandle instanceMutex;
  Setup secondDeviceUninstaller;  // not used; where Windows refuses a device set, its error is logged twice

  HINSTANCE instance;
  wchar_t* commandLine;
  std::int32_t showCommand;
  LANGID uiLanguage;
  Switches switches;
  bool cleanupEnabled = true;  // never cleared; if it were false, the sequence would end early

  MainWindow mainWindow;
  HWND finishDialog = nullptr;  // modeless; null while there is none
  SavedDriverSearch driverSearch;
  std::wstring tempPath;       // GetTempPathW
  std::wstring workDirectory;  // the work folder; from initializeWindow on the path of the extracted manifest

  std::int32_t outcome = 0;    // see decideOutcome
  bool quitRequested = false;  // makes the run end when the sequence has returned
};
