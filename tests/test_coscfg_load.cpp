// test_coscfg_load.cpp: loading a real const.ini from a temporary home: the
// file syntax, the defaults, the brand texts, the version flag and the
// identification of the running program; the directory computation: home
// and root, the directories below the root, the configuration file with its
// override mechanism, the log directory and the outputs asked for by start-up.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <regex>
#include <string>

#include "cosfile_testutil.h"
#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "test_coscfg.h"

namespace
{

std::unique_ptr<COsCfgImpl> UtilityImpl(const CfgHome &a_home)
{
  std::unique_ptr<COsCfgImpl> poscfgimpl(new (std::nothrow) COsCfgImpl("isis", EOSCFGENTITY_UTILITY));
  poscfgimpl->SetProgramPath(a_home.Program().c_str());
  return poscfgimpl;
}

}  // namespace

// Section names ignore case; values keep their text; keys count only in
// the section they stand in.
TEST(CfgIniSyntax, KeysValuesAndSections)
{
  CfgHome home;
  home.MakeWith(
      "ForceNetRetry=5\n"  // before any section
      "[Unknown]\nForceMonitorMask=1\n"
      "[dsIdentity]\nForceTiffVersion\n"  // no '='
      "NotAKey=1\nForceUsbWire=\n"
      "Debug =1\n"                 // blank before '=': unknown key
      "ForceMaxMsg=  \t7 \n"       // leading blanks and tab dropped, trailing kept
      "ForceSpawnRetry=1 ;note\n"  // no trailing comments
      ";ForceProbe=9\n"            // a comment
      " ForceNetRetry=8\n"         // a leading blank makes the key unknown too
      "[SupportedSizes]\nN3=A4\n"
      "[qrb_all.ds]\nJpegQuantization_Y_5=0102\n[Brand]\nDebug=9\n");
  home.Expect({{OS_CFGTAG_DEBUG, "0"},
               {OS_CFGTAG_FORCEMAXMSG, "7 "},
               {OS_CFGTAG_FORCESPAWNRETRY, "1 ;note"},
               {OS_CFGTAG_FORCEPROBE, "3"},
               {OS_CFGTAG_FORCENETRETRY, "2"},
               {OS_CFGTAG_FORCEMONITORMASK, "7"},
               {OS_CFGTAG_FORCETIFFVERSION, "7"},
               {OS_CFGTAG_FORCEUSBWIRE, ""},
               {OS_CFGTAG_N3, "A4", OS_CFGSECTION_SUPPORTEDSIZES},
               {OS_CFGTAG_JPEGQUANTIZATION_Y_5, "0102", OS_CFGSECTION_QRB_ALL},
               {OS_CFGTAG_DEBUG, "9", OS_CFGSECTION_BRAND}});
  // Carriage returns end lines; a later duplicate wins.
  home.MakeWith("[dsIdentity\r\r\nForceTiffVersion=5\rForceProbe=1\r\nforceprobe=4\r\n\r\n");
  home.Expect({{OS_CFGTAG_FORCETIFFVERSION, "5"}, {OS_CFGTAG_FORCEPROBE, "4"}});
}

TEST(CfgIniSyntax, FileIsCutAt64KiB)
{
  CfgHome home;
  std::string strText = "[dsIdentity]\nForceProbe=6\n";
  const std::string strCut = "ForceSpawnRetry=12";  // what is left of the line at the cut
  strText += ";" + std::string(65536 - strCut.size() - strText.size() - 2, 'x') + "\n";
  strText += "ForceSpawnRetry=123\nForceNetRetry=9\n";
  home.MakeWith(strText);
  home.Expect(
      {{OS_CFGTAG_FORCEPROBE, "6"}, {OS_CFGTAG_FORCESPAWNRETRY, "12"}, {OS_CFGTAG_FORCENETRETRY, "2"}});
}

TEST(CfgDefaults, EmptyOrMissingFileAndTheJpegTables)
{
  CfgHome home;
  home.MakeWith("");
  // A tag without a default reads as empty; numeric defaults are the
  // constructor's buffers.
  home.Expect({{OS_CFGTAG_FORCEPROBE, "3"},
               {OS_CFGTAG_CONST_INI, home.Home() + "/const.ini"},
               {OS_CFGTAG_DRIVERDIRECTORY, ""},
               {OS_CFGTAG_DEBUGDISPLAYLENGTH, "512"}});
  // Anything but a regular file counts as missing; a FIFO does not block.
  ASSERT_EQ(0, unlink((home.Home() + "/const.ini").c_str()));
  ASSERT_EQ(0, mkfifo((home.Home() + "/const.ini").c_str(), 0666));
  home.Make();
  home.Expect({{OS_CFGTAG_FORCEPROBE, "3"}});
  // The JPEG tables: quality 50 is the base table itself (16 11 10 16 24
  // 40 51 61 ... 99), quality 100 divides it down to ones.
  const std::string strY50 = home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_Y_50);
  EXPECT_EQ(0u, strY50.find("100B0A101828333D"));
  EXPECT_EQ("63", strY50.substr(126));
  const std::string strCbCr100 = home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_CBCR_100);
  EXPECT_TRUE(std::regex_match(strCbCr100, std::regex("(01){64}"))) << strCbCr100;
}

TEST(CfgLoad, BrandRecordAndDirectoryKeysOverrideTheFile)
{
  CfgHome home;
  home.MakeWith("[Brand]\nCompanyName=Other Maker\nUrlCompany=http://example.invalid/\n");
  home.Expect({{OS_CFGTAG_COMPANYNAME, "QRB Imaging", OS_CFGSECTION_BRAND},
               {OS_CFGTAG_URLCOMPANY, "http://example.invalid/", OS_CFGSECTION_BRAND}});
  // Directory keys of the file are discarded, except the desktop.
  home.MakeWith("[dsIdentity]\nHomeDirectory=/x\nDriverDirectory=/drv\nDesktopDirectory=/d\n");
  home.Expect({{OS_CFGTAG_HOMEDIRECTORY, home.Home()},
               {OS_CFGTAG_DRIVERDIRECTORY, "/drv"},
               {OS_CFGTAG_DESKTOPDIRECTORY, "/d"},
               {OS_CFGTAG_SHAREDDESKTOPDIRECTORY, "/d"}});
}

TEST(CfgLoad, VersionChangedOnlyWhenTheFileChangesMajorOrMinor)
{
  OsCfgVersion oscfgversion = {"1", "2", "3", "4", "05", "06", "2026"};
  CfgHome home;
  home.WriteIni("[dsIdentity]\nVersion.MinorNum=0x2\nVersion.PatchNum=9\n");  // the same minor number
  EXPECT_FALSE(home.Make(EOSCFGENTITY_DRIVER, nullptr, "", &oscfgversion)->GetVersionChanged());
  home.Expect({{OS_CFGTAG_VERSION_MAJORNUM, "1"}, {OS_CFGTAG_VERSION_PATCHNUM, "9"}});
  home.WriteIni("[dsIdentity]\nVersion.MinorNum=3\n");
  EXPECT_TRUE(home.Make(EOSCFGENTITY_DRIVER, nullptr, "", &oscfgversion)->GetVersionChanged());

  // MERIDIAN_VERSION counts only while the file leaves the version 0.
  ostest::ScopedEnv env("MERIDIAN_VERSION", "01020304");
  home.MakeWith("");
  home.Expect({{OS_CFGTAG_MERIDIANVERSION, "01020304"}});
  home.MakeWith("[dsIdentity]\nMeridianVersion=12\n");
  home.Expect({{OS_CFGTAG_MERIDIANVERSION, "12"}});
}

TEST(CfgLoad, PerInstallationFilesFollowTheEntity)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_UTILITY);
  home.Expect({{OS_CFGTAG_SETUP001_INI, home.Root() + "/common/setup001.ini"}});
  home.Make(EOSCFGENTITY_DRIVER);
  home.Expect({{OS_CFGTAG_SETUP001_INI, home.Root() + "/user/setup001.ini"},
               {OS_CFGTAG_OKAPI_LOGPATH, home.Root() + "/log/okapi"},
               {OS_CFGTAG_RAMSCAN_TXT, home.Home() + "/ramscan.txt"}});  // unless it exists below the root
  home.Make(EOSCFGENTITY_APPLICATION);
  home.Expect({{OS_CFGTAG_OKAPI_LOGPATH, ""}});  // only a driver gets one
  mkdir((home.Root() + "/user").c_str(), 0777);
  ostest::WriteFile(home.Root() + "/user/ramscan.txt", "x");
  home.Make(EOSCFGENTITY_DRIVER);
  home.Expect({{OS_CFGTAG_RAMSCAN_TXT, home.Root() + "/user/ramscan.txt"}});
}

TEST(CfgLoad, ProgramIdentification)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_DRIVER, nullptr, home.Home() + "/bin/DriverMotorExe");
  home.Expect({{OS_CFGTAG_APPLICATIONDRIVERMOTOREXE, "1"}, {OS_CFGTAG_APPLICATIONMOTOREXE, ""}});
  // "osprey" is compared exactly; the file can name the program.
  home.Make(EOSCFGENTITY_DRIVER, nullptr, "/opt/Osprey");
  home.Expect({{OS_CFGTAG_APPLICATION, "/opt/Osprey"}, {OS_CFGTAG_APPLICATIONOSPREY, "0"}});
  home.MakeWith("[dsIdentity]\nForceProgramName=/opt/osprey\n");
  home.Expect({{OS_CFGTAG_APPLICATION, "/opt/osprey"}, {OS_CFGTAG_APPLICATIONOSPREY, "1"}});
}

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
  EXPECT_NE(std::string::npos, strDriverPath.find("test_coscfg_load"));
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
}

TEST(CfgDirectories, OutputsForStartUpAndALogDirectoryThatCannotBeMade)
{
  CfgHome home;
  std::unique_ptr<COsCfgImpl> poscfgimpl = UtilityImpl(home);
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
  // A log directory that cannot be made does not fail the computation.
  ostest::WriteFile(home.Tmp() / "afile", "x");
  ostest::ScopedEnv envRoot("QRB_SHGETFOLDERPATH", (home.Tmp() / "afile").c_str());
  poscfgimpl = UtilityImpl(home);
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
  home.Make();
  EXPECT_EQ(0700, ostest::ModeOf(strLog));
  ostest::ScopedEnv envForce("QRB_FORCESETACCESS", "true");
  home.Make();
  EXPECT_EQ(0760, ostest::ModeOf(strLog));
}
