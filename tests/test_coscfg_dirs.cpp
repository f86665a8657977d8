// test_coscfg_dirs.cpp: the directory computation: home and root, the
// directories below the root, the configuration file with its override
// mechanism, the log directory and the outputs asked for by start-up.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "test_coscfg.h"

TEST(CfgDirectories, RootFromTheEnvironment)
{
  CfgHome home;
  ostest::ScopedEnv envHome("HOME", "/home/someone");
  ostest::ScopedEnv envTmp("TMPDIR", "/var/tmpx");
  home.Make();
  const std::string strRoot = home.Root();
  EXPECT_EQ(home.Program(), home.Main(OS_CFGTAG_DRIVERPATH));
  EXPECT_EQ(home.Home(), home.Main(OS_CFGTAG_HOMEDIRECTORY));
  EXPECT_EQ("scanmodel", home.Main(OS_CFGTAG_HOMENAME));
  EXPECT_EQ("scanmodel", home.Main(OS_CFGTAG_MODELDIRECTORY));
  EXPECT_EQ("scanmodel", home.Main(OS_CFGTAG_MODELDIRECTORYREAL));
  const uint32_t au32Root[] = {OS_CFGTAG_ROOTPATH, OS_CFGTAG_ROOTPATHSHARED, OS_CFGTAG_ROOTCOMMONDIRECTORY,
                               OS_CFGTAG_ROOTCOMMONDIRECTORYSHARED, OS_CFGTAG_LOCALLOWDIRECTORY};
  for (uint32_t u32Tag : au32Root)
  {
    EXPECT_EQ(strRoot, home.Main(u32Tag)) << u32Tag;
  }
  EXPECT_EQ(strRoot + "/common", home.Main(OS_CFGTAG_COMMONDIRECTORY));
  EXPECT_EQ(strRoot + "/user", home.Main(OS_CFGTAG_USERDIRECTORY));
  EXPECT_EQ(strRoot + "/user", home.Main(OS_CFGTAG_USERROOTDIRECTORY));
  EXPECT_EQ(strRoot + "/user", home.Main(OS_CFGTAG_USERROOTDIRECTORYSHARED));
  EXPECT_EQ(strRoot + "/device", home.Main(OS_CFGTAG_DEVICEDIRECTORYSHARED));
  EXPECT_EQ(strRoot + "/multimedia", home.Main(OS_CFGTAG_MULTIMEDIADIRECTORY));
  EXPECT_EQ(strRoot + "/log", home.Main(OS_CFGTAG_LOGDIRECTORY));
  EXPECT_EQ(strRoot + "/log/pnphelper.log", home.Main(OS_CFGTAG_QRB_LOG));
  EXPECT_EQ("pnphelper", home.Main(OS_CFGTAG_DRIVERNAME));
  EXPECT_EQ("/usr/lib", home.Main(OS_CFGTAG_SYSTEMDIRECTORY));
  EXPECT_EQ("/var/tmpx", home.Main(OS_CFGTAG_TMPDIRECTORY));
  EXPECT_EQ("/home/someone/Desktop", home.Main(OS_CFGTAG_DESKTOPDIRECTORY));
  EXPECT_EQ("/home/someone/Desktop", home.Main(OS_CFGTAG_SHAREDDESKTOPDIRECTORY));
  EXPECT_EQ(home.Home() + "/const.ini", home.Main(OS_CFGTAG_CONST_INI));
  EXPECT_EQ(home.Home() + "/const.ini", home.Main(OS_CFGTAG_CONST_INI_SHARED));
  // Only the log directory is made.
  struct stat statLog;
  ASSERT_EQ(0, stat((strRoot + "/log").c_str(), &statLog));
  EXPECT_TRUE(S_ISDIR(statLog.st_mode));
  EXPECT_FALSE(ostest::FileExists(strRoot + "/user"));
}

TEST(CfgDirectories, RootDefaultsToHomeAndBinIsSkippedOnlyWhenNamedBin)
{
  CfgHome home;
  ostest::ScopedEnv envRoot("QRB_SHGETFOLDERPATH", "");
  ostest::ScopedEnv envHome("HOME", nullptr);
  ostest::ScopedEnv envTmp("TMPDIR", nullptr);
  home.Make();
  EXPECT_EQ(home.Home(), home.Main(OS_CFGTAG_ROOTPATH));
  EXPECT_EQ(home.Home() + "/log", home.Main(OS_CFGTAG_LOGDIRECTORY));
  EXPECT_EQ("/tmp", home.Main(OS_CFGTAG_TMPDIRECTORY));
  EXPECT_EQ("", home.Main(OS_CFGTAG_DESKTOPDIRECTORY));
  EXPECT_TRUE(ostest::FileExists(home.Home() + "/log"));

  // A program that is not in a "bin" directory: its own directory is home.
  home.Make(EOSCFGENTITY_DRIVER, nullptr, home.Home() + "/lib/tool");
  EXPECT_EQ(home.Home() + "/lib", home.Main(OS_CFGTAG_HOMEDIRECTORY));
  EXPECT_EQ("lib", home.Main(OS_CFGTAG_HOMENAME));
  EXPECT_EQ(home.Home() + "/lib/const.ini", home.Main(OS_CFGTAG_CONST_INI));
}

TEST(CfgDirectories, OverrideFileChoice)
{
  CfgHome home;
  home.WriteIni("[dsIdentity]\nForceProbe=1\n");
  ostest::WriteFile(home.Home() + "/const_override.ini", "[dsIdentity]\nForceProbe=2\n");
  ostest::WriteFile(home.Home() + "/mine.ini", "[dsIdentity]\nForceProbe=3\n");
  ostest::WriteFile(home.Tmp() / "abs.ini", "[dsIdentity]\nForceProbe=4\n");

  home.Make();
  EXPECT_EQ(home.Home() + "/const_override.ini", home.Main(OS_CFGTAG_CONST_INI));
  EXPECT_EQ("2", home.Main(OS_CFGTAG_FORCEPROBE));
  {
    ostest::ScopedEnv env("QRB_OVERRIDEINI", "mine.ini");  // relative to home
    home.Make();
    EXPECT_EQ(home.Home() + "/mine.ini", home.Main(OS_CFGTAG_CONST_INI_SHARED));
    EXPECT_EQ("3", home.Main(OS_CFGTAG_FORCEPROBE));
  }
  {
    ostest::ScopedEnv env("QRB_OVERRIDEINI", (home.Tmp() / "abs.ini").c_str());
    home.Make();
    EXPECT_EQ("4", home.Main(OS_CFGTAG_FORCEPROBE));
  }
  {
    ostest::ScopedEnv env("QRB_OVERRIDEINI", "");  // empty: as if unset
    home.Make();
    EXPECT_EQ("2", home.Main(OS_CFGTAG_FORCEPROBE));
  }
}

TEST(CfgDirectories, OutputsForStartUp)
{
  CfgHome home;
  std::unique_ptr<COsCfgImpl> poscfgimpl(new COsCfgImpl("isis", EOSCFGENTITY_UTILITY));
  poscfgimpl->SetProgramPath(home.Program().c_str());
  EXPECT_EQ(EOSSTS_NOTATTEMPTED, poscfgimpl->GetCreateStatus());
  char szLog[512];
  char szName[64];
  char szCompany[64];
  char szRoot[512];
  ASSERT_EQ(EOSSTS_OK, poscfgimpl->SetDirectories(szLog, sizeof(szLog), szName, sizeof(szName), szCompany,
                                                  sizeof(szCompany), szRoot, sizeof(szRoot)));
  EXPECT_EQ(home.Root() + "/log", szLog);
  EXPECT_STREQ("scanmodel", szName);
  EXPECT_STREQ("qrb", szCompany);
  EXPECT_EQ(home.Root(), szRoot);
  EXPECT_EQ(EOSSTS_OK, poscfgimpl->GetCreateStatus());
  EXPECT_EQ(home.Root() + "/log/isis.log", poscfgimpl->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_QRB_LOG));

  // A second computation keeps the first creation status; outputs may be
  // left out, and a small buffer gets what fits.
  char szShort[4];
  ASSERT_EQ(EOSSTS_OK,
            poscfgimpl->SetDirectories(nullptr, 0, szShort, sizeof(szShort), nullptr, 0, nullptr, 0));
  EXPECT_STREQ("sca", szShort);
  EXPECT_EQ(EOSSTS_OK, poscfgimpl->GetCreateStatus());
}

TEST(CfgDirectories, LogDirectoryThatCannotBeMadeIsNotAFailure)
{
  CfgHome home;
  ostest::WriteFile(home.Tmp() / "afile", "x");
  ostest::ScopedEnv envRoot("QRB_SHGETFOLDERPATH", (home.Tmp() / "afile").c_str());
  std::unique_ptr<COsCfgImpl> poscfgimpl(new COsCfgImpl("isis", EOSCFGENTITY_UTILITY));
  poscfgimpl->SetProgramPath(home.Program().c_str());
  char szLog[512];
  EXPECT_EQ(EOSSTS_OK, poscfgimpl->SetDirectories(szLog, sizeof(szLog), nullptr, 0, nullptr, 0, nullptr, 0));
  EXPECT_NE(EOSSTS_OK, poscfgimpl->GetCreateStatus());
  EXPECT_NE(EOSSTS_NOTATTEMPTED, poscfgimpl->GetCreateStatus());
}

TEST(CfgDirectories, ForceSetAccessOpensTheLogDirectoryToTheGroup)
{
  CfgHome home;
  const std::string strLog = home.Root() + "/log";
  mkdir(home.Root().c_str(), 0700);
  mkdir(strLog.c_str(), 0700);
  chmod(strLog.c_str(), 0700);
  struct stat statLog;
  home.Make();
  ASSERT_EQ(0, stat(strLog.c_str(), &statLog));
  EXPECT_EQ(0700u, statLog.st_mode & 0777u);
  ostest::ScopedEnv envForce("QRB_FORCESETACCESS", "true");
  home.Make();
  ASSERT_EQ(0, stat(strLog.c_str(), &statLog));
  EXPECT_EQ(0760u, statLog.st_mode & 0777u);
}

TEST(CfgDirectories, RelativeProgramPathFallsBackToTheRunningProgram)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_DRIVER, nullptr, "relative/name");
  const std::string strDriverPath = home.Main(OS_CFGTAG_DRIVERPATH);
  ASSERT_FALSE(strDriverPath.empty());
  EXPECT_EQ('/', strDriverPath[0]);
  EXPECT_NE(std::string::npos, strDriverPath.find("test_coscfg_dirs"));
}
