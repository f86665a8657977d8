// test_coscfg_load.cpp: loading a real const.ini from a temporary home: the
// file syntax, the defaults, the brand texts, the version flag and the
// identification of the running program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "os_coscfg.h"
#include "os_testlog.h"
#include "test_coscfg.h"

namespace
{

long Number(const std::string &a_strValue)
{
  return strtol(a_strValue.c_str(), COsCfg::GetThrowAwayPointer(), 0);
}

}  // namespace

TEST(CfgIniSyntax, SectionNamesIgnoreCaseAndValuesKeepTheirText)
{
  CfgHome home;
  home.WriteIni("[DSIDENTITY]\ndebug=0x3\n");
  home.Make();
  EXPECT_EQ("0x3", home.Main(OS_CFGTAG_DEBUG));
  EXPECT_EQ(3, Number(home.Main(OS_CFGTAG_DEBUG)));
}

TEST(CfgIniSyntax, KeyIsTakenExactlyAndValueLosesOnlyLeadingBlanks)
{
  CfgHome home;
  home.WriteIni(
      "[dsIdentity]\n"
      "Debug =1\n"                 // blank before '=': unknown key
      "ForceMaxMsg=  \t7 \n"       // leading blanks and tab dropped, trailing kept
      "ForceSpawnRetry=1 ;note\n"  // no trailing comments
      ";ForceProbe=9\n"            // a comment
      " ForceNetRetry=8\n");       // a leading blank makes the key unknown too
  home.Make();
  EXPECT_EQ("0", home.Main(OS_CFGTAG_DEBUG));
  EXPECT_EQ("7 ", home.Main(OS_CFGTAG_FORCEMAXMSG));
  EXPECT_EQ("1 ;note", home.Main(OS_CFGTAG_FORCESPAWNRETRY));
  EXPECT_EQ("3", home.Main(OS_CFGTAG_FORCEPROBE));
  EXPECT_EQ("2", home.Main(OS_CFGTAG_FORCENETRETRY));
}

TEST(CfgIniSyntax, LinesOutsideKnownSectionsAndWithoutEqualsAreIgnored)
{
  CfgHome home;
  home.WriteIni(
      "ForceNetRetry=5\n"  // before any section
      "[Unknown]\n"
      "ForceMonitorMask=1\n"
      "[dsIdentity]\n"
      "ForceTiffVersion\n"  // no '='
      "NotAKey=1\n"
      "ForceUsbWire=\n");  // empty value
  home.Make();
  EXPECT_EQ("2", home.Main(OS_CFGTAG_FORCENETRETRY));
  EXPECT_EQ("7", home.Main(OS_CFGTAG_FORCEMONITORMASK));
  EXPECT_EQ("7", home.Main(OS_CFGTAG_FORCETIFFVERSION));
  EXPECT_EQ("", home.Main(OS_CFGTAG_FORCEUSBWIRE));
}

TEST(CfgIniSyntax, CarriageReturnsEndLinesAndLaterDuplicatesWin)
{
  CfgHome home;
  home.WriteIni("[dsIdentity\r\r\nForceTiffVersion=5\rForceProbe=1\r\nforceprobe=4\r\n\r\n");
  home.Make();
  EXPECT_EQ("5", home.Main(OS_CFGTAG_FORCETIFFVERSION));
  EXPECT_EQ("4", home.Main(OS_CFGTAG_FORCEPROBE));
}

TEST(CfgIniSyntax, KeysLandInTheSectionTheyStandIn)
{
  CfgHome home;
  home.WriteIni(
      "[Simulation]\nsimmodel=5\n"
      "[SupportedSizes]\nN3=A4\nN50=Letter\n"
      "[qrb_all.ds]\nJpegQuantization_Y_5=0102\n"
      "[Brand]\nDebug=9\n");
  home.Make();
  EXPECT_EQ("5", home.Get(OS_CFGSECTION_SIMULATION, OS_CFGTAG_SIMMODEL));
  EXPECT_EQ("A4", home.Get(OS_CFGSECTION_SUPPORTEDSIZES, OS_CFGTAG_N3));
  EXPECT_EQ("Letter", home.Get(OS_CFGSECTION_SUPPORTEDSIZES, OS_CFGTAG_N50));
  EXPECT_EQ("0102", home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_Y_5));
  EXPECT_EQ("9", home.Get(OS_CFGSECTION_BRAND, OS_CFGTAG_DEBUG));
  EXPECT_EQ("0", home.Main(OS_CFGTAG_DEBUG));
}

TEST(CfgIniSyntax, FileIsCutAt64KiB)
{
  CfgHome home;
  std::string strText = "[dsIdentity]\nForceProbe=6\n";
  const std::string strCut = "ForceSpawnRetry=12";  // what is left of the line at the cut
  strText += ";" + std::string(65536 - strCut.size() - strText.size() - 2, 'x') + "\n";
  strText += "ForceSpawnRetry=123";  // the cut leaves "ForceSpawnRetry=12"
  strText += "\nForceNetRetry=9\n";  // beyond the cut
  home.WriteIni(strText);
  home.Make();
  EXPECT_EQ("6", home.Main(OS_CFGTAG_FORCEPROBE));
  EXPECT_EQ("12", home.Main(OS_CFGTAG_FORCESPAWNRETRY));
  EXPECT_EQ("2", home.Main(OS_CFGTAG_FORCENETRETRY));
}

TEST(CfgIniSyntax, EmptyOrMissingFileLeavesTheDefaults)
{
  CfgHome home;
  home.Make();
  EXPECT_EQ("3", home.Main(OS_CFGTAG_FORCEPROBE));
  home.WriteIni("");
  home.Make();
  EXPECT_EQ("3", home.Main(OS_CFGTAG_FORCEPROBE));
  EXPECT_EQ(home.Home() + "/const.ini", home.Main(OS_CFGTAG_CONST_INI));
}

TEST(CfgDefaults, SectionOneSpotChecks)
{
  CfgHome home;
  home.Make();
  EXPECT_EQ("0", home.Main(OS_CFGTAG_DEBUGREQUEST));
  EXPECT_EQ("3", home.Main(OS_CFGTAG_LOGBACKUP));
  EXPECT_EQ("500", home.Main(OS_CFGTAG_EVENTSSAVED));
  EXPECT_EQ("-1", home.Main(OS_CFGTAG_EVENTSRELATIVETIME));
  EXPECT_EQ("177592500", home.Main(OS_CFGTAG_FORCEIMAGECACHEMEMORY));
  EXPECT_EQ("WinSta0\\Default", home.Main(OS_CFGTAG_FORCEDESKTOP));
  EXPECT_EQ("16777216", home.Main(OS_CFGTAG_FORCEFILECHUNKSIZE));
  EXPECT_EQ("511", home.Main(OS_CFGTAG_FORCEFILECREATIONMASK));
  EXPECT_EQ("1800000000", home.Main(OS_CFGTAG_FORCEMOTOREXEMAXMEMORY));
  EXPECT_EQ("ping.exe -n 1 -w 10000 %s", home.Main(OS_CFGTAG_FORCEPINGFORMATWINDOWS));
  EXPECT_EQ("0", home.Main(OS_CFGTAG_FORCETHREADAFFINITY));
  EXPECT_EQ("120000", home.Main(OS_CFGTAG_FORCENETTIMEOUTMGRINREAD));
  EXPECT_EQ("99999", home.Main(OS_CFGTAG_FORCENETADAPTERCHECKDELAY));
  EXPECT_EQ("2", home.Main(OS_CFGTAG_FORCEUSEDNSSD));
  EXPECT_EQ("0", home.Main(OS_CFGTAG_APPLICATIONTAMARIND));
  EXPECT_EQ("1", home.Main(OS_CFGTAG_APPLICATIONPORTICO));
  // Empty defaults and tags without a default both read as empty.
  EXPECT_EQ("", home.Main(OS_CFGTAG_VERSION_INFO));
  EXPECT_EQ("", home.Main(OS_CFGTAG_FORCELIBCURL));
  EXPECT_EQ("", home.Main(OS_CFGTAG_FORCEBARCODESUBCOMMANDOFF));
  EXPECT_EQ("", home.Main(OS_CFGTAG_APPLICATIONWHQL));
  EXPECT_EQ("", home.Main(OS_CFGTAG_DRIVERDIRECTORY));
  // The numeric buffers of the constructor.
  EXPECT_EQ("0", home.Main(OS_CFGTAG_DEBUG));
  EXPECT_EQ("", home.Main(OS_CFGTAG_DEBUGFILTER));
  EXPECT_EQ("512", home.Main(OS_CFGTAG_DEBUGDISPLAYLENGTH));
  EXPECT_EQ("0", home.Main(OS_CFGTAG_UITIMEOUT));
  EXPECT_EQ("10", home.Main(OS_CFGTAG_FORCESOCKETMONITORTIMEOUT));
  EXPECT_EQ("10", home.Main(OS_CFGTAG_FORCEUSBMONITORTIMEOUT));
}

TEST(CfgDefaults, OtherSectionsAndJpegTables)
{
  CfgHome home;
  home.Make();
  EXPECT_EQ("0", home.Get(OS_CFGSECTION_SIMULATION, OS_CFGTAG_SIMFLATBED));
  EXPECT_EQ("false", home.Get(OS_CFGSECTION_SIMULATION, OS_CFGTAG_SIMULATION));
  EXPECT_EQ("", home.Get(OS_CFGSECTION_SIMULATION, OS_CFGTAG_SIMPRINTER));
  EXPECT_EQ("QRB Imaging", home.Get(OS_CFGSECTION_BRAND, OS_CFGTAG_COMPANYNAME));
  EXPECT_EQ("qrb", home.Get(OS_CFGSECTION_BRAND, OS_CFGTAG_COMPANYNAMESHORT));
  EXPECT_EQ("QRB Scanner Driver", home.Get(OS_CFGSECTION_BRAND, OS_CFGTAG_PRODUCTFAMILY));
  EXPECT_EQ("QRB Hot-Plug Helper", home.Get(OS_CFGSECTION_BRAND, OS_CFGTAG_PRODUCTNAME));
  EXPECT_EQ("QRB Imaging", home.Main(OS_CFGTAG_MANUFACTURER));

  std::string strOnes;
  for (int i = 0; i < 64; i++)
  {
    strOnes += "01";
  }
  EXPECT_EQ(strOnes, home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_Y_100));
  EXPECT_EQ(strOnes, home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_CBCR_100));
  // Quality 50 is the base table itself: 16 11 10 16 24 40 51 61 ... 99.
  const std::string strY50 = home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_Y_50);
  EXPECT_EQ(0u, strY50.find("100B0A101828333D"));
  EXPECT_EQ("63", strY50.substr(126));
  const uint32_t au32Tables[] = {OS_CFGTAG_JPEGQUANTIZATION_Y_40,    OS_CFGTAG_JPEGQUANTIZATION_CBCR_40,
                                 OS_CFGTAG_JPEGQUANTIZATION_CBCR_50, OS_CFGTAG_JPEGQUANTIZATION_Y_80,
                                 OS_CFGTAG_JPEGQUANTIZATION_CBCR_80, OS_CFGTAG_JPEGQUANTIZATION_Y_90,
                                 OS_CFGTAG_JPEGQUANTIZATION_CBCR_90};
  for (uint32_t u32Tag : au32Tables)
  {
    const std::string strTable = home.Get(OS_CFGSECTION_QRB_ALL, u32Tag);
    EXPECT_EQ(128u, strTable.size()) << u32Tag;
    EXPECT_EQ(std::string::npos, strTable.find_first_not_of("0123456789ABCDEF")) << u32Tag;
  }
  // A higher quality divides more gently: the first coefficient falls.
  EXPECT_GT(strtol(home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_Y_40).substr(0, 2).c_str(),
                   nullptr, 16),
            strtol(home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_Y_90).substr(0, 2).c_str(),
                   nullptr, 16));
  EXPECT_EQ("", home.Get(OS_CFGSECTION_QRB_ALL, OS_CFGTAG_JPEGQUANTIZATION_Y_45));
}

TEST(CfgLoad, BrandRecordOverridesTheFileWhereItHasAText)
{
  CfgHome home;
  home.WriteIni("[Brand]\nCompanyName=Other Maker\nUrlCompany=http://example.invalid/\n");
  home.Make();
  EXPECT_EQ("QRB Imaging", home.Get(OS_CFGSECTION_BRAND, OS_CFGTAG_COMPANYNAME));
  EXPECT_EQ("http://example.invalid/", home.Get(OS_CFGSECTION_BRAND, OS_CFGTAG_URLCOMPANY));
}

TEST(CfgLoad, DirectoryKeysOfTheFileAreDiscardedExceptTheDesktop)
{
  CfgHome home;
  home.WriteIni("[dsIdentity]\nHomeDirectory=/x\nDriverDirectory=/drv\nDesktopDirectory=/d\n");
  home.Make();
  EXPECT_EQ(home.Home(), home.Main(OS_CFGTAG_HOMEDIRECTORY));
  EXPECT_EQ("/drv", home.Main(OS_CFGTAG_DRIVERDIRECTORY));
  EXPECT_EQ("/d", home.Main(OS_CFGTAG_DESKTOPDIRECTORY));
  EXPECT_EQ("/d", home.Main(OS_CFGTAG_SHAREDDESKTOPDIRECTORY));
}

TEST(CfgLoad, VersionChangedOnlyWhenTheFileChangesMajorOrMinor)
{
  OsCfgVersion oscfgversion = {"1", "2", "3", "4", "05", "06", "2026"};
  CfgHome home;
  home.WriteIni("[dsIdentity]\nVersion.PatchNum=9\n");
  EXPECT_FALSE(home.Make(EOSCFGENTITY_DRIVER, nullptr, "", &oscfgversion)->GetVersionChanged());
  EXPECT_EQ("1", home.Main(OS_CFGTAG_VERSION_MAJORNUM));
  EXPECT_EQ("9", home.Main(OS_CFGTAG_VERSION_PATCHNUM));
  EXPECT_EQ("2026", home.Main(OS_CFGTAG_VERSION_YEAR));
  home.WriteIni("[dsIdentity]\nVersion.MinorNum=0x2\n");  // the same number
  EXPECT_FALSE(home.Make(EOSCFGENTITY_DRIVER, nullptr, "", &oscfgversion)->GetVersionChanged());
  home.WriteIni("[dsIdentity]\nVersion.MinorNum=3\n");
  EXPECT_TRUE(home.Make(EOSCFGENTITY_DRIVER, nullptr, "", &oscfgversion)->GetVersionChanged());
}

TEST(CfgLoad, MeridianVersionComesFromTheEnvironmentOnlyWhenZero)
{
  CfgHome home;
  ostest::ScopedEnv env("MERIDIAN_VERSION", "01020304");
  home.Make();
  EXPECT_EQ("01020304", home.Main(OS_CFGTAG_MERIDIANVERSION));
  home.WriteIni("[dsIdentity]\nMeridianVersion=12\n");
  home.Make();
  EXPECT_EQ("12", home.Main(OS_CFGTAG_MERIDIANVERSION));
}

TEST(CfgLoad, PerInstallationFilesFollowTheEntity)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_UTILITY);
  EXPECT_EQ(home.Root() + "/common/setup001.ini", home.Main(OS_CFGTAG_SETUP001_INI));
  home.Make(EOSCFGENTITY_DRIVER);
  EXPECT_EQ(home.Root() + "/user/setup001.ini", home.Main(OS_CFGTAG_SETUP001_INI));
  home.Make(EOSCFGENTITY_UNKNOWN);
  EXPECT_EQ(home.Root() + "/user/setup001.ini", home.Main(OS_CFGTAG_SETUP001_INI));
  // ramscan.txt falls back to the home directory unless it exists.
  EXPECT_EQ(home.Home() + "/ramscan.txt", home.Main(OS_CFGTAG_RAMSCAN_TXT));
  mkdir((home.Root() + "/user").c_str(), 0777);
  ostest::WriteFile(home.Root() + "/user/ramscan.txt", "x");
  home.Make(EOSCFGENTITY_DRIVER);
  EXPECT_EQ(home.Root() + "/user/ramscan.txt", home.Main(OS_CFGTAG_RAMSCAN_TXT));
  // A value of the file is kept, normalised.
  home.WriteIni("[dsIdentity]\nSETUP001.INI=/a//b\\setup.ini\n");
  home.Make();
  EXPECT_EQ("/a/b/setup.ini", home.Main(OS_CFGTAG_SETUP001_INI));
}

TEST(CfgLoad, ProgramIdentification)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_DRIVER, nullptr, home.Home() + "/bin/DriverMotorExe");
  EXPECT_EQ(home.Home() + "/bin/DriverMotorExe", home.Main(OS_CFGTAG_APPLICATION));
  EXPECT_EQ("1", home.Main(OS_CFGTAG_APPLICATIONDRIVERMOTOREXE));
  EXPECT_EQ("", home.Main(OS_CFGTAG_APPLICATIONMOTOREXE));
  home.Make(EOSCFGENTITY_DRIVER, nullptr, home.Home() + "/bin/motorexe");
  EXPECT_EQ("1", home.Main(OS_CFGTAG_APPLICATIONMOTOREXE));
  EXPECT_EQ("", home.Main(OS_CFGTAG_APPLICATIONDRIVERMOTOREXE));
  home.Make(EOSCFGENTITY_DRIVER, nullptr, "/usr/bin/xsane");
  EXPECT_EQ("1", home.Main(OS_CFGTAG_APPLICATIONXSANE));
  home.Make(EOSCFGENTITY_DRIVER, nullptr, "/opt/LANTERN");
  EXPECT_EQ("1", home.Main(OS_CFGTAG_APPLICATIONLANTERN));
  home.Make(EOSCFGENTITY_DRIVER, nullptr, "/opt/Osprey");  // "osprey" is compared exactly
  EXPECT_EQ("0", home.Main(OS_CFGTAG_APPLICATIONOSPREY));
  home.WriteIni("[dsIdentity]\nForceProgramName=/opt/osprey\n");
  home.Make();
  EXPECT_EQ("/opt/osprey", home.Main(OS_CFGTAG_APPLICATION));
  EXPECT_EQ("1", home.Main(OS_CFGTAG_APPLICATIONOSPREY));
}

TEST(CfgLoad, DriverGetsTheOkapiLogPathUnlessTheFileNamesOne)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_DRIVER);
  EXPECT_EQ(home.Root() + "/log/okapi", home.Main(OS_CFGTAG_OKAPI_LOGPATH));
  home.Make(EOSCFGENTITY_APPLICATION);
  EXPECT_EQ("", home.Main(OS_CFGTAG_OKAPI_LOGPATH));
  home.WriteIni("[dsIdentity]\nOKAPI_LOGPATH=/o\n");
  home.Make(EOSCFGENTITY_DRIVER);
  EXPECT_EQ("/o", home.Main(OS_CFGTAG_OKAPI_LOGPATH));
}

TEST(CfgLoadMessages, UnreadableFileAndUnknownEntity)
{
  CfgHome home;
  ostest::LogCapture capture(1);
  home.WriteIni("");
  home.Make(EOSCFGENTITY_UNKNOWN);
  // Up to the log set-up the capture file receives the lines; after it the
  // log writes to the configured log file.
  const std::vector<std::string> vecBefore = capture.Messages();
  const std::string strIni = home.Home() + "/const.ini";
  EXPECT_NE(vecBefore.end(),
            std::find(vecBefore.begin(), vecBefore.end(), "E fread failed...<" + strIni + ">"));
  EXPECT_NE(vecBefore.end(), std::find(vecBefore.begin(), vecBefore.end(), "A LoadFile failed..."));
  EXPECT_NE(vecBefore.end(),
            std::find(vecBefore.begin(), vecBefore.end(), ". Setting configuration defaults..."));
  const std::string strLog = ostest::ReadFile(home.Root() + "/log/pnphelper.log");
  size_t sizetUnknown = 0;
  for (size_t pos = strLog.find("Unrecognized entity...0"); pos != std::string::npos;
       pos = strLog.find("Unrecognized entity...0", pos + 1))
  {
    sizetUnknown++;
  }
  EXPECT_EQ(2u, sizetUnknown);  // setup001.ini and ramscan.txt
  EXPECT_NE(std::string::npos, strLog.find("Program is...<" + home.Program() + ">"));
}
