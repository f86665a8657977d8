// test_coscfg_dump.cpp: the configuration report: its file name, its
// sections in order, the names of unnamed tags, the dynamic area, its modes
// and the names it refuses to write through.
#include <fcntl.h>
#include <glob.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "os_coscfg.h"
#include "os_testlog.h"
#include "test_coscfg.h"

namespace
{

// Index of the first line equal to a_strLine, or -1.
int FindLine(const std::vector<std::string> &a_vecLines, const std::string &a_strLine)
{
  const auto it = std::find(a_vecLines.begin(), a_vecLines.end(), a_strLine);
  return it == a_vecLines.end() ? -1 : static_cast<int>(it - a_vecLines.begin());
}

std::string Value(const char *a_szName, const std::string &a_strValue)
{
  char szLine[256];
  snprintf(szLine, sizeof(szLine), "%-48s <%s>", a_szName, a_strValue.c_str());
  return szLine;
}

size_t Count(const std::string &a_strText, const std::string &a_strNeedle)
{
  size_t sizetCount = 0;
  for (size_t pos = a_strText.find(a_strNeedle); pos != std::string::npos;
       pos = a_strText.find(a_strNeedle, pos + 1))
  {
    sizetCount++;
  }
  return sizetCount;
}

// Dumps into a folder below the home's temporary directory; gives the text.
std::string DumpText(const CfgHome &a_home, const std::string &a_strFolder)
{
  const std::string strFolder = a_home.Tmp() / a_strFolder;
  EXPECT_EQ(EOSSTS_OK, COsCfg::Dump(strFolder.c_str()));
  return ostest::ReadFile(strFolder + "/qrboscfg.txt");
}

}  // namespace

TEST(CfgDump, SectionsInOrderWithCrLf)
{
  CfgHome home;
  ostest::ScopedEnv env("QRB_CFGDUMP_MARK", "here");
  home.MakeWith("[SupportedSizes]\nN7=A5\n");
  const std::string strText = DumpText(home, "dump/deeper");
  ASSERT_FALSE(strText.empty());
  EXPECT_EQ(Count(strText, "\n"), Count(strText, "\r\n"));
  EXPECT_EQ(0u, strText.find("\r\n*** Environmentals ***************************************\r\n\r\n"));
  const std::vector<std::string> vecLines = ostest::SplitLines(strText);
  // Each line below comes after the one before it.
  int iPrevious = 0;
  for (const std::string &strLine :
       {std::string("QRB_CFGDUMP_MARK=here"), std::string("*** CFG Info *********************************************"),
        "OS_CFGINFO_CPU_TOTAL.................." + std::to_string(COsCfg::NumberOfProcessors()),
        std::string("OS_CFGSECTION_MAIN"), Value("HomeDirectory", home.Home()), Value("0x00003e", "0"),
        Value("CompanyName", ""), std::string("OS_CFGSECTION_SUPPORTEDSIZES"), Value("N07", "A5"),
        std::string("OS_CFGSECTION_QRB_ALL"), Value("OS_CFGTAG_JPEGQUANTIZATION_CBCR_05", ""),
        std::string("*** There are no local items ************************"),
        std::string("*** Directories *************************************"),
        "m_szLogDirectory                    = <" + home.Root() + "/log>"})
  {
    const int iLine = FindLine(vecLines, strLine);
    EXPECT_LT(iPrevious, iLine) << strLine;
    iPrevious = std::max(iPrevious, iLine);
  }
  EXPECT_EQ(1u, Count(strText, "*** There are no local items"));
  EXPECT_EQ(std::string::npos, strText.find("\r\n["));
}

TEST(CfgDump, DynamicAreaAndNamesCut)
{
  CfgHome home;
  const std::string strLong(60, 'k');
  OsCfgLookup aoscfglookupSection[] = {{"dsIdentity", 1001}, {nullptr, 1000}};
  OsCfgLookup aoscfglookupTag[] = {{"writeable", 1001}, {strLong.c_str(), 1002}, {nullptr, 1000}};
  const char *apszData[2 * 3] = {};
  home.WriteIni("[dsIdentity]\nwriteable=/srv/w\n");
  home.Make(EOSCFGENTITY_DRIVER, CfgDynamicArguments(aoscfglookupSection, aoscfglookupTag, apszData).c_str());
  const std::vector<std::string> vecLines = ostest::SplitLines(DumpText(home, "dump"));
  const int iLocal = FindLine(vecLines, "*** Local Items *************************************");
  ASSERT_LT(0, iLocal);
  ASSERT_LT(static_cast<size_t>(iLocal + 5), vecLines.size());
  EXPECT_EQ("[dsIdentity]", vecLines[iLocal + 2]);
  EXPECT_EQ(Value("writeable", "/srv/w"), vecLines[iLocal + 3]);
  EXPECT_EQ(strLong.substr(0, 48) + " <>", vecLines[iLocal + 4]);
  EXPECT_EQ("", vecLines[iLocal + 5]);
}

TEST(CfgDump, FileNamesByEntityFolderAndEnvironment)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_APPLICATION);
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));  // the log directory
  EXPECT_TRUE(ostest::FileExists(home.Root() + "/log/qrboscfg.txt"));
  home.Make(EOSCFGENTITY_UTILITY);
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));
  EXPECT_TRUE(ostest::FileExists(home.Root() + "/log/qrboscfg_scanmodel.txt"));
  // A folder that cannot be made.
  ostest::WriteFile(home.Tmp() / "plain", "x");
  EXPECT_EQ(EOSSTS_IOERROR, COsCfg::Dump((home.Tmp() / "plain/sub").c_str()));
  EXPECT_EQ(EOSSTS_IOERROR, COsCfg::Dump((home.Tmp() / "plain").c_str()));
  // With QRB_OSCFGDIR the name carries the time as 17 digits.
  const std::string strDir = home.Tmp() / "oscfgdir";
  mkdir(strDir.c_str(), 0777);
  ostest::ScopedEnv env("QRB_OSCFGDIR", strDir.c_str());
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));
  glob_t globNames;
  ASSERT_EQ(0, glob((strDir + "/*").c_str(), 0, nullptr, &globNames));
  const std::string strName = globNames.gl_pathc == 1 ? globNames.gl_pathv[0] + strDir.size() + 1 : "";
  globfree(&globNames);
  EXPECT_EQ(0u, strName.find("qrboscfg_"));
  EXPECT_EQ(strlen("qrboscfg_") + 17 + strlen(".txt"), strName.size());
  EXPECT_EQ(".txt", strName.substr(strName.size() - 4));
}

// The report gets the file object's modes: the configured creation mask in
// the log directory (below the root path), 0666 less the creation mask
// elsewhere, which the dump itself never changes.
TEST(CfgDump, ModesOfTheReport)
{
  CfgHome home;
  home.MakeWith("[dsIdentity]\nForceFileCreationMask=0604\n");
  const mode_t modeMask = umask(027);
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump((home.Tmp() / "elsewhere").c_str()));
  EXPECT_EQ(027, umask(modeMask));
  struct stat statFile = {};
  ASSERT_EQ(0, stat((home.Root() + "/log/qrboscfg.txt").c_str(), &statFile));
  EXPECT_EQ(0604u, statFile.st_mode & 07777);
  ASSERT_EQ(0, stat((home.Tmp() / "elsewhere/qrboscfg.txt").c_str(), &statFile));
  EXPECT_EQ(0640u, statFile.st_mode & 07777);
}

// A link, a dangling link, a FIFO or a second hard link planted at the
// report's name in the (world-writable) log directory: the dump is refused
// with 259, the target keeps its text and mode, nothing
// is created and nothing blocks.
TEST(CfgDump, PlantedNamesAreRefused)
{
  const struct
  {
    const char *szCase;
    int (*pfnPlant)(const char *a_szTarget, const char *a_szPath);
  } acase[] = {
      {"link", [](const char *t, const char *p) { return symlink(t, p); }},
      {"dangling link", [](const char *t, const char *p) { return symlink((std::string(t) + ".new").c_str(), p); }},
      {"fifo", [](const char *, const char *p) { return mkfifo(p, 0666); }},
      {"hard link", [](const char *t, const char *p) { return link(t, p); }},
  };
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.szCase);
    CfgHome home;
    ostest::LogCapture capture;
    home.Make();
    const std::string strVictim = home.Root() + "/log/victim";
    const std::string strDump = home.Root() + "/log/qrboscfg.txt";
    ASSERT_TRUE(ostest::WriteFile(strVictim, "secret"));
    ASSERT_EQ(0, chmod(strVictim.c_str(), 0600));
    ASSERT_EQ(0, c.pfnPlant(strVictim.c_str(), strDump.c_str()));
    EXPECT_EQ(EOSSTS_IOERROR, COsCfg::Dump(nullptr));
    struct stat statVictim = {};
    ASSERT_EQ(0, stat(strVictim.c_str(), &statVictim));
    EXPECT_EQ(0600u, statVictim.st_mode & 07777);
    EXPECT_EQ("secret", ostest::ReadFile(strVictim));
    EXPECT_FALSE(ostest::FileExists(strVictim + ".new"));
  }
}
