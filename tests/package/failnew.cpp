// failnew.cpp: preloaded into pnphelper by the end-to-end tests so that the
// allocation of the helper object fails and main takes its status-100 path.
// Every other nothrow allocation goes through to the usual operator new.
#include <new>

#include "pnphelper.h"

void *operator new(std::size_t a_sizetBytes, const std::nothrow_t &) noexcept
{
  if (a_sizetBytes == sizeof(CPnpHelper))
  {
    return nullptr;
  }
  try
  {
    return ::operator new(a_sizetBytes);
  }
  catch (...)
  {
    return nullptr;
  }
}
