// pnphelper.h: the hot-plug helper that the device manager runs when a
// scanner it serves is attached ("action:add") or detached
// ("action:remove").
//
// Contract: one CPnpHelper handles one event in one process. Run() reads the
// command line, loads the settings and runs the action; its result is the
// process's exit status: 0 done, nothing to do or unknown action; 150/160
// resource PNPHELPER missing or too large; 180-186 a malformed scanner list;
// 200 the writeable root is missing; 210 copying the model's files failed;
// 250 removing them failed (main adds 100: the object could not be made).
// The object owns no heap memory: every buffer is a fixed-size member, filled
// with zero bytes by the constructor and the destructor.
//
// Add and remove runs of one installation are serialised by an exclusive
// flock on a lock file that only the program's owner can open (/run for
// root; see CPnpHelperLock), held from before the old mirror is deleted
// until the action ends. A run waits for it at most PnpHelperWaitSeconds(),
// then logs "Unable to lock writeable root...<root>" and fails (210 add, 250
// remove). A writeable root that puts the mirror at, inside or above the
// user-root directory is refused the same way, before anything is deleted
// and before the probe runs.
// Both are safety additions: without them a user could hold every event
// forever, and "writeable=/" would delete the user-root directory.
#ifndef PNPHELPER_H
#define PNPHELPER_H

#include <cstdint>
#include <ctime>

#include "os_cosfile.h"
#include "os_types.h"

class CPnpHelper
{
public:
  CPnpHelper();
  ~CPnpHelper();
  CPnpHelper(const CPnpHelper &) = delete;
  CPnpHelper &operator=(const CPnpHelper &) = delete;

  // Parses "action:<word>" (the last one wins) and runs the action.
  uint32_t Run(int a_iArgc, char **a_pszArgv);

  // Fills the paths from the configuration and loads the scanner list from
  // the resource PNPHELPER: 0, 150, 160 or 180-186.
  uint32_t InitializeSettings();
  // Turns the <scanner> section of the resource text into "vid,pid;...":
  // 0 or 180-186.
  uint32_t InitializeVidPids();

  // The two actions (oslinux.cpp).
  uint32_t Add();
  uint32_t Remove();
  // True when a listed scanner is attached; runs <lib>/deviceprobe through
  // the shell once per process. a_blFallback answers when it is missing.
  // The program path is quoted for the shell when it holds any character
  // outside [A-Za-z0-9/._+-]. A probe still running after
  // PnpHelperWaitSeconds() is killed with its process group and counts as
  // not attached, like any probe ended by a signal (a safety addition: the
  // hot-plug lock is held while the probe runs).
  bool DeviceConnected(bool a_blFallback);

  // Refreshes the writeable mirror of the model's user-root directory: 0,
  // 200 or 210.
  uint32_t WriteableAdd();
  // Deletes the mirror unless a listed scanner is still attached: 0 or 250.
  uint32_t WriteableRemove();
  // Whether an action may touch the mirror: false, with a line at flag 1,
  // when the hot-plug lock is not held (a_blLocked) or when the mirror is
  // the user-root directory, lies inside it or holds it ("." and ".." and
  // trusted links resolved).
  bool MirrorUsable(bool a_blLocked);

private:
  char m_szWriteablePath[OS_SIZE_PATH];       // [dsIdentity] writeable; empty: no override
  char m_szWriteableModelPath[OS_SIZE_PATH];  // writeable path + the model's user-root directory
  char m_szLibPath[OS_SIZE_PATH];             // home directory + "lib": where deviceprobe lives
  char m_szResource[OS_SIZE_TEXT];            // text of the resource PNPHELPER
  char m_szVidPids[OS_SIZE_PATH];             // "vid,pid;vid,pid" in lower-case hexadecimal
  bool m_blProbeDone;                         // deviceprobe ran in this process
  bool m_blDeviceConnected;                   // its answer
};

// Seconds that a run waits for the hot-plug lock, and that deviceprobe may
// run before it is killed: 60, or QRB_PNPHELPERWAIT when that holds a number
// from 1 to 59 (a knob for tests; it can only shorten the waits).
int PnpHelperWaitSeconds();
// True once a_iSeconds have passed since a_tsStart (CLOCK_MONOTONIC).
bool PnpHelperWaitOver(const struct timespec &a_tsStart, int a_iSeconds);

// Copy rule of the mirror, handed to COsFile::CopyDirectory: the whole
// "profiles" directory (6), every ".ini" file and every "usb*.lock" file (0,
// any case), nothing else (8); other directories are looked into (0).
EOSSTS WriteableCallBack(OsFileCopyDirectoryInfo *a_posfilecopydirectoryinfo);

#endif  // PNPHELPER_H
