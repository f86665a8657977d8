// os_testlog.h: a test log that captures what the services write. While a
// LogCapture lives, g_poslog points at a log in a fresh temporary directory;
// the previous log pointer comes back when it goes.
#ifndef OS_TESTLOG_H
#define OS_TESTLOG_H

#include <algorithm>
#include <string>
#include <vector>

#include "os_coslog.h"
#include "os_testutil.h"

namespace ostest
{

class LogCapture
{
public:
  explicit LogCapture(int a_iLevel = 0) : m_poslogOld(g_poslog), m_strPath(m_tempdir / "capture.log")
  {
    m_poslog = new COsLog("capture", m_strPath.c_str(), a_iLevel, "");
    g_poslog = m_poslog;
  }
  ~LogCapture()
  {
    g_poslog = m_poslogOld;
    delete m_poslog;
  }
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  // The messages written so far, each as its flag letter, a space and the
  // text ("A SStrCpy failed...<abc>"); the general information lines
  // ("### ...") are left out.
  std::vector<std::string> Messages() const
  {
    std::vector<std::string> vecMessages;
    for (const std::string &strLine : SplitLines(ReadFile(m_strPath)))
    {
      size_t sizetFlag = strLine.find(" V");
      if (sizetFlag != std::string::npos && strLine.compare(sizetFlag + 4, 4, "### ") != 0)
      {
        vecMessages.push_back(strLine.substr(sizetFlag + 2));
      }
    }
    return vecMessages;
  }

  // Whether one of the messages is exactly a_strMessage.
  bool Logged(const std::string &a_strMessage) const
  {
    std::vector<std::string> vecMessages = Messages();
    return std::find(vecMessages.begin(), vecMessages.end(), a_strMessage) != vecMessages.end();
  }

private:
  COsLog *m_poslogOld;
  TempDir m_tempdir;
  std::string m_strPath;
  COsLog *m_poslog;
};

}  // namespace ostest

#endif  // OS_TESTLOG_H
