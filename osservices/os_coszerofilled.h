// os_coszerofilled.h: a base for the large implementation objects that start
// from all zeros (the configuration, the log, the memory service).
//
// Contract: an object of a class derived from COsZeroFilled is mapped from
// fresh anonymous pages, so every byte is zero before its constructor runs,
// and the constructor must not clear it again. These objects are large (70
// KB to over a megabyte) and mostly unused at first: the kernel hands out
// zero pages only as they are touched, where a memset (or calloc, which
// clears heap memory) would write every page at every start. new (nothrow)
// returns null when no pages are left; delete unmaps. Internal to the
// library; not installed.
#ifndef OS_COSZEROFILLED_H
#define OS_COSZEROFILLED_H

#include <sys/mman.h>

#include <cstddef>
#include <new>

class COsZeroFilled
{
public:
  static void *operator new(size_t a_sizet, const std::nothrow_t &) noexcept
  {
    void *pv = mmap(nullptr, a_sizet, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return (pv == MAP_FAILED) ? nullptr : pv;
  }
  static void operator delete(void *a_pv, size_t a_sizet) noexcept
  {
    if (a_pv)
    {
      (void)munmap(a_pv, a_sizet);
    }
  }
};

#endif  // OS_COSZEROFILLED_H
