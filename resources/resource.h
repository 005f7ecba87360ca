// Identifiers of the program's resources and controls.
#pragma once

#define IDR_MAIN_MENU 100
#define IDM_FILE_EXIT 200
#define IDM_HELP_MANUAL 500
#define IDM_HELP_UPDATES 501
#define IDM_HELP_ABOUT 502

#define IDD_MAIN 600
#define IDC_TARGET_COMBO 604
#define IDC_TARGET_BUTTON 605
#define IDC_SIMULATOR_LIST 606
