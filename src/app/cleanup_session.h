// cleanup_session - the one object of a run: ties what it was asked for, its lists and its results together, and has
// the steps of the run as members. What the steps do to the machine is done by the modules below app.
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
  // Sets the installer silent, zeroes the progress value that the maker's installer reads, and creates the instance
  // mutex. Failures only log. `arguments` is the text behind the program's own name.
  CleanupSession(HINSTANCE moduleHandle, wchar_t* arguments, int showState);
  ~CleanupSession();
  CleanupSession(const CleanupSession&) = delete;
  CleanupSession& operator=(const CleanupSession&) = delete;

  // Reads and logs the switches.
  void parseCommandLine();

  // Everything from the checks to the end of the message loop. Returns the exit code: 0 whatever the outcome of the
  // cleanup, -1 when GetMessageW fails. Exceptions end the run with one log line.
  int run();

  // Creates the hidden main window unless the run is silent, extracts and reads the manifest. Returns 0 when the window
  // cannot be created, else 1. Throws what the manifest's reader throws.
  int initializeWindow();

  // Runs the sequence in place, or restarts the machine into safe mode, or asks which of the two. Returns 1.
  int decideAndStart();

  // The whole cleanup: consent, restore point, every stage in its fixed order, outcome. Reports through the log and the
  // failure lists.
  void runCleanupSequence();

  // The tail of the sequence: lists what failed, decides the outcome, leaves word that a restart is due, ends the run.
  void finishRun();

  // Takes safe mode out of the boot settings and puts the driver search back. Part of every run that got to its end.
  void restoreSystemState();

  // Shows the outcome to the user, who looks at the report and finishes the run from there.
  void showFinishDialog();

  // The end of an interactive run: asks for the restart and either quits or restarts. Called by the dialog that it
  // ends.
  void onFinish(HWND dialog);

  WorkLists work;
  FailureLists failures;
  ExclusionLists exclusions;
  ScrubList scrubList;
  ScrubListData* scrubListData;  // the records of scrubList
  EligiblePackages packages;
  PackageResults results;
  VulkanTables vulkan;

  Setup deviceUninstaller;              // the devices of the machine as they were at the start of the run
  DWORD instanceError = ERROR_SUCCESS;  // GetLastError straight after the mutex was created
  KernelHandle instanceMutex;
  Setup secondDeviceUninstaller;  // nothing uses it; a machine that refuses a device set says so twice

  HINSTANCE instance;
  wchar_t* commandLine;
  std::int32_t showCommand;
  LANGID uiLanguage;
  Switches switches;
  bool cleanupEnabled = true;  // nothing clears it; the sequence ends early when it is false

  MainWindow mainWindow;
  HWND finishDialog = nullptr;  // modeless; null while there is none
  SavedDriverSearch driverSearch;
  std::wstring tempPath;       // GetTempPathW
  std::wstring workDirectory;  // the work folder; from initializeWindow on the path of the extracted manifest

  std::int32_t outcome = 0;    // see decideOutcome
  bool quitRequested = false;  // once it is set, the run ends when the sequence has returned
};
