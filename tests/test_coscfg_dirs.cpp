// test_coscfg_dirs.cpp: the directory computation: home and root, the
// directories below the root, the configuration file with its override
// mechanism, the log directory and the outputs asked for by start-up.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>

#include "cosfile_testutil.h"
#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "test_coscfg.h"

namespace
{

std::unique_ptr<COsCfgImpl> UtilityImpl(const CfgHome &a_home)
{
  std::unique_ptr<COsCfgImpl> poscfgimpl(new COsCfgImpl("isis", EOSCFGENTITY_UTILITY));
  poscfgimpl->SetProgramPath(a_home.Program().c_str());
  return poscfgimpl;
}

}  // namespace

TEST(CfgDirectories, RootFromTheEnvironment)
{
  CfgHome home;
  ostest::ScopedEnv envHome("HOME", "/home/someone");
  ostest::ScopedEnv envTmp("TMPDIR", "/var/tmpx");
  home.Make();
  const std::string strRoot = home.Root();
  home.Expect({{OS_CFGTAG_DRIVERPATH, home.Program()},
               {OS_CFGTAG_ROOTPATH, strRoot},
               {OS_CFGTAG_COMMONDIRECTORY, strRoot + "/common"},
               {OS_CFGTAG_TMPDIRECTORY, "/var/tmpx"},
               {OS_CFGTAG_SHAREDDESKTOPDIRECTORY, "/home/someone/Desktop"},
               {OS_CFGTAG_CONST_INI_SHARED, home.Home() + "/const.ini"}});
  // Only the log directory is made.
  EXPECT_TRUE(ostest::IsDirectory(strRoot + "/log"));
  EXPECT_FALSE(ostest::FileExists(strRoot + "/user"));
}

TEST(CfgDirectories, RootDefaultsToHomeAndBinIsSkippedOnlyWhenNamedBin)
{
  CfgHome home;
  ostest::ScopedEnv envRoot("QRB_SHGETFOLDERPATH", "");
  ostest::ScopedEnv envHome("HOME", nullptr);
  ostest::ScopedEnv envTmp("TMPDIR", nullptr);
  home.Make();
  home.Expect({{OS_CFGTAG_ROOTPATH, home.Home()},
               {OS_CFGTAG_LOGDIRECTORY, home.Home() + "/log"},
               {OS_CFGTAG_TMPDIRECTORY, "/tmp"},
               {OS_CFGTAG_DESKTOPDIRECTORY, ""}});
  // A program that is not in a "bin" directory: its own directory is home.
  home.Make(EOSCFGENTITY_DRIVER, nullptr, home.Home() + "/lib/tool");
  home.Expect({{OS_CFGTAG_HOMEDIRECTORY, home.Home() + "/lib"},
               {OS_CFGTAG_HOMENAME, "lib"},
               {OS_CFGTAG_CONST_INI, home.Home() + "/lib/const.ini"}});
  // A relative program path falls back to the running program.
  home.Make(EOSCFGENTITY_DRIVER, nullptr, "relative/name");
  const std::string strDriverPath = home.Get(OS_CFGSECTION_MAIN, OS_CFGTAG_DRIVERPATH);
  EXPECT_EQ(0u, strDriverPath.find('/'));
  EXPECT_NE(std::string::npos, strDriverPath.find("test_coscfg_dirs"));
}

TEST(CfgDirectories, OverrideFileChoice)
{
  CfgHome home;
  home.WriteIni("[dsIdentity]\nForceProbe=1\n");
  ostest::WriteFile(home.Home() + "/const_override.ini", "[dsIdentity]\nForceProbe=2\n");
  ostest::WriteFile(home.Home() + "/mine.ini", "[dsIdentity]\nForceProbe=3\n");
  ostest::WriteFile(home.Tmp() / "abs.ini", "[dsIdentity]\nForceProbe=4\n");
  // QRB_OVERRIDEINI: relative to home, absolute, and empty as if unset (the
  // override file beside const.ini wins).
  const std::string strAbsolute = home.Tmp() / "abs.ini";
  const char *aszCases[][2] = {{"mine.ini", "3"}, {strAbsolute.c_str(), "4"}, {"", "2"}};
  for (const auto &aszCase : aszCases)
  {
    ostest::ScopedEnv env("QRB_OVERRIDEINI", aszCase[0]);
    home.Make();
    home.Expect({{OS_CFGTAG_FORCEPROBE, aszCase[1]}});
  }
  home.Expect({{OS_CFGTAG_CONST_INI, home.Home() + "/const_override.ini"}});
  ostest::ScopedEnv env("QRB_OVERRIDEINI", "mine.ini");
  home.Make();
  home.Expect({{OS_CFGTAG_CONST_INI_SHARED, home.Home() + "/mine.ini"}});
}

TEST(CfgDirectories, OutputsForStartUp)
{
  CfgHome home;
  std::unique_ptr<COsCfgImpl> poscfgimpl = UtilityImpl(home);
  EXPECT_EQ(EOSSTS_NOTATTEMPTED, poscfgimpl->GetCreateStatus());
  char szLog[512];
  char szName[64];
  char szCompany[64];
  char szRoot[512];
  ASSERT_EQ(EOSSTS_OK, poscfgimpl->SetDirectories(szLog, sizeof(szLog), szName, sizeof(szName), szCompany,
                                                  sizeof(szCompany), szRoot, sizeof(szRoot)));
  EXPECT_EQ(home.Root() + "/log", szLog);
  EXPECT_STREQ("scanmodel", szName);
  EXPECT_EQ(home.Root(), szRoot);
  EXPECT_EQ(EOSSTS_OK, poscfgimpl->GetCreateStatus());
  EXPECT_EQ(home.Root() + "/log/isis.log", poscfgimpl->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_QRB_LOG));
}

TEST(CfgDirectories, LogDirectoryThatCannotBeMadeIsNotAFailure)
{
  CfgHome home;
  ostest::WriteFile(home.Tmp() / "afile", "x");
  ostest::ScopedEnv envRoot("QRB_SHGETFOLDERPATH", (home.Tmp() / "afile").c_str());
  std::unique_ptr<COsCfgImpl> poscfgimpl = UtilityImpl(home);
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
  home.Make();
  EXPECT_EQ(0700, ostest::ModeOf(strLog));
  ostest::ScopedEnv envForce("QRB_FORCESETACCESS", "true");
  home.Make();
  EXPECT_EQ(0760, ostest::ModeOf(strLog));
}
