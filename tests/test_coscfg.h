// test_coscfg.h: a temporary installation for configuration tests: a home
// directory holding the program's "bin" directory and its const.ini, and a
// separate writeable root named by QRB_SHGETFOLDERPATH. The environment
// variables the loader reads are set or cleared for the test's life, and
// the configuration object is destroyed (clearing g_poscfg) before them.
#ifndef TEST_COSCFG_H
#define TEST_COSCFG_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>

#include "os_coscfg.h"
#include "os_testutil.h"

// An expected value of the table: section 1 unless named.
struct CfgWant
{
  uint32_t u32Tag;
  std::string strValue;
  uint32_t u32Section = OS_CFGSECTION_MAIN;
};

class CfgHome
{
public:
  CfgHome()
      : m_envRoot("QRB_SHGETFOLDERPATH", (m_tmp / "root").c_str()),
        m_envOverride("QRB_OVERRIDEINI", nullptr),
        m_envOsCfgDir("QRB_OSCFGDIR", nullptr),
        m_envMeridian("MERIDIAN_VERSION", nullptr),
        m_envForce("QRB_FORCESETACCESS", nullptr)
  {
    mkdir(Home().c_str(), 0777);
    mkdir((Home() + "/bin").c_str(), 0777);
  }
  ~CfgHome() { m_poscfg.reset(); }

  // The home directory H and the root R.
  std::string Home() const { return m_tmp / "scanmodel"; }
  std::string Root() const { return m_tmp / "root"; }
  std::string Program() const { return Home() + "/bin/pnphelper"; }
  const ostest::TempDir &Tmp() const { return m_tmp; }

  // Writes H/const.ini.
  void WriteIni(const std::string &a_strText) const { ostest::WriteFile(Home() + "/const.ini", a_strText); }

  // Makes the configuration for a program (default: H/bin/pnphelper).
  COsCfg *Make(EOSCFGENTITY a_eoscfgentity = EOSCFGENTITY_DRIVER, const char *a_szArguments = nullptr,
               const std::string &a_strProgram = std::string(), const OsCfgVersion *a_poscfgversion = nullptr)
  {
    m_poscfg.reset();
    const std::string strProgram = a_strProgram.empty() ? Program() : a_strProgram;
    m_poscfg.reset(
        new COsCfg("pnphelper", a_eoscfgentity, a_szArguments, a_poscfgversion, false, strProgram.c_str()));
    return m_poscfg.get();
  }
  // Writes H/const.ini and makes the configuration of a driver.
  COsCfg *MakeWith(const std::string &a_strIni)
  {
    WriteIni(a_strIni);
    return Make();
  }
  std::string Get(uint32_t a_u32Section, uint32_t a_u32Tag) { return m_poscfg->Get(a_u32Section, a_u32Tag); }
  template <size_t N>
  void Expect(const CfgWant (&a_awant)[N])
  {
    for (const CfgWant &want : a_awant)
    {
      EXPECT_EQ(want.strValue, Get(want.u32Section, want.u32Tag))
          << "section " << want.u32Section << " tag " << want.u32Tag;
    }
  }

private:
  ostest::TempDir m_tmp;
  ostest::ScopedEnv m_envRoot;
  ostest::ScopedEnv m_envOverride;
  ostest::ScopedEnv m_envOsCfgDir;
  ostest::ScopedEnv m_envMeridian;
  ostest::ScopedEnv m_envForce;
  std::unique_ptr<COsCfg> m_poscfg;
};

#endif  // TEST_COSCFG_H
