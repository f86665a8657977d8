// test_deviceprobe.cpp: the deviceprobe program run on fake sysfs trees
// (DEVICEPROBE_SYSFS): exit 0 when a listed device is attached, 1 when
// none is, 2 on a malformed list or a bad command line.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "os_testutil.h"

namespace
{

class DeviceProbe : public ::testing::Test
{
protected:
  // Adds a device the way sysfs shows it: a link in bus/usb/devices to a
  // directory elsewhere holding idVendor and idProduct.
  void Attach(const std::string &a_strName, const std::string &a_strVendor, const std::string &a_strProduct)
  {
    const std::string strDevice = m_strSysfs + "/devices/" + a_strName;
    std::filesystem::create_directories(strDevice);
    std::filesystem::create_directories(m_strSysfs + "/bus/usb/devices");
    if (!a_strVendor.empty())
      ostest::WriteFile(strDevice + "/idVendor", a_strVendor + "\n");
    if (!a_strProduct.empty())
      ostest::WriteFile(strDevice + "/idProduct", a_strProduct + "\n");
    ASSERT_EQ(0, symlink(strDevice.c_str(), (m_strSysfs + "/bus/usb/devices/" + a_strName).c_str()));
  }

  // The exit status with a_vecArgs; the standard error goes to m_strStderr.
  int Probe(std::vector<std::string> a_vecArgs)
  {
    a_vecArgs.insert(a_vecArgs.begin(), DEVICEPROBE_BIN);
    return ostest::WaitProgram(
        ostest::StartProgram(a_vecArgs, {"DEVICEPROBE_SYSFS=" + m_strSysfs}, m_strStderr));
  }

  ostest::TempDir m_tempdir;
  const std::string m_strSysfs = m_tempdir / "sys";
  const std::string m_strStderr = m_tempdir / "stderr";
};

TEST_F(DeviceProbe, StatusPerListAndDevices)
{
  EXPECT_EQ(1, Probe({"40a,6020"}));  // no sysfs
  Attach("1-2", "040a", "6021");
  // Entries without usable identifiers are passed over.
  Attach("1-3", "040a", "");       // half a device
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
    }
  }
  EXPECT_NE(std::string::npos, ostest::ReadFile(m_strStderr).find("malformed"));  // of the last list
  Attach("1-6", "040a", "6020");
  EXPECT_EQ(0, Probe({"40a,6020"}));
  // Anything but one argument is a usage error.
  EXPECT_EQ(2, Probe({}));
  EXPECT_EQ(0u, ostest::ReadFile(m_strStderr).find("usage"));
  EXPECT_EQ(2, Probe({"40a,6020", "40a,6021"}));
}

}  // namespace
