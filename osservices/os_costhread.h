// os_costhread.h: process and thread queries, processor affinity.
//
// Contract: the static members answer for the calling process and thread
// and cannot fail, except AffinitySetMaskCurrentThread, which returns 0 on
// success and 1 when the system refuses the processor set (logged at flag
// 64). The privilege level (6 for the superuser, 4 otherwise) is computed
// once and cached; the global affinity mask is the last value stored. Both
// are plain process-wide values: concurrent writers always store the same
// or a caller-chosen value, so no lock is taken.
//
// A COsThread object stands for a thread of the family's multi-threaded
// programs; this library does not start threads, so an object has no
// implementation and its members log "m_posthreadimpl is null..." and give 0.
#ifndef OS_COSTHREAD_H
#define OS_COSTHREAD_H

#include <cstdint>

#include "os_types.h"

class COsThreadImpl;

class COsThread
{
public:
  COsThread() = default;
  ~COsThread() = default;
  COsThread(const COsThread &) = delete;
  COsThread &operator=(const COsThread &) = delete;

  // The identifier kept by the thread object; 0 without an implementation.
  uint64_t GetId();

  // The kernel's identifier of the calling thread.
  static uint64_t GetThreadId();
  // The identifier of the calling process.
  static uint64_t GetProcessId();
  // True when the process whose identifier is the low 32 bits of a_u64Id
  // exists and may be signalled (a signal-0 probe); a process that exists
  // but may not be signalled counts as not running, and so do 0 and values
  // that are not process identifiers.
  static bool IsThreadRunning(unsigned long long a_u64Id);
  // 6 when the effective user is the superuser, else 4; cached.
  static uint32_t GetProcessIntegrity();
  // Stores the global affinity mask.
  static void AffinitySetGlobalMask(long long a_llMask);
  // The global affinity mask last stored.
  static long long AffinityGetGlobalMask();
  // Stores the mask and, on a machine with several processors, binds the
  // process to processors 0 to 31 of the mask (bit 31 also stands for every
  // processor above it; 0 keeps the current affinity). 0 done, 1 refused.
  [[nodiscard]] static EOSSTS AffinitySetMaskCurrentThread(long long a_llMask);

private:
  COsThreadImpl *m_posthreadimpl = nullptr;
};

#endif  // OS_COSTHREAD_H
