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
#include "os_testutil.h"

TEST(SpinLock, ZeroWordIsFreeAndNoWaitReportsHeldEvenToAnotherThread)
{
  OSSPINLOCK spinlock = 0;
  COsSync::SpinLock(&spinlock);
  EXPECT_EQ(1, spinlock);
  EOSSTS eosstsOther = EOSSTS_OK;
  std::thread([&] { eosstsOther = COsSync::SpinLockNoWait(&spinlock); }).join();
  EXPECT_EQ(4u, eosstsOther);
  COsSync::SpinUnlock(&spinlock);
  EXPECT_EQ(0u, COsSync::SpinLockNoWait(&spinlock));
  COsSync::SpinUnlock(&spinlock);
  COsSync::SpinUnlock(&spinlock);  // unlocking a free lock is harmless
  EXPECT_EQ(0, spinlock);
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
}

TEST(ThreadIds, IdentifiersAndTheLivenessProbe)
{
  EXPECT_EQ(static_cast<uint64_t>(getpid()), COsThread::GetProcessId());
  // The main thread's kernel identifier is the process identifier.
  EXPECT_EQ(COsThread::GetProcessId(), COsThread::GetThreadId());
  uint64_t u64Other = 0;
  std::thread([&] { u64Other = COsThread::GetThreadId(); }).join();
  EXPECT_NE(COsThread::GetThreadId(), u64Other);
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
  ASSERT_EQ(pid, waitpid(pid, nullptr, 0));
  EXPECT_FALSE(COsThread::IsThreadRunning(static_cast<unsigned long long>(pid)));  // reaped
}

TEST(ThreadIds, ProcessThatMayNotBeSignalledCountsAsNotRunning)
{
  // A child that gives up the superuser cannot signal its parent (EPERM).
  const unsigned long long u64Parent = COsThread::GetProcessId();
  EXPECT_TRUE(ostest::RunAsNobody(
      [u64Parent] {
        return !COsThread::IsThreadRunning(u64Parent) &&
               COsThread::IsThreadRunning(COsThread::GetProcessId());
      }));
}

TEST(ProcessIntegrity, DependsOnEffectiveUserAndIsCached)
{
  EXPECT_EQ(6u, COsThread::GetProcessIntegrity());  // the tests run as the superuser
  ASSERT_EQ(0, seteuid(65534));
  const uint32_t u32AfterDrop = COsThread::GetProcessIntegrity();
  ASSERT_EQ(0, seteuid(0));
  EXPECT_EQ(6u, u32AfterDrop);
}

namespace
{

cpu_set_t CurrentAffinity()
{
  cpu_set_t cpuset;
  CPU_ZERO(&cpuset);
  sched_getaffinity(0, sizeof(cpuset), &cpuset);
  return cpuset;
}

// Restores the process's affinity and the global mask after the test.
class Affinity : public ::testing::Test
{
protected:
  void TearDown() override
  {
    sched_setaffinity(0, sizeof(m_cpuset), &m_cpuset);
    COsThread::AffinitySetGlobalMask(0);
  }
  const cpu_set_t m_cpuset = CurrentAffinity();
};

}  // namespace

TEST_F(Affinity, ZeroKeepsTheCurrentAffinityAndAMaskSelectsProcessors)
{
  COsThread::AffinitySetGlobalMask(2);
  EXPECT_EQ(0u, COsThread::AffinitySetMaskCurrentThread(0));
  EXPECT_EQ(0LL, COsThread::AffinityGetGlobalMask());
  cpu_set_t cpuset = CurrentAffinity();
  EXPECT_TRUE(CPU_EQUAL(&cpuset, &m_cpuset));
  // The call goes by the configured processor count.
  if (COsCfg::InfoGetLong(OS_CFGINFO_CPU_TOTAL) < 2 || !CPU_ISSET(1, &m_cpuset))
  {
    GTEST_SKIP() << "processor 1 is not available to this process";
  }
  EXPECT_EQ(0u, COsThread::AffinitySetMaskCurrentThread(2));
  cpuset = CurrentAffinity();
  EXPECT_EQ(1, CPU_COUNT(&cpuset));
  EXPECT_TRUE(CPU_ISSET(1, &cpuset));
  EXPECT_EQ(2LL, COsThread::AffinityGetGlobalMask());
}
