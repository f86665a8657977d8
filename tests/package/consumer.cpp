// consumer.cpp: links the installed osservices and uses two of its services.
#include <cstdio>

#include "os_cosfile.h"
#include "os_cosstring.h"

int main()
{
  char szPath[512] = "/opt";
  COsFile::PathAppend(szPath, sizeof(szPath), "qrb//pnphelper");
  char szText[64];
  COsString::SStrPrintf(szText, sizeof(szText), "%s %x", szPath, COsString::StrToFastHex("040a"));
  std::puts(szText);
  return 0;
}
