// bench_log.cpp: lines per second that the log writes at information level
// into a file on local disk, from one thread and from four threads at once.
// Every line is one open, seek, write and close, so the figure is bounded by
// the file system calls, not by formatting.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "os_coslog.h"

namespace
{

void BM_LogMessageInfo(benchmark::State &a_state)
{
  int iCount = 0;
  for (auto _ : a_state)
  {
    g_poslog->Message(__FILE__, __LINE__, EOSLOGFLAG_INFO, "bench line %d <%s>", iCount++, "information");
  }
  a_state.SetItemsProcessed(a_state.iterations());
}
BENCHMARK(BM_LogMessageInfo)->Threads(1)->Threads(4)->UseRealTime();

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

}  // namespace

int main(int argc, char **argv)
{
  const char *szTmp = getenv("TMPDIR");
  std::string strDir = std::string(szTmp && *szTmp ? szTmp : "/tmp") + "/bench_log.XXXXXX";
  if (!mkdtemp(&strDir[0]))
  {
    perror("mkdtemp");
    return 1;
  }
  std::string strLog = strDir + "/bench.log";
  g_poslog = new COsLog("bench", strLog.c_str(), 1, "~usbpnp");
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  delete g_poslog;
  unlink(strLog.c_str());
  rmdir(strDir.c_str());
  return 0;
}
