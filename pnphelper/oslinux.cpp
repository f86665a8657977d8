// oslinux.cpp: the two actions of the hot-plug helper on this platform and
// the device presence probe, which runs <lib>/deviceprobe once per process.
#include <pthread.h>
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

// Starts "/bin/sh -c a_szCommand" in a process group of its own, with the
// signal mask a_psetMask; returns its pid, or -1.
pid_t SpawnShell(const char *a_szCommand, const sigset_t *a_psetMask)
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
  const bool blStarted = posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK) == 0 &&
                         posix_spawnattr_setpgroup(&attr, 0) == 0 &&
                         posix_spawnattr_setsigmask(&attr, a_psetMask) == 0 &&
                         posix_spawn(&pid, szShell, nullptr, &attr, apszArgv, environ) == 0;
  posix_spawnattr_destroy(&attr);
  return blStarted ? pid : -1;
}

// Waits for a_pid, with SIGCHLD blocked in a_setChild: a child's end wakes
// the wait at once. Each wait lasts at most 20 ms, so an exit whose signal
// never comes (SIGCHLD ignored) is still seen. After a_iSeconds the process
// group is killed. The result is the wait status, or -1.
int WaitBounded(pid_t a_pid, const sigset_t &a_setChild, int a_iSeconds, const char *a_szCommand)
{
  struct timespec tsStart;
  clock_gettime(CLOCK_MONOTONIC, &tsStart);
  int iStatus = 0;
  for (;;)
  {
    const pid_t pidDone = waitpid(a_pid, &iStatus, WNOHANG);
    if (pidDone == a_pid || (pidDone < 0 && errno != EINTR))
    {
      return (pidDone == a_pid) ? iStatus : -1;
    }
    if (PnpHelperWaitOver(tsStart, a_iSeconds))
    {
      OSLOG(EOSLOGFLAG_ERROR, "deviceprobe killed after %d seconds...<%s>", a_iSeconds, a_szCommand);
      (void)kill(-a_pid, SIGKILL);
      while (waitpid(a_pid, &iStatus, 0) < 0 && errno == EINTR)
      {
      }
      return -1;
    }
    const struct timespec tsSlice = {0, 20 * 1000 * 1000};
    (void)sigtimedwait(&a_setChild, nullptr, &tsSlice);
  }
}

// Runs a_szCommand with "/bin/sh -c" in a process group of its own, like
// system(), but kills the group when it is still running after a_iSeconds.
// The shell gets the caller's signal mask. The result is 0 only for a
// command that exited with 0.
int RunBounded(const char *a_szCommand, int a_iSeconds)
{
  sigset_t setChild;
  sigset_t setOld;
  sigemptyset(&setChild);
  sigaddset(&setChild, SIGCHLD);
  if (pthread_sigmask(SIG_BLOCK, &setChild, &setOld) != 0)
  {
    return -1;
  }
  const pid_t pid = SpawnShell(a_szCommand, &setOld);
  const int iStatus = (pid < 0) ? -1 : WaitBounded(pid, setChild, a_iSeconds, a_szCommand);
  (void)pthread_sigmask(SIG_SETMASK, &setOld, nullptr);
  return iStatus;
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
