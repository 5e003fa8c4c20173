// resource_ids - numbers of the resources in the executable. Included by the resource script too: macros only.
#pragma once

#define IDR_SCRUB_LIST 120

#define IDS_WINDOW_TITLE 103
#define IDS_WINDOW_CLASS 109

#define IDI_PROGRAM 107
#define IDR_MAIN_MENU 109
#define IDR_ACCELERATORS 109

#define IDM_ABOUT 104
#define IDM_EXIT 105
