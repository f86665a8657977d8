// oslinux.cpp: the two actions of the hot-plug helper on this platform and
// the device presence probe, which runs <lib>/deviceprobe once per process.
#include <cstdlib>

#include "os_cosfile.h"
#include "os_coslog.h"
#include "os_cosstring.h"
#include "pnphelper.h"

uint32_t CPnpHelper::Add()
{
  OSLOGDBG("Add() Enter for Linux");
  const uint32_t u32Status = WriteableAdd();
  OSLOGDBG("Add() Exit for Linux");
  return u32Status;
}

uint32_t CPnpHelper::Remove()
{
  OSLOGDBG("Remove() Enter for Linux");
  const uint32_t u32Status = WriteableRemove();
  OSLOGDBG("Remove() Exit for Linux");
  return u32Status;
}

bool CPnpHelper::DeviceConnected(bool a_blFallback)
{
  OSLOGDBG("DeviceConnected() Enter");
  if (m_blProbeDone)
  {
    OSLOGDBG("we already checked: %d", m_blDeviceConnected);
    return m_blDeviceConnected;
  }

  char szCommand[1024];
  COsFile::PathSet(szCommand, sizeof(szCommand), m_szLibPath);
  COsFile::PathAppend(szCommand, sizeof(szCommand), "deviceprobe");
  if (!COsFile::Exists(szCommand))
  {
    // Not marked as done: a later call looks again.
    OSLOG(EOSLOGFLAG_ASSERT, "deviceprobe is missing: %s", szCommand);
    m_blDeviceConnected = a_blFallback;
  }
  else
  {
    // The list holds only hexadecimal digits, "," and ";": no escaping.
    COsString::SStrCat(szCommand, sizeof(szCommand), " \"");
    COsString::SStrCat(szCommand, sizeof(szCommand), m_szVidPids);
    COsString::SStrCat(szCommand, sizeof(szCommand), "\"");
    OSLOGDBG("call deviceprobe: %s", szCommand);
    // Any non-zero answer (exit status, signal, no shell) is "not attached".
    const int iResult = std::system(szCommand);
    m_blProbeDone = true;
    m_blDeviceConnected = (iResult == 0);
  }

  OSLOGDBG("DeviceConnected() Exit: %d", m_blDeviceConnected);
  return m_blDeviceConnected;
}
