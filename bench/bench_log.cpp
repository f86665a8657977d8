// bench_log.cpp: lines per second that the log writes at information level
// into a file on local disk, from 1, 4 and 16 threads at once, on a warm log
// (its general information block already written). Every line is one open,
// one status check, one write and one close, so the figure is bounded by the
// file system calls; BM_FloorOpenWriteClose measures that bound on the same
// machine (open, write and close of a line of the same length). After each
// run the file is read back: "dropped" counts the lines that are missing.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "os_coslog.h"

namespace
{

std::string s_strDir;
int s_iRun;

// A fresh log for each run, its block written before the timing starts.
std::string WarmLog()
{
  std::string strPath = s_strDir + "/bench" + std::to_string(++s_iRun) + ".log";
  std::vector<char> vecPath(strPath.begin(), strPath.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 1, "~usbpnp", nullptr);
  g_poslog->Message(__FILE__, __LINE__, EOSLOGFLAG_INFO, "warm up");
  return strPath;
}

int64_t CountBenchLines(const std::string &a_strPath)
{
  std::ifstream in(a_strPath);
  int64_t i64Lines = 0;
  for (std::string strLine; std::getline(in, strLine);)
  {
    i64Lines += strLine.find(" V. bench line ") != std::string::npos;
  }
  return i64Lines;
}

void BM_LogMessageInfo(benchmark::State &a_state)
{
  std::string strPath;
  if (a_state.thread_index() == 0)
  {
    strPath = WarmLog();
  }
  int iCount = 0;
  for (auto _ : a_state)
  {
    g_poslog->Message(__FILE__, __LINE__, EOSLOGFLAG_INFO, "bench line %d <%s>", iCount++, "information");
  }
  a_state.SetItemsProcessed(a_state.iterations());
  if (a_state.thread_index() == 0)
  {
    // Every thread has left its loop here.
    int64_t i64Expected = static_cast<int64_t>(a_state.iterations()) * a_state.threads();
    a_state.counters["dropped"] = static_cast<double>(i64Expected - CountBenchLines(strPath));
    unlink(strPath.c_str());
  }
}
BENCHMARK(BM_LogMessageInfo)->Threads(1)->Threads(4)->Threads(16)->UseRealTime();

// A dropped message (filtered by its source name) costs no file access.
void BM_LogMessageFiltered(benchmark::State &a_state)
{
  for (auto _ : a_state)
  {
    g_poslog->Message("os_cosusbpnp.cpp", __LINE__, EOSLOGFLAG_DEVIO, "usb>>> dropped %d", 1);
  }
  a_state.SetItemsProcessed(a_state.iterations());
}
BENCHMARK(BM_LogMessageFiltered)->Threads(1)->Threads(4)->UseRealTime();

// The bound: a line of the log's length appended by open, write and close.
void BM_FloorOpenWriteClose(benchmark::State &a_state)
{
  std::string strPath = s_strDir + "/floor.log";
  std::string strLine(110, 'x');
  strLine += "\r\n";
  for (auto _ : a_state)
  {
    int iFd = open(strPath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    benchmark::DoNotOptimize(write(iFd, strLine.data(), strLine.size()));
    close(iFd);
  }
  a_state.SetItemsProcessed(a_state.iterations());
  unlink(strPath.c_str());
}
BENCHMARK(BM_FloorOpenWriteClose)->UseRealTime();

}  // namespace

int main(int argc, char **argv)
{
  const char *szTmp = getenv("TMPDIR");
  s_strDir = std::string(szTmp && *szTmp ? szTmp : "/tmp") + "/bench_log.XXXXXX";
  if (!mkdtemp(&s_strDir[0]))
  {
    perror("mkdtemp");
    return 1;
  }
  g_poslog = new COsLog("bench", (s_strDir + "/start.log").c_str(), 1, "~usbpnp");
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  char szLast[512];
  g_poslog->GetFilename(szLast, sizeof(szLast));
  delete g_poslog;
  unlink(szLast);
  unlink((s_strDir + "/start.log").c_str());
  rmdir(s_strDir.c_str());
  return 0;
}
