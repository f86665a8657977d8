// failnew.cpp: preloaded into pnphelper by the end-to-end tests so that the
// allocation of the helper object fails and main takes its status-100 path.
// Every other nothrow allocation goes to the usual operator new; should that
// run out of memory, its exception ends the test program (noexcept), which
// is acceptable here.
#include <new>

#include "pnphelper.h"

void *operator new(std::size_t a_sizetBytes, const std::nothrow_t &) noexcept
{
  return (a_sizetBytes == sizeof(CPnpHelper)) ? nullptr : ::operator new(a_sizetBytes);
}
