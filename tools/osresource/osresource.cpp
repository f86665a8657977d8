// osresource: the command-line face of COsResource.
//
//   osresource list FILE                 one line per resource: index, name,
//                                        offset, size (tab-separated)
//   osresource get FILE NAME             the block, raw, on standard output
//   osresource add FILE NAME DATAFILE    adds or replaces NAME, keeping the
//                                        other resources
//
// Exit status: 0 success, 1 failure (one line on standard error), 2 usage
// error (the usage text on standard error). The services are not started:
// the resource calls work without log, memory service or configuration.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "os_cosresource.h"

namespace
{

constexpr int s_iExitOk = 0;
constexpr int s_iExitFailure = 1;
constexpr int s_iExitUsage = 2;

const char s_szUsage[] =
    "usage: osresource list FILE\n"
    "       osresource get FILE NAME\n"
    "       osresource add FILE NAME DATAFILE\n"
    "       osresource --help\n"
    "\n"
    "Lists, reads or adds the resources appended to FILE. list prints one line\n"
    "per resource: index, name, offset and size, separated by tabs. get writes\n"
    "the block of NAME to standard output. add stores the contents of DATAFILE\n"
    "as NAME, replacing a resource of that name and keeping the others.\n";

int Fail(const char *a_szWhat, const char *a_szFile, EOSSTS a_eossts)
{
  fprintf(stderr, "osresource: %s %s (status %u)\n", a_szWhat, a_szFile, static_cast<unsigned>(a_eossts));
  return s_iExitFailure;
}

int List(const char *a_szFile)
{
  COsResource osresource;
  OsResourceInfo osresourceinfo;
  EOSSTS eossts = osresource.FindFirst(a_szFile, &osresourceinfo);
  if (eossts == EOSSTS_NOTFOUND)
  {
    return s_iExitOk;  // no table, or an empty one
  }
  if (eossts != EOSSTS_OK)
  {
    return Fail("cannot read the resources of", a_szFile, eossts);
  }
  do
  {
    printf("%u\t%s\t%u\t%u\n", osresourceinfo.u32Index, osresourceinfo.szName, osresourceinfo.u32Offset,
           osresourceinfo.u32Size);
  } while (osresource.FindNext(&osresourceinfo) == EOSSTS_OK);
  return fflush(stdout) == 0 ? s_iExitOk : Fail("cannot write the list of", a_szFile, EOSSTS_IOERROR);
}

int Get(const char *a_szFile, const char *a_szName)
{
  COsResource osresource;
  EOSSTS eossts = osresource.Open(a_szFile, a_szName, EOSRESOURCETYPE_DATA);
  if (eossts != EOSSTS_OK)
  {
    fprintf(stderr, "osresource: resource %s not found in %s (status %u)\n", a_szName, a_szFile,
            static_cast<unsigned>(eossts));
    return s_iExitFailure;
  }
  size_t sizetWritten = fwrite(osresource.GetPointer(), 1, osresource.GetSize(), stdout);
  if (sizetWritten != osresource.GetSize() || fflush(stdout) != 0)
  {
    return Fail("cannot write the resource of", a_szFile, EOSSTS_IOERROR);
  }
  return s_iExitOk;
}

// Reads a whole regular file of at most 4 GiB - 1 bytes.
bool ReadData(const char *a_szPath, std::unique_ptr<char[]> *a_pszData, uint32_t *a_pu32Size)
{
  int iFd = open(a_szPath, O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (iFd < 0)
  {
    return false;
  }
  struct stat statData;
  bool blOk = fstat(iFd, &statData) == 0 && S_ISREG(statData.st_mode) &&
              static_cast<uint64_t>(statData.st_size) <= UINT32_MAX &&
              static_cast<uint64_t>(statData.st_size) < SIZE_MAX;
  uint32_t u32Size = blOk ? static_cast<uint32_t>(statData.st_size) : 0;
  a_pszData->reset(blOk ? new (std::nothrow) char[u32Size + 1] : nullptr);
  blOk = blOk && *a_pszData;
  uint32_t u32Done = 0;
  while (blOk && u32Done < u32Size)
  {
    ssize_t sRead = read(iFd, a_pszData->get() + u32Done, u32Size - u32Done);
    if (sRead < 0 && errno == EINTR)
    {
      continue;
    }
    blOk = sRead > 0;
    u32Done += blOk ? static_cast<uint32_t>(sRead) : 0;
  }
  close(iFd);
  *a_pu32Size = u32Done;
  return blOk;
}

int Add(const char *a_szFile, const char *a_szName, const char *a_szDataFile)
{
  std::unique_ptr<char[]> szData;
  uint32_t u32Size = 0;
  if (!ReadData(a_szDataFile, &szData, &u32Size))
  {
    fprintf(stderr, "osresource: cannot read %s: %s\n", a_szDataFile,
            errno ? strerror(errno) : "not a regular file");
    return s_iExitFailure;
  }
  EOSSTS eossts = COsResource::Update(a_szFile, a_szName, EOSRESOURCETYPE_DATA, szData.get(), u32Size);
  switch (eossts)
  {
    case EOSSTS_OK:
      return s_iExitOk;
    case EOSSTS_FILENOTFOUND:
      return Fail("file not found:", a_szFile, eossts);
    case EOSSTS_BADARG:
      fprintf(stderr, "osresource: bad resource name <%s> (1 to 31 characters)\n", a_szName);
      return s_iExitFailure;
    case EOSSTS_NOFIT:
      return Fail("resource table full or file too large:", a_szFile, eossts);
    default:
      return Fail("cannot update", a_szFile, eossts);
  }
}

int Usage()
{
  fputs(s_szUsage, stderr);
  return s_iExitUsage;
}

}  // namespace

int main(int argc, char **argv)
{
  if (argc == 2 && (!strcmp(argv[1], "--help") || !strcmp(argv[1], "-h")))
  {
    fputs(s_szUsage, stdout);
    return s_iExitOk;
  }
  const char *szCommand = argc >= 2 ? argv[1] : "";
  if (!strcmp(szCommand, "list") && argc == 3)
  {
    return List(argv[2]);
  }
  if (!strcmp(szCommand, "get") && argc == 4)
  {
    return Get(argv[2], argv[3]);
  }
  if (!strcmp(szCommand, "add") && argc == 5)
  {
    return Add(argv[2], argv[3], argv[4]);
  }
  return Usage();
}
