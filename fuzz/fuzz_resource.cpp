// fuzz_resource.cpp: the resource reader and Update on arbitrary files. Every
// block Open hands out is read to its last byte (a block outside the file
// would fault), the walk runs to its end, and a block added with Update must
// read back unchanged. Input: byte 0 flags (bit 0 plants the marker in entry
// 63), byte 1 the zero padding before the rest in units of 128 bytes (files
// shorter and longer than two pages), then the file's tail (the table last).
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

#include "os_cosresource.h"

#define CHECK(condition) ((condition) ? (void)0 : __builtin_trap())

namespace
{

const std::string s_strFile = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") +
                              "/fuzz_resource." + std::to_string(getpid());

// Opens a_szName and copies (so touches) every byte of its block.
EOSSTS ReadBlock(const char *a_szName, std::string *a_pstr)
{
  COsResource osresource;
  const EOSSTS eossts = osresource.Open(s_strFile.c_str(), a_szName, EOSRESOURCETYPE_DATA);
  if (eossts == EOSSTS_OK)
  {
    CHECK(osresource.GetPointer() || osresource.GetSize() == 0);
    a_pstr->assign(static_cast<const char *>(osresource.GetPointer()), osresource.GetSize());
  }
  return eossts;
}

void WalkAndReadAll()
{
  COsResource osresource;
  OsResourceInfo osresourceinfo;
  std::string str;
  int iCount = 0;
  for (EOSSTS eossts = osresource.FindFirst(s_strFile.c_str(), &osresourceinfo); eossts == EOSSTS_OK;
       eossts = osresource.FindNext(&osresourceinfo))
  {
    // A listed name opens (the first entry of that name).
    CHECK(++iCount <= 63 && osresourceinfo.szName[OS_RESOURCE_NAMESIZE] == 0);
    CHECK(ReadBlock(osresourceinfo.szName, &str) != EOSSTS_FAIL);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *a_pu8Data, size_t a_sizetSize)
{
  if (a_sizetSize < 2)
  {
    return 0;
  }
  std::string strFile(static_cast<size_t>(a_pu8Data[1]) * 128, '\0');
  strFile.append(reinterpret_cast<const char *>(a_pu8Data) + 2, a_sizetSize - 2);
  if ((a_pu8Data[0] & 1) && strFile.size() >= OS_RESOURCE_TABLESIZE)
  {
    strFile.replace(strFile.size() - OS_RESOURCE_TABLESIZE + OS_RESOURCE_MARKERENTRY * OS_RESOURCE_ENTRYSIZE,
                    9, OS_RESOURCE_MARKER);
  }
  if (!(std::ofstream(s_strFile, std::ios::binary) << strFile))
  {
    return 0;
  }
  std::string str;
  ReadBlock("PNPHELPER", &str);
  WalkAndReadAll();
  // Update either refuses or leaves a file whose new block reads back.
  static const std::string s_strData = "<scanner><id>VID_1&PID_2</id></scanner>";
  struct stat statFile;
  if (COsResource::Update(s_strFile.c_str(), "FUZZ", EOSRESOURCETYPE_DATA, s_strData.data(),
                          static_cast<uint32_t>(s_strData.size())) == EOSSTS_OK &&
      stat(s_strFile.c_str(), &statFile) == 0)
  {
    CHECK(statFile.st_size < 2 * sysconf(_SC_PAGESIZE) ||
          (ReadBlock("fuzz", &str) == EOSSTS_OK && str == s_strData));
    WalkAndReadAll();
  }
  unlink(s_strFile.c_str());
  return 0;
}
