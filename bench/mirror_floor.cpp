// mirror_floor: the least work an add can be. It makes the copies that
// pnphelper's add makes (the "profiles" folders whole, "*.ini" and
// "usb*.lock" files, any case, in every folder of the source) and nothing
// else: no log, no configuration, no resource, no lock, no link or type
// check, no error handling. It is linked as pnphelper is. bench/hotplug times it beside cp -r to show how much of the
// copy's time any program that creates those files must spend.
//
//   mirror_floor SOURCE DESTINATION    (DESTINATION must not exist)
//
// Not a tool: it follows links and trusts the tree it is given.
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

char s_achBuffer[1 << 16];

bool Mirrored(const char *a_szName)
{
  return !fnmatch("*.ini", a_szName, FNM_CASEFOLD) || !fnmatch("usb*.lock", a_szName, FNM_CASEFOLD);
}

void CopyFile(int a_fdSource, int a_fdTarget, const char *a_szName)
{
  const int fdIn = openat(a_fdSource, a_szName, O_RDONLY | O_CLOEXEC);
  const int fdOut = openat(a_fdTarget, a_szName, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  ssize_t sizeRead = 0;
  while ((sizeRead = read(fdIn, s_achBuffer, sizeof(s_achBuffer))) > 0)
  {
    (void)!write(fdOut, s_achBuffer, static_cast<size_t>(sizeRead));
  }
  close(fdIn);
  close(fdOut);
}

// Copies the mirrored part of a_fdSource (all of it when a_blWhole) into
// a_fdTarget; closes both.
void CopyTree(int a_fdSource, int a_fdTarget, bool a_blWhole)
{
  DIR *pdir = fdopendir(a_fdSource);
  for (struct dirent *pdirent = pdir ? readdir(pdir) : nullptr; pdirent; pdirent = readdir(pdir))
  {
    const char *szName = pdirent->d_name;
    if (szName[0] == '.')
    {
      continue;
    }
    if (pdirent->d_type == DT_DIR)
    {
      const int fdSub = openat(a_fdSource, szName, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      (void)mkdirat(a_fdTarget, szName, 0777);
      CopyTree(fdSub, openat(a_fdTarget, szName, O_RDONLY | O_DIRECTORY | O_CLOEXEC),
               a_blWhole || !strcasecmp(szName, "profiles"));
    }
    else if (a_blWhole || Mirrored(szName))
    {
      CopyFile(a_fdSource, a_fdTarget, szName);
    }
  }
  if (pdir)
  {
    closedir(pdir);
  }
  close(a_fdTarget);
}

}  // namespace

int main(int argc, char **argv)
{
  if ((argc != 3) || mkdir(argv[2], 0777))
  {
    return 1;
  }
  CopyTree(open(argv[1], O_RDONLY | O_DIRECTORY | O_CLOEXEC), open(argv[2], O_RDONLY | O_DIRECTORY | O_CLOEXEC),
           false);
  return 0;
}
