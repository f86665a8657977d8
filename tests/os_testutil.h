// os_testutil.h: small helpers shared by the tests: a temporary directory
// removed with everything in it, whole-file reads and writes, and a scoped
// environment variable, a built program run with its own environment.
// None of them uses the services under test.
#ifndef OS_TESTUTIL_H
#define OS_TESTUTIL_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace ostest
{

// A fresh directory below $TMPDIR (or /tmp); removed recursively, without
// following symbolic links, when the object goes.
class TempDir
{
public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &Path() const { return m_strPath; }
  // Path of a name inside the directory.
  std::string operator/(const std::string &a_strName) const { return m_strPath + "/" + a_strName; }

private:
  std::string m_strPath;
};

// Whole-file helpers; ReadFile gives "" for a missing file.
std::string ReadFile(const std::string &a_strPath);
bool WriteFile(const std::string &a_strPath, const std::string &a_strData);
bool FileExists(const std::string &a_strPath);
// Lines of a text, split at LF, with a trailing CR removed from each line.
std::vector<std::string> SplitLines(const std::string &a_strText);

// The command that starts a program this build made: the program alone, or
// the emulator and the program when the build's programs run under one (a
// 32-bit build on a kernel without 32-bit support).
std::vector<std::string> ProgramCommand(const std::string &a_strProgram);

// Starts a program this build made (a_vecArgs[0], put behind the emulator as
// ProgramCommand does) in the current environment without the variables
// the programs read (QRB_*, DEVICEPROBE_SYSFS), plus a_vecEnv ("NAME=value";
// a later one replaces an earlier one of the same name). Its standard error
// goes to the file a_strStderr (made or emptied) unless that is "". Returns
// the child's id.
pid_t StartProgram(const std::vector<std::string> &a_vecArgs, const std::vector<std::string> &a_vecEnv = {},
                   const std::string &a_strStderr = "");
// The exit status of a started program, 1000 + the signal that ended it, or
// -1 when it cannot be waited for.
int WaitProgram(pid_t a_pid);

// Runs a_fn in a forked child that has given up the superuser for user and
// group 65534 ("nobody"); true when the child could drop its rights and a_fn
// returned true. The caller must be the superuser.
bool RunAsNobody(const std::function<bool()> &a_fn);

// Sets (or, with a null value, unsets) an environment variable and restores
// the old state when the object goes.
class ScopedEnv
{
public:
  ScopedEnv(const char *a_szName, const char *a_szValue);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv &) = delete;
  ScopedEnv &operator=(const ScopedEnv &) = delete;

private:
  std::string m_strName;
  std::string m_strOld;
  bool m_blHadOld;
};

}  // namespace ostest

#endif  // OS_TESTUTIL_H
