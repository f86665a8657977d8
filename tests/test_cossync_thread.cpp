// test_cossync_thread.cpp: the spin lock under contention, and the process
// and thread queries (identifiers, liveness probe, privilege level,
// affinity).
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "os_coscfg.h"
#include "os_cossync.h"
#include "os_costhread.h"

TEST(SpinLock, ZeroWordIsFreeAndNoWaitReportsHeldEvenToAnotherThread)
{
  OSSPINLOCK spinlock = 0;
  COsSync::SpinLock(&spinlock);
  EXPECT_EQ(1, spinlock);
  EXPECT_EQ(4u, COsSync::SpinLockNoWait(&spinlock));
  EOSSTS eosstsOther = EOSSTS_OK;
  std::thread([&] { eosstsOther = COsSync::SpinLockNoWait(&spinlock); }).join();
  EXPECT_EQ(4u, eosstsOther);
  EXPECT_EQ(1, spinlock);
  COsSync::SpinUnlock(&spinlock);
  EXPECT_EQ(0, spinlock);
  EXPECT_EQ(0u, COsSync::SpinLockNoWait(&spinlock));
  EXPECT_EQ(1, spinlock);
  COsSync::SpinUnlock(&spinlock);
  COsSync::SpinUnlock(&spinlock);  // unlocking a free lock is harmless
  EXPECT_EQ(0, spinlock);
  // Another thread waits until the lock is given back.
  COsSync::SpinLock(&spinlock);
  std::atomic<bool> blTaken(false);
  std::thread waiter(
      [&]
      {
        COsSync::SpinLock(&spinlock);
        blTaken = true;
        COsSync::SpinUnlock(&spinlock);
      });
  sched_yield();
  EXPECT_FALSE(blTaken);
  COsSync::SpinUnlock(&spinlock);
  waiter.join();
  EXPECT_TRUE(blTaken);
}

TEST(SpinLock, TwoThreadsCountWithoutLosingIncrements)
{
  const int kIterations = 1000000;
  OSSPINLOCK spinlock = 0;
  volatile long lCounter = 0;
  std::atomic<int> iReady(0);
  auto work = [&]
  {
    // Both threads start counting together, so that they really contend.
    iReady++;
    while (iReady < 2)
    {
    }
    for (int ii = 0; ii < kIterations; ii++)
    {
      COsSync::SpinLock(&spinlock);
      lCounter = lCounter + 1;  // a read and a write: loses updates without the lock
      COsSync::SpinUnlock(&spinlock);
    }
  };
  std::thread thread1(work);
  std::thread thread2(work);
  thread1.join();
  thread2.join();
  EXPECT_EQ(2L * kIterations, lCounter);
  EXPECT_EQ(0, spinlock);
}

TEST(ThreadIds, IdentifiersAndTheLivenessProbe)
{
  EXPECT_EQ(static_cast<uint64_t>(getpid()), COsThread::GetProcessId());
  // The main thread's kernel identifier is the process identifier.
  EXPECT_EQ(COsThread::GetProcessId(), COsThread::GetThreadId());
  uint64_t u64Other = 0;
  std::thread([&] { u64Other = COsThread::GetThreadId(); }).join();
  EXPECT_NE(0u, u64Other);
  EXPECT_NE(COsThread::GetThreadId(), u64Other);
  EXPECT_TRUE(COsThread::IsThreadRunning(COsThread::GetProcessId()));
  // Only the low 32 bits name the process.
  EXPECT_TRUE(COsThread::IsThreadRunning((0xABCDull << 32) | COsThread::GetProcessId()));
  // 0 and -1 would name process groups.
  EXPECT_FALSE(COsThread::IsThreadRunning(0));
  EXPECT_FALSE(COsThread::IsThreadRunning(0xFFFFFFFFull));
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0)
  {
    _exit(0);
  }
  int iStatus = 0;
  ASSERT_EQ(pid, waitpid(pid, &iStatus, 0));
  EXPECT_FALSE(COsThread::IsThreadRunning(static_cast<unsigned long long>(pid)));
}

TEST(ThreadIds, ProcessThatMayNotBeSignalledCountsAsNotRunning)
{
  if (geteuid() != 0)
  {
    GTEST_SKIP() << "needs the superuser to drop to another user";
  }
  // A child that gives up the superuser cannot signal its parent (EPERM).
  pid_t pidParent = getpid();
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0)
  {
    bool blOk = setuid(65534) == 0 &&
                !COsThread::IsThreadRunning(static_cast<unsigned long long>(pidParent)) &&
                COsThread::IsThreadRunning(COsThread::GetProcessId());
    _exit(blOk ? 0 : 1);
  }
  int iStatus = -1;
  ASSERT_EQ(pid, waitpid(pid, &iStatus, 0));
  EXPECT_TRUE(WIFEXITED(iStatus));
  EXPECT_EQ(0, WEXITSTATUS(iStatus));
}

TEST(ProcessIntegrity, DependsOnEffectiveUserAndIsCached)
{
  EXPECT_EQ(geteuid() == 0 ? 6u : 4u, COsThread::GetProcessIntegrity());
  if (geteuid() != 0)
  {
    GTEST_SKIP() << "caching across a change of user needs the superuser";
  }
  ASSERT_EQ(0, seteuid(65534));
  uint32_t u32AfterDrop = COsThread::GetProcessIntegrity();
  ASSERT_EQ(0, seteuid(0));
  EXPECT_EQ(6u, u32AfterDrop);
}

TEST(ThreadObject, WithoutImplementationGivesZero)
{
  COsThread osthread;
  EXPECT_EQ(0u, osthread.GetId());
}

namespace
{

// Restores the process's affinity when the test ends.
class AffinityGuard
{
public:
  AffinityGuard() { m_blSaved = sched_getaffinity(0, sizeof(m_cpuset), &m_cpuset) == 0; }
  ~AffinityGuard()
  {
    if (m_blSaved)
    {
      sched_setaffinity(0, sizeof(m_cpuset), &m_cpuset);
    }
    COsThread::AffinitySetGlobalMask(0);
  }
  bool Unchanged() const
  {
    cpu_set_t cpuset = Current();
    return CPU_EQUAL(&cpuset, &m_cpuset);
  }
  static cpu_set_t Current()
  {
    cpu_set_t cpuset;
    CPU_ZERO(&cpuset);
    sched_getaffinity(0, sizeof(cpuset), &cpuset);
    return cpuset;
  }
  const cpu_set_t &Saved() const { return m_cpuset; }

private:
  cpu_set_t m_cpuset;
  bool m_blSaved;
};

// The processor count the affinity call goes by.
bool SeveralProcessors()
{
  return COsCfg::InfoGetLong(OS_CFGINFO_CPU_TOTAL) >= 2;
}

}  // namespace

TEST(Affinity, GlobalMaskIsStoredAndZeroKeepsTheCurrentAffinity)
{
  AffinityGuard guard;
  COsThread::AffinitySetGlobalMask(0x1234567890LL);
  EXPECT_EQ(0x1234567890LL, COsThread::AffinityGetGlobalMask());
  EXPECT_EQ(0u, COsThread::AffinitySetMaskCurrentThread(0));
  EXPECT_EQ(0LL, COsThread::AffinityGetGlobalMask());
  EXPECT_TRUE(guard.Unchanged());
}

TEST(Affinity, MaskSelectsProcessors)
{
  AffinityGuard guard;
  if (!SeveralProcessors() || !CPU_ISSET(1, &guard.Saved()))
  {
    GTEST_SKIP() << "processor 1 is not available to this process";
  }
  EXPECT_EQ(0u, COsThread::AffinitySetMaskCurrentThread(2));
  cpu_set_t cpuset = AffinityGuard::Current();
  EXPECT_EQ(1, CPU_COUNT(&cpuset));
  EXPECT_TRUE(CPU_ISSET(1, &cpuset));
  EXPECT_EQ(2LL, COsThread::AffinityGetGlobalMask());
}

TEST(Affinity, UpperBitsStandForProcessor31)
{
  if (!SeveralProcessors() || sysconf(_SC_NPROCESSORS_CONF) > 31)
  {
    GTEST_SKIP() << "needs a machine with several processors but without a processor 31";
  }
  AffinityGuard guard;
  // Bit 40 selects processor 31 only, which does not exist here: refused.
  EXPECT_EQ(1u, COsThread::AffinitySetMaskCurrentThread(1LL << 40));
  EXPECT_TRUE(guard.Unchanged());
  EXPECT_EQ(1LL << 40, COsThread::AffinityGetGlobalMask());
}
