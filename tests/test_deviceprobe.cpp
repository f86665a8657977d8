// test_deviceprobe.cpp: the deviceprobe program run on fake sysfs trees
// (DEVICEPROBE_SYSFS): exit 0 when a listed device is attached, 1 when
// none is, 2 on a malformed list or a bad command line.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "os_testutil.h"

namespace
{

class DeviceProbe : public ::testing::Test
{
protected:
  DeviceProbe() : m_strSysfs(m_tempdir / "sys")
  {
    std::filesystem::create_directories(m_strSysfs + "/bus/usb/devices");
    std::filesystem::create_directories(m_strSysfs + "/devices");
  }

  // Adds a device the way sysfs shows it: a link in bus/usb/devices to a
  // directory elsewhere holding idVendor and idProduct.
  void Attach(const std::string &a_strName, const std::string &a_strVendor, const std::string &a_strProduct)
  {
    const std::string strDevice = m_strSysfs + "/devices/" + a_strName;
    std::filesystem::create_directory(strDevice);
    if (!a_strVendor.empty())
      ostest::WriteFile(strDevice + "/idVendor", a_strVendor + "\n");
    if (!a_strProduct.empty())
      ostest::WriteFile(strDevice + "/idProduct", a_strProduct + "\n");
    ASSERT_EQ(0, symlink(strDevice.c_str(), (m_strSysfs + "/bus/usb/devices/" + a_strName).c_str()));
  }

  // The exit status with a_vecArgs (each quoted for the shell); its
  // standard error is left in m_strStderr.
  int Probe(const std::vector<std::string> &a_vecArgs, const std::string &a_strSysfs = "")
  {
    std::string strCommand = "DEVICEPROBE_SYSFS='" + (a_strSysfs.empty() ? m_strSysfs : a_strSysfs) + "'";
    std::vector<std::string> vecCommand = ostest::ProgramCommand(DEVICEPROBE_BIN);
    vecCommand.insert(vecCommand.end(), a_vecArgs.begin(), a_vecArgs.end());
    for (const std::string &str : vecCommand)
    {
      strCommand += " '" + str + "'";
    }
    const int iStatus = std::system((strCommand + " >/dev/null 2>'" + m_tempdir / "stderr" + "'").c_str());
    m_strStderr = ostest::ReadFile(m_tempdir / "stderr");
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
  }

  ostest::TempDir m_tempdir;
  std::string m_strSysfs;
  std::string m_strStderr;
};

TEST_F(DeviceProbe, StatusPerListAndDevices)
{
  EXPECT_EQ(1, Probe({"40a,6020"}));                         // nothing attached
  EXPECT_EQ(1, Probe({"40a,6020"}, m_tempdir / "nowhere"));  // no sysfs
  Attach("1-2", "040a", "6021");
  // Entries without usable identifiers are passed over.
  Attach("1-1:1.0", "", "");       // an interface
  Attach("1-3", "040a", "");       // half a device
  Attach("1-4", "zz", "6020");     // garbage
  Attach("1-5", "040a6", "6020");  // too long
  // The lists of each status: 0 (attached), 1 (not attached), 2 (malformed).
  const std::vector<const char *> avecList[] = {
      {"40a,6020;40a,6021", "40A,6021", "040a,6021"},
      {"40a,6020", "6021,40a", ""},
      {"40a", "40a,", "40a,6020;", ";40a,6020", "40g,6020", "12345,6020"}};
  for (int iStatus = 0; iStatus < 3; iStatus++)
  {
    for (const char *szList : avecList[iStatus])
    {
      EXPECT_EQ(iStatus, Probe({szList})) << szList;
      EXPECT_EQ(iStatus == 2, m_strStderr.find("malformed") != std::string::npos) << szList;
    }
  }
  Attach("1-6", "040a", "6020");
  EXPECT_EQ(0, Probe({"40a,6020"}));
  // Anything but one argument is a usage error.
  EXPECT_EQ(2, Probe({}));
  EXPECT_EQ(0u, m_strStderr.find("usage"));
  EXPECT_EQ(2, Probe({"40a,6020", "40a,6021"}));
}

}  // namespace
