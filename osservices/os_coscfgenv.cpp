// os_coscfgenv.cpp: environment variables with bounded buffers, the module
// that holds an address, permission bits, and the debugger and security
// stubs of this platform.
#include <dlfcn.h>
#include <link.h>
#include <strings.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_coslog.h"
#include "os_cosstring.h"

extern char **environ;

namespace
{

// The address that identifies the module holding the services.
void OsCfgLocator() {}

// One-time module state of GetHmodule.
bool s_blModuleInitialised = false;
bool s_blLibrary = false;
void *s_pvModule = nullptr;

// Search state of the loaded-object walks.
struct ModuleSearch
{
  const char *szKey;  // substring (GetModuleName) or whole path (GetHmodule)
  bool blExact;
  bool blSkippedMain;
  char *szPath;  // out: the full path, when found
  uint32_t u32Size;
  void *pvBase;  // out: the base address, when found
  bool blFound;
};

int ModuleSearchCallback(struct dl_phdr_info *a_pinfo, size_t, void *a_pvData)
{
  ModuleSearch *possearch = static_cast<ModuleSearch *>(a_pvData);
  // The first entry is the main program itself.
  if (!possearch->blSkippedMain)
  {
    possearch->blSkippedMain = true;
    return 0;
  }
  const char *szName = a_pinfo->dlpi_name ? a_pinfo->dlpi_name : "";
  bool blMatch = possearch->blExact ? (strcmp(szName, possearch->szKey) == 0)
                                    : (strstr(szName, possearch->szKey) != nullptr);
  if (!blMatch)
  {
    return 0;
  }
  if (possearch->szPath)
  {
    COsCfgImpl::CopyCut(possearch->szPath, possearch->u32Size, szName);
  }
  possearch->pvBase = reinterpret_cast<void *>(a_pinfo->dlpi_addr);
  possearch->blFound = true;
  return 1;
}

}  // namespace

void (*const g_oscfglocatorfunction)() = OsCfgLocator;

// Copies as much as fits; the environment and module helpers cut values
// on purpose.
void COsCfgImpl::CopyCut(char *a_szDst, size_t a_sizetBytes, const char *a_szSrc)
{
  size_t sizetLength = strlen(a_szSrc);
  if (sizetLength >= a_sizetBytes)
  {
    sizetLength = a_sizetBytes - 1;
  }
  memmove(a_szDst, a_szSrc, sizetLength);
  a_szDst[sizetLength] = 0;
}

// ---------------------------------------------------------------------------
// Environment
// ---------------------------------------------------------------------------

// A text of exactly a_sizetBytes characters passes the length test and is
// cut by one character: the boundary is intended.
EOSSTS COsCfg::GetEnv(const char *a_szEnvName, const char *a_szDefault, size_t a_sizetBytes, char *a_szValue,
                      bool)
{
  if (!a_szEnvName)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "a_szEnvName is null");
    return EOSSTS_BADARG;
  }
  if (!*a_szEnvName)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "a_szEnvName is empty");
    return EOSSTS_BADARG;
  }
  if (!a_szValue)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "a_szValue is null...<%s>", a_szEnvName);
    return EOSSTS_BADARG;
  }
  if (a_sizetBytes < 2)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "a_sizetBytes <= 1...<%s> %d", a_szEnvName, static_cast<int>(a_sizetBytes));
    return EOSSTS_BADARG;
  }
  const char *szText = getenv(a_szEnvName);
  if (!szText)
  {
    szText = "";
  }
  COsCfgImpl::CopyCut(a_szValue, a_sizetBytes, szText);
  const size_t sizetLength = strlen(szText);
  if (sizetLength > a_sizetBytes)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "GetEnv error...<%s> %d %d", a_szEnvName, static_cast<int>(sizetLength),
          static_cast<int>(a_sizetBytes));
    return EOSSTS_NOFIT;
  }
  if (sizetLength > 0 || !a_szDefault)
  {
    return EOSSTS_OK;
  }
  if (strlen(a_szDefault) > a_sizetBytes)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "GetEnv error...<%s> <%s> %d", a_szEnvName, a_szDefault,
          static_cast<int>(a_sizetBytes));
    return EOSSTS_NOFIT;
  }
  COsCfgImpl::CopyCut(a_szValue, a_sizetBytes, a_szDefault);
  return EOSSTS_OK;
}

EOSSTS COsCfg::SetEnv(const char *a_szEnvName, const char *a_szValue)
{
  if (!a_szEnvName || !*a_szEnvName)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "SetEnv bad arg...");
    return EOSSTS_BADARG;
  }
  if (!a_szValue)
  {
    unsetenv(a_szEnvName);
    return EOSSTS_OK;
  }
  if (setenv(a_szEnvName, a_szValue, 1) != 0)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "SetEnv error...<%s> <%s>", a_szEnvName, a_szValue);
    return EOSSTS_NOFIT;
  }
  return EOSSTS_OK;
}

// Text is UTF-8 throughout on this platform.
EOSSTS COsCfg::SetEnvUtf8ToUnicode(const char *a_szEnvName, const char *a_szValue)
{
  return SetEnv(a_szEnvName, a_szValue);
}

EOSSTS COsCfg::ExistEnv(const char *a_szEnvName)
{
  if (!a_szEnvName)
  {
    OSCFGLOG(EOSLOGFLAG_ASSERT, "a_szEnvName is null...");
    return EOSSTS_FAIL;
  }
  return getenv(a_szEnvName) ? EOSSTS_OK : EOSSTS_FAIL;
}

// A plain decimal conversion: "0x10" reads as 0, "12abc" as 12.
int COsCfg::GetEnvLong(const char *a_szEnvName, int a_iDefault)
{
  if (!a_szEnvName)
  {
    OSCFGLOG(EOSLOGFLAG_ASSERT, "a_szEnvName is null...");
    return 0;
  }
  char szDefault[32];
  char szValue[32];
  COsString::SStrPrintf(szDefault, sizeof(szDefault), "%d", a_iDefault);
  if (GetEnv(a_szEnvName, szDefault, sizeof(szValue), szValue) != EOSSTS_OK)
  {
    return a_iDefault;
  }
  return static_cast<int>(strtol(szValue, nullptr, 10));
}

bool COsCfg::GetEnvBool(const char *a_szEnvName, bool a_blDefault)
{
  if (!a_szEnvName)
  {
    OSCFGLOG(EOSLOGFLAG_ASSERT, "a_szEnvName is null...");
    return false;
  }
  char szValue[16];
  if (GetEnv(a_szEnvName, a_blDefault ? "true" : "false", sizeof(szValue), szValue) != EOSSTS_OK)
  {
    return a_blDefault;
  }
  if (strcasecmp(szValue, "false") == 0 || strcmp(szValue, "0") == 0)
  {
    return false;
  }
  if (strcasecmp(szValue, "true") == 0 || strcmp(szValue, "1") == 0)
  {
    return true;
  }
  OSCFGLOG(EOSLOGFLAG_ASSERT, "unrecognized value...<%s>, returning default...%d", szValue, a_blDefault ? 1 : 0);
  return a_blDefault;
}

char *COsCfg::GetEnvList()
{
  size_t sizetBytes = 1;  // the empty entry at the end
  for (char **pszEntry = environ; pszEntry && *pszEntry; pszEntry++)
  {
    sizetBytes += strlen(*pszEntry) + 1;
  }
  char *szList = new (std::nothrow) char[sizetBytes];
  if (!szList)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "allocation failed...");
    return nullptr;
  }
  char *szWrite = szList;
  for (char **pszEntry = environ; pszEntry && *pszEntry; pszEntry++)
  {
    const size_t sizetLength = strlen(*pszEntry) + 1;
    memcpy(szWrite, *pszEntry, sizetLength);
    szWrite += sizetLength;
  }
  *szWrite = 0;
  return szList;
}

void COsCfg::FreeEnvList(char *a_szEnvList)
{
  delete[] a_szEnvList;
}

// ---------------------------------------------------------------------------
// Modules
// ---------------------------------------------------------------------------

void COsCfg::GetModuleName(const void *a_pvAddress, char *a_szPath, uint32_t a_u32Size, bool a_blLogFailure)
{
  if (!a_szPath || !a_u32Size)
  {
    OSCFGLOG(EOSLOGFLAG_ASSERT, "a_szPath is null...");
    return;
  }
  memset(a_szPath, 0, a_u32Size);
  Dl_info dlinfo;
  if (!dladdr(a_pvAddress, &dlinfo) || !dlinfo.dli_fname)
  {
    if (a_blLogFailure)
    {
      OSCFGLOG(EOSLOGFLAG_ASSERT, "dladdr failed...");
    }
    return;
  }
  COsCfgImpl::CopyCut(a_szPath, a_u32Size, dlinfo.dli_fname);
  // A bare name is looked for as a path component followed by a suffix.
  char szKey[OS_SIZE_PATH];
  if (dlinfo.dli_fname[0] != '/')
  {
    COsString::SStrPrintf(szKey, sizeof(szKey), "/%s.", dlinfo.dli_fname);
  }
  else
  {
    COsCfgImpl::CopyCut(szKey, sizeof(szKey), dlinfo.dli_fname);
  }
  ModuleSearch search = {szKey, false, false, a_szPath, a_u32Size, nullptr, false};
  dl_iterate_phdr(ModuleSearchCallback, &search);
}

void *COsCfg::GetHmodule()
{
  if (s_blModuleInitialised)
  {
    return s_pvModule;
  }
  s_blModuleInitialised = true;
  s_blLibrary = true;
  s_pvModule = nullptr;
  if (g_OsCfgHinstance == static_cast<const void *>(g_szOsCfgApplicationMarker))
  {
    s_blLibrary = false;
    return s_pvModule;
  }
  Dl_info dlinfo;
  if (dladdr(reinterpret_cast<const void *>(g_oscfglocatorfunction), &dlinfo) && dlinfo.dli_fname)
  {
    ModuleSearch search = {dlinfo.dli_fname, true, false, nullptr, 0, nullptr, false};
    dl_iterate_phdr(ModuleSearchCallback, &search);
    s_pvModule = search.pvBase;
  }
  return s_pvModule;
}

bool COsCfg::IsLibrary()
{
  GetHmodule();
  return s_blLibrary;
}

// ---------------------------------------------------------------------------
// Permission bits
// ---------------------------------------------------------------------------

EOSSTS COsCfg::SetAccess(const char *a_szPath, EOSFILEACCESS a_eosfileaccess)
{
  struct stat statFile;
  if (!a_szPath || stat(a_szPath, &statFile) != 0)
  {
    OSCFGLOGDBG("file not found...<%s>", a_szPath ? a_szPath : "(null)");
    return EOSSTS_FAIL;
  }
  mode_t modeNew = statFile.st_mode & 07777;
  switch (a_eosfileaccess)
  {
    case EOSFILEACCESS_READ:
      modeNew = (modeNew | 0440) & ~static_cast<mode_t>(0220);
      break;
    case EOSFILEACCESS_WRITE:
      modeNew = (modeNew & ~static_cast<mode_t>(0440)) | 0220;
      break;
    case EOSFILEACCESS_READWRITE:
      modeNew |= 0660;
      break;
    case EOSFILEACCESS_EXECUTE:
      modeNew |= 0110;
      break;
    default:
      OSCFGLOG(EOSLOGFLAG_ASSERT, "unrecognized a_eosfileaccess...%d", static_cast<int>(a_eosfileaccess));
      return EOSSTS_FAIL;
  }
  // The bits are given whole: chmod does not apply the creation mask, which
  // is never changed (another thread may be creating files).
  if (chmod(a_szPath, modeNew) != 0)
  {
    OSCFGLOGDBG("chmod failed...<%s>", a_szPath);
    return EOSSTS_FAIL;
  }
  return EOSSTS_OK;
}

// ---------------------------------------------------------------------------
// Stubs of this platform
// ---------------------------------------------------------------------------

bool COsCfg::IsDebugging()
{
  return false;
}

bool COsCfg::IsDebuggingLive()
{
  return false;
}

void COsCfg::CreateSecurityAttributes(const char *) {}

void COsCfg::DestroySecurityAttributes() {}

void *COsCfg::GetSecurityAttributesFile()
{
  return nullptr;
}

void *COsCfg::GetSecurityAttributesEvent()
{
  return nullptr;
}

void *COsCfg::GetSecurityAttributesMutex()
{
  return nullptr;
}
