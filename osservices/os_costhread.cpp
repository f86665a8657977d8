// os_costhread.cpp: process and thread queries, processor affinity (see
// os_costhread.h).
#include "os_costhread.h"

#include <errno.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "os_coscfg.h"
#include "os_coslog.h"

namespace
{

long long s_llAffinityMask = 0;
uint32_t s_u32Integrity = 0;  // 0 until first asked

const uint32_t kIntegrityHigh = 6;    // effective user is the superuser
const uint32_t kIntegrityMedium = 4;  // any other user

// The low 32 bits of a mask as a processor set; bit 31 also stands for
// every processor above 31, which are never selected themselves.
void MaskToSet(long long a_llMask, cpu_set_t *a_pcpuset)
{
  uint64_t u64Mask = static_cast<uint64_t>(a_llMask);
  if (u64Mask >> 32)
  {
    u64Mask |= 0x80000000u;
  }
  CPU_ZERO(a_pcpuset);
  for (int ii = 0; ii < 32; ii++)
  {
    if (u64Mask & (1ull << ii))
    {
      CPU_SET(ii, a_pcpuset);
    }
  }
}

// The first 32 processors of a set as a mask.
long long SetToMask(const cpu_set_t *a_pcpuset)
{
  long long llMask = 0;
  for (int ii = 0; ii < 32; ii++)
  {
    if (CPU_ISSET(ii, a_pcpuset))
    {
      llMask |= 1ll << ii;
    }
  }
  return llMask;
}

}  // namespace

uint64_t COsThread::GetId()
{
  // Thread objects are never started by this library, so no object has an
  // implementation to ask.
  if (!m_posthreadimpl)
  {
    OSLOG(EOSLOGFLAG_ERROR, "m_posthreadimpl is null...");
  }
  return 0;
}

uint64_t COsThread::GetThreadId()
{
  return static_cast<uint64_t>(syscall(SYS_gettid));
}

uint64_t COsThread::GetProcessId()
{
  return static_cast<uint64_t>(getpid());
}

bool COsThread::IsThreadRunning(unsigned long long a_u64Id)
{
  pid_t pid = static_cast<pid_t>(static_cast<uint32_t>(a_u64Id));
  // 0 and negative values would probe process groups, not one process.
  if (pid <= 0)
  {
    return false;
  }
  return kill(pid, 0) == 0;
}

uint32_t COsThread::GetProcessIntegrity()
{
  if (!s_u32Integrity)
  {
    s_u32Integrity = geteuid() == 0 ? kIntegrityHigh : kIntegrityMedium;
  }
  return s_u32Integrity;
}

void COsThread::AffinitySetGlobalMask(long long a_llMask)
{
  s_llAffinityMask = a_llMask;
}

long long COsThread::AffinityGetGlobalMask()
{
  return s_llAffinityMask;
}

EOSSTS COsThread::AffinitySetMaskCurrentThread(long long a_llMask)
{
  AffinitySetGlobalMask(a_llMask);
  if (COsCfg::InfoGetLong(OS_CFGINFO_CPU_TOTAL) < 2)
  {
    return EOSSTS_OK;
  }
  cpu_set_t cpuset;
  if (!a_llMask)
  {
    if (sched_getaffinity(getpid(), sizeof(cpuset), &cpuset) != 0)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "sched_getaffinity failed...");
      return EOSSTS_FAIL;
    }
    a_llMask = SetToMask(&cpuset);
  }
  MaskToSet(a_llMask, &cpuset);
  // On Linux the process identifier names the main thread, not the caller.
  if (sched_setaffinity(getpid(), sizeof(cpuset), &cpuset) != 0)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "sched_setaffinity failed...%d",
          static_cast<int>(static_cast<uint32_t>(a_llMask)));
    return EOSSTS_FAIL;
  }
  sched_yield();
  return EOSSTS_OK;
}
