// os_testutil.cpp: helpers shared by the tests (see os_testutil.h).
#include "os_testutil.h"

#include <fcntl.h>
#include <ftw.h>
#include <grp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

extern char **environ;

namespace ostest
{

TempDir::TempDir()
{
  const char *szTmp = getenv("TMPDIR");
  std::string strTemplate = std::string(szTmp && *szTmp ? szTmp : "/tmp") + "/ostest.XXXXXX";
  m_strPath = mkdtemp(&strTemplate[0]) ? strTemplate : "";
}

TempDir::~TempDir()
{
  // Depth first, never through a symbolic link.
  auto fnRemove = [](const char *a_szPath, const struct stat *, int, struct FTW *)
  { return remove(a_szPath); };
  if (!m_strPath.empty())
  {
    nftw(m_strPath.c_str(), fnRemove, 16, FTW_DEPTH | FTW_PHYS);
  }
}

std::string ReadFile(const std::string &a_strPath)
{
  std::ifstream in(a_strPath, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool WriteFile(const std::string &a_strPath, const std::string &a_strData)
{
  std::ofstream out(a_strPath, std::ios::binary | std::ios::trunc);
  out << a_strData;
  return static_cast<bool>(out);
}

bool FileExists(const std::string &a_strPath)
{
  return access(a_strPath.c_str(), F_OK) == 0;
}

std::vector<std::string> SplitLines(const std::string &a_strText)
{
  std::vector<std::string> vecLines;
  std::istringstream in(a_strText);
  std::string strLine;
  while (std::getline(in, strLine))
  {
    if (!strLine.empty() && strLine.back() == '\r')
    {
      strLine.pop_back();
    }
    vecLines.push_back(strLine);
  }
  return vecLines;
}

std::vector<std::string> ProgramCommand(const std::string &a_strProgram)
{
  const std::string strEmulator = OSTEST_EMULATOR;
  if (strEmulator.empty())
  {
    return {a_strProgram};
  }
  return {strEmulator, a_strProgram};
}

pid_t StartProgram(const std::vector<std::string> &a_vecArgs, const std::vector<std::string> &a_vecEnv,
                   const std::string &a_strStderr)
{
  std::vector<std::string> vecCommand = ProgramCommand(a_vecArgs[0]);
  vecCommand.insert(vecCommand.end(), a_vecArgs.begin() + 1, a_vecArgs.end());
  std::vector<std::string> vecEnv;
  for (char **psz = environ; *psz; psz++)
  {
    if (strncmp(*psz, "QRB_", 4) != 0 && strncmp(*psz, "DEVICEPROBE_SYSFS=", 18) != 0)
    {
      vecEnv.emplace_back(*psz);
    }
  }
  vecEnv.insert(vecEnv.end(), a_vecEnv.begin(), a_vecEnv.end());
  const pid_t pid = fork();
  if (pid == 0)  // the test process has one thread: the environment may change here
  {
    clearenv();
    for (std::string &str : vecEnv)
    {
      putenv(str.data());
    }
    std::vector<char *> vecArgv;
    for (std::string &str : vecCommand)
    {
      vecArgv.push_back(str.data());
    }
    vecArgv.push_back(nullptr);
    if (!a_strStderr.empty())
    {
      dup2(open(a_strStderr.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
    }
    execv(vecArgv[0], vecArgv.data());
    _exit(127);
  }
  return pid;
}

int WaitProgram(pid_t a_pid)
{
  int iStatus = 0;
  if (a_pid <= 0 || waitpid(a_pid, &iStatus, 0) != a_pid)
  {
    return -1;
  }
  return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 1000 + WTERMSIG(iStatus);
}

bool RunAsNobody(const std::function<bool()> &a_fn)
{
  pid_t pid = fork();
  if (pid == 0)
  {
    bool blDropped = setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0;
    _exit(blDropped && a_fn() ? 0 : 1);
  }
  int iStatus = -1;
  return pid > 0 && waitpid(pid, &iStatus, 0) == pid && WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0;
}

static void SetEnv(const char *a_szName, const char *a_szValue)
{
  a_szValue ? setenv(a_szName, a_szValue, 1) : unsetenv(a_szName);
}

ScopedEnv::ScopedEnv(const char *a_szName, const char *a_szValue)
    : m_strName(a_szName), m_strOld(getenv(a_szName) ? getenv(a_szName) : ""), m_blHadOld(getenv(a_szName))
{
  SetEnv(a_szName, a_szValue);
}

ScopedEnv::~ScopedEnv()
{
  SetEnv(m_strName.c_str(), m_blHadOld ? m_strOld.c_str() : nullptr);
}

}  // namespace ostest
