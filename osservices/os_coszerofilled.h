// os_coszerofilled.h: a base for the large implementation objects that start
// from all zeros (the configuration, the log, the memory service).
//
// Contract: an object of a class derived from COsZeroFilled comes from
// calloc, so every byte is zero before its constructor runs, and the
// constructor must not clear it again. Objects of a hundred kilobytes and
// more are mostly unused at first: calloc hands out fresh zero pages from the
// kernel, where a memset would write every page at every start. Both forms of
// new return null when memory is short (no exceptions); delete frees.
// Internal to the library; not installed.
#ifndef OS_COSZEROFILLED_H
#define OS_COSZEROFILLED_H

#include <cstddef>
#include <cstdlib>
#include <new>

class COsZeroFilled
{
public:
  static void *operator new(size_t a_sizet, const std::nothrow_t &) noexcept { return calloc(1, a_sizet); }
  static void operator delete(void *a_pv) noexcept { free(a_pv); }
};

#endif  // OS_COSZEROFILLED_H
