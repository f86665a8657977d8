// deviceprobe: tells whether a USB device of a list is attached.
//
// Usage: deviceprobe "<vid>,<pid>;<vid>,<pid>;..."
//
// The list holds hexadecimal vendor and product identifiers (one to four
// digits each, any case), a comma between the two and a semicolon between
// entries; an empty list is valid and lists nothing. The probe reads the
// idVendor and idProduct files of every device under
// <sysfs>/bus/usb/devices, where <sysfs> is $DEVICEPROBE_SYSFS when set and
// not empty, else /sys. The entries there are symbolic links into the sysfs
// device tree and are followed; nothing is written.
//
// Exit status: 0 when at least one listed device is attached, 1 when none
// is, 2 on a bad command line or a malformed list (with a message on
// standard error). It runs no shell and no other program.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{

const int kAttached = 0;
const int kNotAttached = 1;
const int kBadList = 2;

struct UsbId
{
  unsigned uVendor;
  unsigned uProduct;
};

// Parses one to four hexadecimal digits from [a_szBegin, a_szEnd).
bool ParseHex16(const char *a_szBegin, const char *a_szEnd, unsigned *a_puValue)
{
  const size_t sizetLength = static_cast<size_t>(a_szEnd - a_szBegin);
  if (sizetLength < 1 || sizetLength > 4)
  {
    return false;
  }
  unsigned uValue = 0;
  for (const char *sz = a_szBegin; sz < a_szEnd; sz++)
  {
    const char c = *sz;
    unsigned uDigit;
    if (c >= '0' && c <= '9')
    {
      uDigit = static_cast<unsigned>(c - '0');
    }
    else if (c >= 'a' && c <= 'f')
    {
      uDigit = static_cast<unsigned>(c - 'a' + 10);
    }
    else if (c >= 'A' && c <= 'F')
    {
      uDigit = static_cast<unsigned>(c - 'A' + 10);
    }
    else
    {
      return false;
    }
    uValue = uValue * 16 + uDigit;
  }
  *a_puValue = uValue;
  return true;
}

// Parses the whole list; false names the first malformed entry in a_strBad.
bool ParseList(const char *a_szList, std::vector<UsbId> *a_pvIds, std::string *a_pstrBad)
{
  const char *szEntry = a_szList;
  while (*szEntry)
  {
    const char *szEnd = std::strchr(szEntry, ';');
    if (!szEnd)
    {
      szEnd = szEntry + std::strlen(szEntry);
    }
    const char *szComma = static_cast<const char *>(std::memchr(szEntry, ',', szEnd - szEntry));
    UsbId usbid;
    if (!szComma || !ParseHex16(szEntry, szComma, &usbid.uVendor) ||
        !ParseHex16(szComma + 1, szEnd, &usbid.uProduct))
    {
      a_pstrBad->assign(szEntry, szEnd);
      return false;
    }
    a_pvIds->push_back(usbid);
    if (!*szEnd)
    {
      break;
    }
    szEntry = szEnd + 1;
    if (!*szEntry)
    {
      a_pstrBad->assign("");  // a trailing ";" leaves an empty last entry
      return false;
    }
  }
  return true;
}

// Reads a sysfs attribute holding a hexadecimal number; false when it is
// missing or not a number.
bool ReadHexAttribute(const std::string &a_strPath, unsigned *a_puValue)
{
  const int iFd = open(a_strPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (iFd < 0)
  {
    return false;
  }
  char szText[16];
  const ssize_t sszRead = read(iFd, szText, sizeof(szText) - 1);
  close(iFd);
  if (sszRead <= 0)
  {
    return false;
  }
  ssize_t sszLength = sszRead;
  while (sszLength > 0 && (szText[sszLength - 1] == '\n' || szText[sszLength - 1] == ' '))
  {
    sszLength--;
  }
  return ParseHex16(szText, szText + sszLength, a_puValue);
}

bool IsListed(const std::vector<UsbId> &a_vIds, unsigned a_uVendor, unsigned a_uProduct)
{
  for (const UsbId &usbid : a_vIds)
  {
    if (usbid.uVendor == a_uVendor && usbid.uProduct == a_uProduct)
    {
      return true;
    }
  }
  return false;
}

// Walks <sysfs>/bus/usb/devices; true at the first listed device.
bool AnyAttached(const std::string &a_strSysfs, const std::vector<UsbId> &a_vIds)
{
  const std::string strDevices = a_strSysfs + "/bus/usb/devices";
  DIR *pdir = opendir(strDevices.c_str());
  if (!pdir)
  {
    return false;
  }
  bool blFound = false;
  while (!blFound)
  {
    const struct dirent *pdirent = readdir(pdir);
    if (!pdirent)
    {
      break;
    }
    if (pdirent->d_name[0] == '.')
    {
      continue;
    }
    const std::string strDevice = strDevices + "/" + pdirent->d_name;
    unsigned uVendor;
    unsigned uProduct;
    if (ReadHexAttribute(strDevice + "/idVendor", &uVendor) &&
        ReadHexAttribute(strDevice + "/idProduct", &uProduct))
    {
      blFound = IsListed(a_vIds, uVendor, uProduct);
    }
  }
  closedir(pdir);
  return blFound;
}

}  // namespace

int main(int argc, char **argv)
{
  if (argc != 2)
  {
    std::fprintf(stderr, "usage: deviceprobe \"<vid>,<pid>[;<vid>,<pid>...]\"\n");
    return kBadList;
  }
  std::vector<UsbId> vIds;
  std::string strBad;
  if (!ParseList(argv[1], &vIds, &strBad))
  {
    std::fprintf(stderr, "deviceprobe: malformed entry <%s> in list <%s>\n", strBad.c_str(), argv[1]);
    return kBadList;
  }
  const char *szSysfs = std::getenv("DEVICEPROBE_SYSFS");
  const std::string strSysfs = (szSysfs && *szSysfs) ? szSysfs : "/sys";
  return AnyAttached(strSysfs, vIds) ? kAttached : kNotAttached;
}
