// test_deviceprobe.cpp: the deviceprobe program run on fake sysfs trees
// (DEVICEPROBE_SYSFS): exit 0 when a listed device is attached, 1 when
// none is, 2 on a malformed list.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "os_testutil.h"

namespace
{

struct ProbeResult
{
  int iStatus;
  std::string strStderr;
};

class DeviceProbe : public ::testing::Test
{
protected:
  DeviceProbe() : m_strSysfs(m_tempdir / "sys")
  {
    for (const char *sz : {"", "/bus", "/bus/usb", "/bus/usb/devices", "/devices"})
    {
      mkdir((m_strSysfs + sz).c_str(), 0777);
    }
  }

  // Adds a device the way sysfs shows it: a link in bus/usb/devices to a
  // directory elsewhere holding idVendor and idProduct.
  void Attach(const std::string &a_strName, const std::string &a_strVendor, const std::string &a_strProduct)
  {
    const std::string strDevice = m_strSysfs + "/devices/" + a_strName;
    mkdir(strDevice.c_str(), 0777);
    if (!a_strVendor.empty())
      ostest::WriteFile(strDevice + "/idVendor", a_strVendor + "\n");
    if (!a_strProduct.empty())
      ostest::WriteFile(strDevice + "/idProduct", a_strProduct + "\n");
    ASSERT_EQ(0, symlink(strDevice.c_str(), (m_strSysfs + "/bus/usb/devices/" + a_strName).c_str()));
  }

  ProbeResult Probe(const std::vector<std::string> &a_vecArgs, const char *a_szSysfs = nullptr)
  {
    const std::string strErr = m_tempdir / "stderr";
    const pid_t pid = fork();
    if (pid == 0)
    {
      const int iFd = open(strErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      dup2(iFd, 2);
      setenv("DEVICEPROBE_SYSFS", a_szSysfs ? a_szSysfs : m_strSysfs.c_str(), 1);
      std::vector<std::string> vecCommand = ostest::ProgramCommand(DEVICEPROBE_BIN);
      vecCommand.insert(vecCommand.end(), a_vecArgs.begin(), a_vecArgs.end());
      std::vector<char *> vecArgv;
      for (const std::string &str : vecCommand)
      {
        vecArgv.push_back(const_cast<char *>(str.c_str()));
      }
      vecArgv.push_back(nullptr);
      execv(vecArgv[0], vecArgv.data());
      _exit(127);
    }
    int iStatus = 0;
    waitpid(pid, &iStatus, 0);
    return {WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1, ostest::ReadFile(strErr)};
  }

  int Status(const std::string &a_strList) { return Probe({a_strList}).iStatus; }

  ostest::TempDir m_tempdir;
  std::string m_strSysfs;
};

TEST_F(DeviceProbe, ListedDeviceAttached)
{
  EXPECT_EQ(1, Status("40a,6020"));                                            // nothing attached
  EXPECT_EQ(1, Probe({"40a,6020"}, (m_tempdir / "nowhere").c_str()).iStatus);  // no sysfs
  Attach("1-1", "046d", "c52b");
  Attach("1-2", "040a", "6021");
  // Entries without usable identifiers are passed over.
  Attach("1-1:1.0", "", "");       // an interface
  Attach("1-3", "040a", "");       // half a device
  Attach("1-4", "zz", "6020");     // garbage
  Attach("1-5", "040a6", "6020");  // too long
  const struct
  {
    const char *szList;
    int iStatus;
  } acase[] = {{"40a,6020;40a,6021", 0}, {"40A,6021", 0}, {"040a,6021", 0}, {"46d,c52b", 0},
               {"40a,6020", 1},          {"6021,40a", 1}, {"40a,602", 1},   {"", 1}};
  for (const auto &c : acase)
  {
    EXPECT_EQ(c.iStatus, Status(c.szList)) << c.szList;
  }
  Attach("1-6", "040a", "6020");
  EXPECT_EQ(0, Status("40a,6020"));
}

TEST_F(DeviceProbe, MalformedListsAndArgumentCountsAreRefused)
{
  Attach("1-1", "040a", "6020");
  for (const char *szList : {"40a", "40a,", ",6020", "40a,6020;", ";40a,6020", "40a,6020;;40a,6021",
                             "40g,6020", "12345,6020", "40a,6020,1", " 40a,6020", "40a;6020", "0x40a,6020"})
  {
    const ProbeResult pr = Probe({szList});
    EXPECT_EQ(2, pr.iStatus) << szList;
    EXPECT_NE(std::string::npos, pr.strStderr.find("malformed")) << szList;
  }
  EXPECT_EQ(2, Probe({}).iStatus);
  const ProbeResult pr = Probe({"40a,6020", "40a,6021"});
  EXPECT_EQ(2, pr.iStatus);
  EXPECT_NE(std::string::npos, pr.strStderr.find("usage"));
}

}  // namespace
