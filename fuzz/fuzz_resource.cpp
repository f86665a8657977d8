// fuzz_resource.cpp: the resource reader and Update on arbitrary files.
// Every block that Open hands out is read to its last byte (a block outside
// the file would fault), the walk is run to its end, and a block added with
// Update must read back unchanged.
//
// Input: byte 0 flags (bit 0 plant the marker in entry 63), byte 1 the
// length of the zero padding before the rest, in units of 128 bytes (so
// files shorter and longer than two pages both occur), then the file's tail,
// whose last 3,584 bytes are the table.
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "os_cosresource.h"

namespace
{

void Check(bool a_blCondition)
{
  if (!a_blCondition)
  {
    __builtin_trap();
  }
}

const std::string &Scratch()
{
  static const std::string s_str = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") +
                                   "/fuzz_resource." + std::to_string(getpid());
  return s_str;
}

bool WriteScratch(const std::vector<uint8_t> &a_vec)
{
  FILE *pfile = fopen(Scratch().c_str(), "wbe");
  if (!pfile)
  {
    return false;
  }
  bool blOk = fwrite(a_vec.data(), 1, a_vec.size(), pfile) == a_vec.size();
  return fclose(pfile) == 0 && blOk;
}

// Opens a_szName and touches every byte of its block.
EOSSTS ReadBlock(const char *a_szName, std::string *a_pstr)
{
  COsResource osresource;
  EOSSTS eossts = osresource.Open(Scratch().c_str(), a_szName, EOSRESOURCETYPE_DATA);
  if (eossts == EOSSTS_OK)
  {
    const char *sz = static_cast<const char *>(osresource.GetPointer());
    Check(sz != nullptr || osresource.GetSize() == 0);
    a_pstr->assign(sz, osresource.GetSize());
  }
  return eossts;
}

void WalkAndReadAll()
{
  COsResource osresource;
  OsResourceInfo osresourceinfo;
  int iCount = 0;
  for (EOSSTS eossts = osresource.FindFirst(Scratch().c_str(), &osresourceinfo); eossts == EOSSTS_OK;
       eossts = osresource.FindNext(&osresourceinfo))
  {
    Check(++iCount <= 63);
    Check(osresourceinfo.szName[OS_RESOURCE_NAMESIZE] == 0);
    std::string str;
    // A name that is listed can be opened (the first entry of that name).
    Check(ReadBlock(osresourceinfo.szName, &str) != EOSSTS_FAIL);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *a_pu8Data, size_t a_sizetSize)
{
  if (a_sizetSize < 2)
  {
    return 0;
  }
  std::vector<uint8_t> vecFile(static_cast<size_t>(a_pu8Data[1]) * 128, 0);
  vecFile.insert(vecFile.end(), a_pu8Data + 2, a_pu8Data + a_sizetSize);
  if ((a_pu8Data[0] & 1) && vecFile.size() >= OS_RESOURCE_TABLESIZE)
  {
    size_t sizetMarker =
        vecFile.size() - OS_RESOURCE_TABLESIZE + OS_RESOURCE_MARKERENTRY * OS_RESOURCE_ENTRYSIZE;
    memcpy(&vecFile[sizetMarker], OS_RESOURCE_MARKER, 9);
  }
  if (!WriteScratch(vecFile))
  {
    return 0;
  }
  std::string str;
  ReadBlock("PNPHELPER", &str);
  ReadBlock("VERSION", &str);
  WalkAndReadAll();
  // Update either refuses or leaves a file whose new block reads back.
  static const char s_szData[] = "<scanner><id>VID_1&PID_2</id></scanner>";
  EOSSTS eossts =
      COsResource::Update(Scratch().c_str(), "FUZZ", EOSRESOURCETYPE_DATA, s_szData, sizeof(s_szData));
  struct stat statFile;
  if (eossts == EOSSTS_OK && stat(Scratch().c_str(), &statFile) == 0)
  {
    if (statFile.st_size >= 2 * sysconf(_SC_PAGESIZE))
    {
      Check(ReadBlock("fuzz", &str) == EOSSTS_OK);
      Check(str == std::string(s_szData, sizeof(s_szData)));
    }
    WalkAndReadAll();
  }
  unlink(Scratch().c_str());
  return 0;
}
