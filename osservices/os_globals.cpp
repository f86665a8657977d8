// os_globals.cpp: the process-wide service pointers. They are defined apart
// from the classes so that every class can test them before its own object
// exists; services start-up sets them and shut-down clears them.
#include "os_types.h"

COsString *g_posstring = nullptr;
COsLog *g_poslog = nullptr;
COsMem *g_posmem = nullptr;
COsCfg *g_poscfg = nullptr;
COsLocale *g_poslocale = nullptr;
