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

// The program's icon.
#define IDI_FERRYMARK 1

// Images of the target list: 12 to 16 for Prepar3D v1 to v5; 10 and 11 are
// carried in the same size and not loaded.
#define IDB_SIMULATOR_A 10
#define IDB_SIMULATOR_B 11
#define IDB_PREPAR3D_V1 12
#define IDB_PREPAR3D_V2 13
#define IDB_PREPAR3D_V3 14
#define IDB_PREPAR3D_V4 15
#define IDB_PREPAR3D_V5 16

// SimBase launch document templates, written out as they are.
#define IDR_SIMBASE_V1_DLL 20
#define IDR_SIMBASE_V1_EXE 21
#define IDR_SIMBASE_V3_DLL 22
#define IDR_SIMBASE_V3_EXE 23

// The version block written into the target's copy of its executable.
#define IDV_FSX_VERSION 50

// The launcher stub's whole image.
#define IDR_LAUNCHER_STUB 60

#define IDD_ABOUT 700
#define IDC_ABOUT_ICON 701
#define IDC_ABOUT_NAME 702
#define IDC_ABOUT_PURPOSE 703
#define IDC_ABOUT_VERSION 704

#define IDD_SIMULATOR 800
#define IDC_SIMULATOR_HEADING 801
#define IDC_SIMULATOR_LOCATION 802
#define IDC_SIMULATOR_BROWSE 803
#define IDC_SIMULATOR_REMOVE 804
#define IDC_SIMULATOR_APPLY 805

#define IDD_ACTIVATION 900
#define IDC_ACTIVATION_PROMPT 901
#define IDC_ACTIVATION_CODE 902
#define IDC_ACTIVATION_STATUS 903
