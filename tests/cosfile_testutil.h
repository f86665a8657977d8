// cosfile_testutil.h: the fixture of the file-service tests (a log and a
// memory service installed for the test, and a temporary directory); small
// lstat-based queries, a tree listing, and handing a path to the
// unprivileged user the tests run as (ostest::RunAsNobody).
#ifndef COSFILE_TESTUTIL_H
#define COSFILE_TESTUTIL_H

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <string>
#include <vector>

#include "os_coslog.h"
#include "os_cosmem.h"
#include "os_testutil.h"

namespace ostest
{

// A test with a log writing into a file of its own (so a test can look for
// a message) and a memory service, both installed in the globals for the
// life of the test and removed again, and a temporary directory.
class FileServicesTest : public ::testing::Test
{
protected:
  FileServicesTest() : m_strLog(m_tempdirLog / "file.log"), m_posmemOld(g_posmem), m_poslogOld(g_poslog)
  {
    g_poslog = new COsLog("filetest", m_strLog.c_str(), 1, "");
    g_posmem = new COsMem(OS_MEM_METHOD_MALLOC, 1);
  }
  ~FileServicesTest() override
  {
    delete g_posmem;
    g_posmem = m_posmemOld;
    delete g_poslog;
    g_poslog = m_poslogOld;
  }
  bool Logged(const std::string &a_strText) const
  {
    return ReadFile(m_strLog).find(a_strText) != std::string::npos;
  }
  // Path of a name inside the temporary directory.
  std::string P(const std::string &a_strName) const { return m_tempdir / a_strName; }

  TempDir m_tempdir;

private:
  TempDir m_tempdirLog;
  std::string m_strLog;
  COsMem *m_posmemOld;
  COsLog *m_poslogOld;
};

// The path with every link resolved; empty when it is missing.
inline std::string Physical(const std::string &a_strPath)
{
  char sz[PATH_MAX];
  return realpath(a_strPath.c_str(), sz) ? sz : "";
}

inline bool MakeDirectory(const std::string &a_strPath)
{
  return mkdir(a_strPath.c_str(), 0755) == 0;
}

// Permission bits of a path (links not followed); -1 when it is missing.
inline int ModeOf(const std::string &a_strPath)
{
  struct stat statPath;
  return lstat(a_strPath.c_str(), &statPath) ? -1 : static_cast<int>(statPath.st_mode & 07777);
}

inline bool IsDirectory(const std::string &a_strPath)
{
  struct stat statPath;
  return !lstat(a_strPath.c_str(), &statPath) && S_ISDIR(statPath.st_mode);
}

// Every path below a_strRoot ("a/b", directories with a trailing "/"),
// sorted; links are listed, not followed. Empty when a_strRoot is missing.
inline std::vector<std::string> Listing(const std::string &a_strRoot)
{
  namespace fs = std::filesystem;
  const std::string strRoot = a_strRoot + "/";
  std::vector<std::string> vec;
  std::error_code ec;
  for (fs::recursive_directory_iterator it(strRoot, ec), itEnd; !ec && (it != itEnd); it.increment(ec))
  {
    const bool blDirectory = it->symlink_status().type() == fs::file_type::directory;
    vec.push_back(it->path().string().substr(strRoot.size()) + (blDirectory ? "/" : ""));
  }
  std::sort(vec.begin(), vec.end());
  return vec;
}

// The working directory, restored when the object goes. A directory that
// cannot be entered fails the test.
class ScopedCwd
{
public:
  explicit ScopedCwd(const std::string &a_strDirectory) : m_strOld(Physical("."))
  {
    EXPECT_EQ(0, chdir(a_strDirectory.c_str())) << a_strDirectory;
  }
  ~ScopedCwd() { (void)!chdir(m_strOld.c_str()); }
  ScopedCwd(const ScopedCwd &) = delete;
  ScopedCwd &operator=(const ScopedCwd &) = delete;

private:
  std::string m_strOld;
};

// Hands a path (a link itself, not what it leads to) to user and group 65534
// ("nobody"); the caller must be root.
inline bool GiveToNobody(const std::string &a_strPath)
{
  return lchown(a_strPath.c_str(), 65534, 65534) == 0;
}

}  // namespace ostest

#endif  // COSFILE_TESTUTIL_H
