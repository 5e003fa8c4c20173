// resource_ids - numbers of the resources in the executable. Included by the resource script too: macros only.
#pragma once

#define IDR_SCRUB_LIST 120

#define IDS_WINDOW_TITLE 103
#define IDS_WINDOW_CLASS 109

#define IDD_ABOUT 103
#define IDD_FINISH 135
#define IDD_SPLASH 161

#define IDB_FAILURE 136
#define IDB_SUCCESS 137
#define IDB_WARNINGS 138
#define IDB_SPLASH 163

#define IDI_PROGRAM 107
#define IDR_MAIN_MENU 109
#define IDR_ACCELERATORS 109

#define IDM_ABOUT 104
#define IDM_EXIT 105

#define IDC_VIEW_REPORT 1000
#define IDC_OUTCOME_TEXT 1001

#define IDC_SPLASH_CAPTION 1004
#define IDC_SPLASH_DOTS 1005
#define IDC_SPLASH_HEADLINE 1013
#define IDC_SPLASH_MINIMISE 1014
