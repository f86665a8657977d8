// Throughput of the file services: path building, tree copy with a callback
// (the hot-plug helper's shape: a model tree of small .ini files), tree
// removal and the copy of one large file.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

#include "os_cosfile.h"

namespace
{

class BenchDir
{
public:
  BenchDir()
  {
    char szTemplate[] = "/tmp/bench_cosfile.XXXXXX";
    m_str = mkdtemp(szTemplate) ? szTemplate : "";
  }
  ~BenchDir() { (void)COsFile::Delete(m_str.c_str(), 1, 1, false); }
  const std::string &Path() const { return m_str; }

private:
  std::string m_str;
};

void WriteFile(const std::string &a_strPath, size_t a_sizetBytes)
{
  std::ofstream out(a_strPath, std::ios::binary);
  out << std::string(a_sizetBytes, 'x');
}

// A model tree: 10 directories of 20 files each (half .ini, half refused).
void MakeTree(const std::string &a_strRoot)
{
  mkdir(a_strRoot.c_str(), 0755);
  for (int iDir = 0; iDir < 10; iDir++)
  {
    std::string strDir = a_strRoot + "/dir" + std::to_string(iDir);
    mkdir(strDir.c_str(), 0755);
    for (int iFile = 0; iFile < 20; iFile++)
    {
      WriteFile(strDir + "/f" + std::to_string(iFile) + ((iFile % 2) ? ".ini" : ".txt"), 4096);
    }
  }
}

EOSSTS IniOnly(OsFileCopyDirectoryInfo *a_pinfo)
{
  if (!a_pinfo->szName)
  {
    return 0;
  }
  const char *szDot = strrchr(a_pinfo->szName, '.');
  return (szDot && !strcmp(szDot, ".ini")) ? 0 : 8;
}

void BM_PathAppend(benchmark::State &a_state)
{
  for (auto _ : a_state)
  {
    char sz[512] = "/opt/family\\model//user";
    COsFile::PathAppend(sz, sizeof(sz), "profiles\\default.ini");
    benchmark::DoNotOptimize(sz);
  }
}
BENCHMARK(BM_PathAppend);

void BM_CopyDirectoryWithCallback(benchmark::State &a_state)
{
  BenchDir benchdir;
  std::string strSource = benchdir.Path() + "/src";
  std::string strTarget = benchdir.Path() + "/dst";
  MakeTree(strSource);
  for (auto _ : a_state)
  {
    EOSSTS eossts = COsFile::CopyDirectory(strSource.c_str(), strTarget.c_str(), true, IniOnly, nullptr);
    benchmark::DoNotOptimize(eossts);
  }
  a_state.SetItemsProcessed(a_state.iterations() * 200);
}
BENCHMARK(BM_CopyDirectoryWithCallback)->Unit(benchmark::kMillisecond);

void BM_DeleteTree(benchmark::State &a_state)
{
  BenchDir benchdir;
  std::string strTree = benchdir.Path() + "/tree";
  for (auto _ : a_state)
  {
    a_state.PauseTiming();
    MakeTree(strTree);
    a_state.ResumeTiming();
    EOSSTS eossts = COsFile::Delete(strTree.c_str(), 1, 1, false);
    benchmark::DoNotOptimize(eossts);
  }
  a_state.SetItemsProcessed(a_state.iterations() * 210);
}
BENCHMARK(BM_DeleteTree)->Unit(benchmark::kMillisecond);

void BM_CopyLargeFile(benchmark::State &a_state)
{
  BenchDir benchdir;
  std::string strSource = benchdir.Path() + "/big";
  std::string strTarget = benchdir.Path() + "/copy";
  const size_t sizetBytes = 32 * 1024 * 1024;
  WriteFile(strSource, sizetBytes);
  for (auto _ : a_state)
  {
    EOSSTS eossts = COsFile::Copy(strSource.c_str(), strTarget.c_str());
    benchmark::DoNotOptimize(eossts);
  }
  a_state.SetBytesProcessed(static_cast<int64_t>(a_state.iterations() * sizetBytes));
}
BENCHMARK(BM_CopyLargeFile)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
