// test_cosmem.cpp: the tracked allocator counts every block with its slack,
// hands out zero-filled memory, refuses foreign and double releases, and
// degrades to untracked blocks when its 2,049th record is asked for. The
// log is checked line by line, since the totals are visible only there.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "cosfile_testutil.h"
#include "os_coslog.h"
#include "os_cosmem.h"
#include "os_testlog.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#define OSTEST_LEAK_ALLOWED() __lsan::ScopedDisabler scopeddisabler
#else
#define OSTEST_LEAK_ALLOWED() static_cast<void>(0)
#endif

namespace
{

std::string Pointer(const void *a_pv)
{
  char sz[32];
  snprintf(sz, sizeof(sz), "%p", a_pv);
  return sz;
}

class MemTest : public ::testing::Test
{
protected:
  void SetUp() override { g_poslog->EnableAssert(0); }
  void TearDown() override
  {
    delete m_posmem;
    g_posmem = m_posmemSaved;
  }
  // Each message as its letter, a space and the text.
  std::vector<std::string> Texts() const { return m_logcapture.Messages(); }

  ostest::LogCapture m_logcapture{1};
  ostest::TempDir m_tempdir;  // crash dumps land here (see ScopedCwd)
  COsMem *m_posmemSaved = g_posmem;
  COsMem *m_posmem = new COsMem(OS_MEM_METHOD_MALLOC, 1);
};

// Ten bytes count 74 (the slack is 64); a release takes its bytes off the
// current total, and the peak follows the highest total.
TEST_F(MemTest, BlocksCountTheirSlackAndThePeakFollowsTheHighestTotal)
{
  void *pv1 = g_posmem->Alloc(10, "caller.cpp", 12, EOSLOGFLAG_MEM, true, "block");
  ASSERT_NE(nullptr, pv1);
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(pv1) % 16);
  void *pv2 = g_posmem->Alloc(100, "c.cpp", 2, EOSLOGFLAG_MEM, false, "two");
  g_posmem->Free(pv1, "caller.cpp", 13, EOSLOGFLAG_MEM, true);
  void *pv3 = g_posmem->Alloc(5, "c.cpp", 4, EOSLOGFLAG_MEM, false, nullptr);
  std::vector<std::string> vec = Texts();
  ASSERT_EQ(4u, vec.size());
  EXPECT_EQ(". mem>>> m+   AD:" + Pointer(pv1) +
                "   SZ:74         AC:1       FC:0       CC:1       CB:74         PB:74         FN:block",
            vec[0]);
  EXPECT_NE(std::string::npos, vec[3].find("AC:3       FC:1       CC:2       CB:233        PB:238"));
  g_posmem->Free(pv2, "c.cpp", 5, EOSLOGFLAG_MEM, false);
  g_posmem->Free(pv3, "c.cpp", 6, EOSLOGFLAG_MEM, false);
}

TEST_F(MemTest, BlocksComeBackZeroFilledEvenWhenReused)
{
  for (int ii = 0; ii < 3; ii++)
  {
    auto *pu8 = static_cast<uint8_t *>(g_posmem->Alloc(4000, "c.cpp", 1, EOSLOGFLAG_MEM, true, "z"));
    ASSERT_NE(nullptr, pu8);
    for (int jj = 0; jj < 4000 + 64; jj++)
    {
      ASSERT_EQ(0, pu8[jj]) << jj;
    }
    memset(pu8, 0xa5, 4000 + 64);
    g_posmem->Free(pu8, "c.cpp", 2, EOSLOGFLAG_MEM, true);
  }
  // Size zero is reported and still allocated (the slack alone).
  void *pv = g_posmem->Alloc(0, "zero.cpp", 77, EOSLOGFLAG_MEM, true, "none");
  ASSERT_NE(nullptr, pv);
  EXPECT_TRUE(m_logcapture.Logged("E mem>>> a_sizetBytes is 0..."));
  g_posmem->Free(pv, "zero.cpp", 78, EOSLOGFLAG_MEM, true);
  EXPECT_NE(std::string::npos, Texts().back().find("SZ:64 "));
}

// A foreign block takes the double release's path (see the full table).
TEST_F(MemTest, NullAndDoubleReleasesAreReportedAndLeftAlone)
{
  void *pv = g_posmem->Alloc(8, "c.cpp", 1, EOSLOGFLAG_MEM, true, "twice");
  g_posmem->Free(pv, "c.cpp", 2, EOSLOGFLAG_MEM, true);
  g_posmem->Free(nullptr, "c.cpp", 9, EOSLOGFLAG_MEM, true);
  g_posmem->Free(pv, "c.cpp", 3, EOSLOGFLAG_MEM, true);
  EXPECT_TRUE(m_logcapture.Logged("A mem>>> Attempt to free a NULL value..."));
  EXPECT_TRUE(m_logcapture.Logged("A mem>>> Can't find managed item..." + Pointer(pv)));
}

TEST_F(MemTest, FullTableGivesAnUntrackedBlock)
{
  g_poslog->SetDebugLevel(0x10);  // device trace only: no trace line for each block
  std::vector<void *> vec;
  for (int ii = 0; ii < 2048; ii++)
  {
    vec.push_back(g_posmem->Alloc(1, "c.cpp", 1, EOSLOGFLAG_MEM, true, nullptr));
    ASSERT_NE(nullptr, vec.back());
  }
  EXPECT_TRUE(Texts().empty());
  void *pvExtra = g_posmem->Alloc(1, "c.cpp", 2, EOSLOGFLAG_MEM, true, nullptr);
  ASSERT_NE(nullptr, pvExtra);
  EXPECT_TRUE(m_logcapture.Logged("A mem>>> No free slots..."));
  g_posmem->Free(pvExtra, "c.cpp", 3, EOSLOGFLAG_MEM, true);
  EXPECT_TRUE(m_logcapture.Logged("A mem>>> Can't find managed item..." + Pointer(pvExtra)));
  free(pvExtra);  // the tracker left it alone
  // A freed record is taken again.
  g_posmem->Free(vec[100], "c.cpp", 4, EOSLOGFLAG_MEM, true);
  vec[100] = g_posmem->Alloc(1, "c.cpp", 5, EOSLOGFLAG_MEM, true, nullptr);
  size_t sizeLines = Texts().size();
  for (void *pv : vec)
  {
    g_posmem->Free(pv, "c.cpp", 6, EOSLOGFLAG_MEM, true);
  }
  EXPECT_EQ(sizeLines, Texts().size());
}

TEST_F(MemTest, LockedAllocationsFromThreadsKeepTheTotalsExact)
{
  g_poslog->SetDebugLevel(0x10);  // no trace lines while the threads run
  std::vector<std::thread> vecThread;
  for (int ii = 0; ii < 4; ii++)
  {
    vecThread.emplace_back(
        []
        {
          for (int jj = 0; jj < 500; jj++)
          {
            g_posmem->Free(g_posmem->Alloc(16, "t.cpp", 1, EOSLOGFLAG_MEM, true, nullptr), "t.cpp", 2,
                           EOSLOGFLAG_MEM, true);
          }
        });
  }
  for (std::thread &thread : vecThread)
  {
    thread.join();
  }
  g_poslog->SetDebugLevel(1);
  void *pv = g_posmem->Alloc(16, "t.cpp", 3, EOSLOGFLAG_MEM, true, "last");
  std::vector<std::string> vec = Texts();
  ASSERT_EQ(1u, vec.size());
  EXPECT_NE(std::string::npos, vec[0].find("AC:2001    FC:2000    CC:1       CB:80  ")) << vec[0];
  g_posmem->Free(pv, "t.cpp", 4, EOSLOGFLAG_MEM, true);
}

TEST_F(MemTest, SharedTraceBlocksAreWholeZeroedPages)
{
  uint32_t u32Page = g_posmem->GetPageSize();
  auto *pu8 =
      static_cast<uint8_t *>(g_posmem->Alloc(u32Page + 1, "c.cpp", 1, EOSLOGFLAG_MEMSHARED, true, "shm"));
  ASSERT_NE(nullptr, pu8);
  EXPECT_EQ(0, pu8[2 * u32Page - 1]);
  EXPECT_EQ(EOSSTS_OK, g_posmem->SetAccess(pu8, OS_MEMACCESS_READ));
  EXPECT_EQ(EOSSTS_OK, g_posmem->SetAccess(pu8, OS_MEMACCESS_READWRITE));
  pu8[2 * u32Page - 1] = 1;
  g_posmem->Free(pu8, "c.cpp", 2, EOSLOGFLAG_MEMSHARED, true);
  EXPECT_NE(std::string::npos,
            Texts()[0].find("v+   AD:" + Pointer(pu8) + "   SZ:" + std::to_string(2 * u32Page)));
  int iLocal = 0;
  EXPECT_EQ(EOSSTS_BADARG, g_posmem->SetAccess(&iLocal, OS_MEMACCESS_READ));  // untracked
}

TEST_F(MemTest, ForeignBlocksAreCountedButNotKept)
{
  void *pv = g_posmem->Alloc(10, "c.cpp", 1, EOSLOGFLAG_MEM | OS_MEMFLAG_NOTOWNER, true, "dll");
  ASSERT_NE(nullptr, pv);
  std::vector<std::string> vec = Texts();
  ASSERT_EQ(2u, vec.size());
  EXPECT_NE(std::string::npos,
            vec[1].find("m-*  AD:" + Pointer(pv) + "   SZ:74         AC:1       FC:1       CC:0"));
  g_posmem->Free(pv, "c.cpp", 2, EOSLOGFLAG_MEM | OS_MEMFLAG_NOTOWNER, true);
  EXPECT_EQ(". mem>>> freeing value given to us by another DLL..." + Pointer(pv), Texts().back());
}

TEST_F(MemTest, DumpListsTheRecordsInUse)
{
  void *pv1 = g_posmem->Alloc(10, "c.cpp", 1, EOSLOGFLAG_MEM, true, "a");
  void *pv2 = g_posmem->Alloc(20, "c.cpp", 2, EOSLOGFLAG_MEM, true, "b");
  g_posmem->Dump(nullptr);
  std::vector<std::string> vec = Texts();
  ASSERT_EQ(6u, vec.size());  // the two blocks, and the records between begin and end
  EXPECT_EQ(0u, vec[3].find(". mem>>> 0000       malloc " + Pointer(pv1)));
  EXPECT_EQ(0u, vec[4].find(". mem>>> 0001       malloc " + Pointer(pv2)));
  g_posmem->Free(pv1, "c.cpp", 3, EOSLOGFLAG_MEM, true);
  g_posmem->Free(pv2, "c.cpp", 4, EOSLOGFLAG_MEM, true);
}

TEST_F(MemTest, DumpSystemNamesTheFileAfterTheTime)
{
  ostest::ScopedCwd cwd(m_tempdir.Path());
  g_posmem->DumpSystem("crash.txt");
  std::vector<std::string> vec = Texts();
  std::smatch match;
  ASSERT_EQ(1u, vec.size());
  ASSERT_TRUE(
      std::regex_match(vec[0], match, std::regex(R"re(\. system: pmap \d+ > "(crash_\d{9}\.txt)" .*)re")));
  // pmap writes into the file: its first line starts with our process id.
  EXPECT_EQ(0u, ostest::ReadFile(m_tempdir / match[1].str()).find(std::to_string(getpid()) + ":"));
}

// A not-owning object leaves its implementation but clears the global; an
// unknown method gives no block.
TEST_F(MemTest, NotOwningObjectAndUnknownMethod)
{
  OSTEST_LEAK_ALLOWED();
  COsMem *posmem = new COsMem(OS_MEM_METHOD_MALLOC, 0);
  void *pv = posmem->Alloc(5, "c.cpp", 1, EOSLOGFLAG_MEM, true, "kept");
  delete posmem;
  EXPECT_EQ(nullptr, g_posmem);
  free(pv);
  ostest::ScopedCwd cwd(m_tempdir.Path());  // the crash dump lands here
  EXPECT_EQ(nullptr, COsMem(7, 1).Alloc(10, "c.cpp", 1, EOSLOGFLAG_MEM, true, nullptr));
  EXPECT_TRUE(m_logcapture.Logged("A mem>>> Unrecognized method...7"));
}

}  // namespace
