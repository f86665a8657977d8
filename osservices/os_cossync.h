// os_cossync.h: the process-local spin lock of the services.
//
// Contract: a lock is one pointer-sized word (OSSPINLOCK) owned by whoever
// guards state with it, usually a static word or a member of the guarded
// object. 0 means free and 1 held; a zero-initialised word is a free lock,
// so no set-up or tear-down is needed. SpinLock waits (yielding the
// processor) until it holds the lock; SpinLockNoWait tries once and returns
// 0 (taken) or 4 (already held); SpinUnlock stores 0 without checking the
// owner. The lock is not re-entrant: taking it twice on one thread spins for
// ever, so keep guarded regions short and never log or allocate inside one
// through a path that takes the same lock. It serialises the threads of one
// process only.
#ifndef OS_COSSYNC_H
#define OS_COSSYNC_H

#include <cstdint>

#include "os_types.h"

// The lock word.
typedef volatile intptr_t OSSPINLOCK;

class COsSync
{
public:
  // Returns once the caller holds the lock.
  static void SpinLock(OSSPINLOCK *a_pspinlock);
  // One attempt: 0 when the lock was taken, 4 when it was already held.
  [[nodiscard]] static EOSSTS SpinLockNoWait(OSSPINLOCK *a_pspinlock);
  // Releases the lock (harmless on a free lock).
  static void SpinUnlock(OSSPINLOCK *a_pspinlock);
};

#endif  // OS_COSSYNC_H
