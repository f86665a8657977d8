// os_cossync.cpp: the process-local spin lock (see os_cossync.h).
#include "os_cossync.h"

#include <sched.h>

namespace
{

// One locked compare-and-exchange from 0 to 1 with a full barrier; true when
// the word was 0.
bool TryTake(OSSPINLOCK *a_pspinlock)
{
  intptr_t iptrExpected = 0;
  return __atomic_compare_exchange_n(a_pspinlock, &iptrExpected, 1, false, __ATOMIC_SEQ_CST,
                                     __ATOMIC_SEQ_CST);
}

}  // namespace

void COsSync::SpinLock(OSSPINLOCK *a_pspinlock)
{
  while (!TryTake(a_pspinlock))
  {
    sched_yield();
  }
}

EOSSTS COsSync::SpinLockNoWait(OSSPINLOCK *a_pspinlock)
{
  return TryTake(a_pspinlock) ? EOSSTS_OK : EOSSTS_LOCKHELD;
}

void COsSync::SpinUnlock(OSSPINLOCK *a_pspinlock)
{
  // A release store, so that the guarded writes are seen before the lock is free.
  __atomic_store_n(a_pspinlock, 0, __ATOMIC_RELEASE);
}
