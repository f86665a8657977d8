// oslinux.cpp: the two actions of the hot-plug helper on this platform and
// the device presence probe, which runs <lib>/deviceprobe once per process.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "os_cosfile.h"
#include "os_coslog.h"
#include "os_cosstring.h"
#include "pnphelper.h"

extern char **environ;

namespace
{

// Appends a_szWord as one word of a shell command: as it is when it holds
// only [A-Za-z0-9/._+-], otherwise in single quotes (a quote inside written
// '\'').
void AppendShellWord(char *a_szCommand, uint32_t a_u32Size, const char *a_szWord)
{
  const char *const szPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._+-";
  if (!a_szWord[std::strspn(a_szWord, szPlain)])
  {
    COsString::SStrCat(a_szCommand, a_u32Size, a_szWord);
    return;
  }
  COsString::SStrCat(a_szCommand, a_u32Size, "'");
  for (const char *sz = a_szWord; *sz; sz++)
  {
    const char szChar[2] = {*sz, '\0'};
    COsString::SStrCat(a_szCommand, a_u32Size, (*sz == '\'') ? "'\\''" : szChar);
  }
  COsString::SStrCat(a_szCommand, a_u32Size, "'");
}

// Runs a_szCommand with "/bin/sh -c" in a process group of its own, like
// system(), but kills the group when it is still running after a_iSeconds.
// The result is 0 only for a command that exited with 0.
int RunBounded(const char *a_szCommand, int a_iSeconds)
{
  char szShell[] = "/bin/sh";
  char szOption[] = "-c";
  char *apszArgv[] = {szShell, szOption, const_cast<char *>(a_szCommand), nullptr};
  posix_spawnattr_t attr;
  if (posix_spawnattr_init(&attr) != 0)
  {
    return -1;
  }
  pid_t pid = -1;
  const bool blStarted = posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP) == 0 &&
                         posix_spawnattr_setpgroup(&attr, 0) == 0 &&
                         posix_spawn(&pid, szShell, nullptr, &attr, apszArgv, environ) == 0;
  posix_spawnattr_destroy(&attr);
  if (!blStarted)
  {
    return -1;
  }
  struct timespec tsStart;
  clock_gettime(CLOCK_MONOTONIC, &tsStart);
  int iStatus = 0;
  unsigned uSleep = 100;  // microseconds
  for (;;)
  {
    const pid_t pidDone = waitpid(pid, &iStatus, WNOHANG);
    if (pidDone == pid || (pidDone < 0 && errno != EINTR))
    {
      return (pidDone == pid) ? iStatus : -1;
    }
    if (PnpHelperWaitOver(tsStart, a_iSeconds))
    {
      OSLOG(EOSLOGFLAG_ERROR, "deviceprobe killed after %d seconds...<%s>", a_iSeconds, a_szCommand);
      (void)kill(-pid, SIGKILL);
      while (waitpid(pid, &iStatus, 0) < 0 && errno == EINTR)
      {
      }
      return -1;
    }
    // Short probes end within milliseconds: look again soon, then less often.
    usleep(static_cast<useconds_t>(uSleep));
    uSleep = (uSleep < 20000) ? uSleep * 2 : uSleep;
  }
}

}  // namespace

uint32_t CPnpHelper::Add()
{
  OSLOGDBG("Add() Enter for Linux");
  const uint32_t u32Status = WriteableAdd();
  OSLOGDBG("Add() Exit for Linux");
  return u32Status;
}

uint32_t CPnpHelper::Remove()
{
  OSLOGDBG("Remove() Enter for Linux");
  const uint32_t u32Status = WriteableRemove();
  OSLOGDBG("Remove() Exit for Linux");
  return u32Status;
}

bool CPnpHelper::DeviceConnected(bool a_blFallback)
{
  OSLOGDBG("DeviceConnected() Enter");
  if (m_blProbeDone)
  {
    OSLOGDBG("we already checked: %d", m_blDeviceConnected);
    return m_blDeviceConnected;
  }

  char szCommand[OS_SIZE_TEXT];
  COsFile::PathSet(szCommand, sizeof(szCommand), m_szLibPath);
  COsFile::PathAppend(szCommand, sizeof(szCommand), "deviceprobe");
  if (!COsFile::Exists(szCommand))
  {
    // Not marked as done: a later call looks again.
    OSLOG(EOSLOGFLAG_ASSERT, "deviceprobe is missing: %s", szCommand);
    m_blDeviceConnected = a_blFallback;
  }
  else
  {
    // Only the program path may need quoting: the list holds nothing but
    // hexadecimal digits, "," and ";".
    char szProgram[sizeof(szCommand)];
    COsString::SStrCpy(szProgram, sizeof(szProgram), szCommand);
    szCommand[0] = '\0';
    AppendShellWord(szCommand, sizeof(szCommand), szProgram);
    COsString::SStrCat(szCommand, sizeof(szCommand), " \"");
    COsString::SStrCat(szCommand, sizeof(szCommand), m_szVidPids);
    COsString::SStrCat(szCommand, sizeof(szCommand), "\"");
    OSLOGDBG("call deviceprobe: %s", szCommand);
    // Any non-zero answer (exit status, signal, no shell) is "not attached".
    const int iResult = RunBounded(szCommand, PnpHelperWaitSeconds());
    m_blProbeDone = true;
    m_blDeviceConnected = (iResult == 0);
  }

  OSLOGDBG("DeviceConnected() Exit: %d", m_blDeviceConnected);
  return m_blDeviceConnected;
}
