// os_cosservices.h: starting and stopping the services layer as one unit.
//
// Contract: OsServicesStart is the first call of a process that uses the
// services and OsServicesStop its last. Start reads the module's built-in
// description (g_szOsXml), decides the unique name, entity, log file and
// debug level, and creates the process-wide objects in the order string,
// log, memory, configuration, locale (g_posstring ... g_poslocale). Stop
// destroys them in the reverse order, withdraws the services arguments block
// from the environment and resets every static of the runtime, so that a
// second start in the same process behaves like the first. Neither reports a
// failure: a utility whose directories cannot be set up logs
// "SetDirectories failed..." and leaves the services unstarted.
//
// The services arguments block is an XML text (at most 2,048 bytes) by which
// a process hands its logging set-up to the processes it starts, through the
// environment variables QRB_OSSERVICESARGUMENTS, QRB_OSSERVICESARGUMENTS_<pid>_<tid>
// and QRB_OSSERVICESARGUMENTSUNICODE (see COsCfg::OsCfgServicesArgumentsGet,
// SetAndLock and Clear, which live with the runtime). Every text argument is
// the caller's and is copied; none is kept.
//
// What a program does before OsServicesStart: it defines its module
// description g_szOsXml (below; its unique name names its log and its
// directories) and sets g_OsCfgHinstance to g_szOsCfgApplicationMarker
// (os_coscfg.h). Without the marker the services take themselves for a
// library inside another program: the log reports the program as a library
// and looks for the services' own module file. The smallest program (the
// README's example, built by the packaging test):
//
//   #include <cstdio>
//
//   #include "os_coscfg.h"
//
//   const char *g_szOsXml =
//       "<arguments><uniquename>myprogram</uniquename><entity>application</entity></arguments>";
//
//   int main()
//   {
//     g_OsCfgHinstance = g_szOsCfgApplicationMarker;  // a program, not a library
//     OsServicesStart(nullptr);                       // creates g_poscfg, g_poslog ...
//     std::printf("%s home %s\n", COsCfg::IsLibrary() ? "library" : "program",
//                 g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_HOMEDIRECTORY));
//     OsServicesStop();  // the last call of the services
//     return 0;
//   }
#ifndef OS_COSSERVICES_H
#define OS_COSSERVICES_H

#include "os_types.h"

// The module's built-in description, an "<arguments>" block with the tags
// uniquename, entity, logfile, loglevel, logfilter, memorymethod,
// forcesetaccess, inherit and version (major ... year). The library holds a
// weak default (unique name from the module file, entity application); a
// program defines its own or assigns the pointer before OsServicesStart.
extern const char *g_szOsXml;

// a_szArguments: the caller arguments block, handed unchanged to the
// configuration (cfgsectionptr, cfgtagptr, cfgdataptr); may be null.
void OsServicesStart(const char *a_szArguments);
void OsServicesStop();

// Fills the services arguments block. With a_szBlock the block is taken over
// as it is (its logfile, logmodel and loglevel are applied when the matching
// pointer argument is not null); without it the block is composed from the
// configuration (or from the arguments before the configuration exists).
// Null texts stand for "not given". Nothing happens when the module
// description says "<inherit>false</inherit>".
void OsServicesSetArguments(const char *a_szLogPath, const char *a_szLogModel, const char *a_szLogLevel,
                            const char *a_szBlock, const char *a_szRootPath, bool a_blFromInterfaceOpen,
                            bool a_blForceSetAccess);

// Takes over the logging set-up of the program on whose behalf a driver
// interface is opened; a_szOpenText must contain "<interfaceopen>", anything
// else is ignored.
void OsServicesProcessInterfaceOpen(const char *a_szOpenText);

// Read-only views of the runtime's state, for the configuration: whether
// this process owns the services set-up (it does not run under a parent's
// inherited block), the root path and the caller's unique name taken from an
// inherited block (empty when none). Valid between start and stop.
bool OsServicesIsTopMostInvocation();
const char *OsServicesGetWriteableRootPath();
const char *OsServicesGetUniqueNameCaller();

#endif  // OS_COSSERVICES_H
