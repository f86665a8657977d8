// os_cosfile.cpp: the file object (COsFile forwarding to COsFileImpl) and the
// static operations Create, Exists, SetAccess, CleanStatic and Shutdown.

#include "os_cosfile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosmem.h"
#include "os_cosstring.h"
#include "os_cossync.h"

namespace
{

const uint32_t kPrintBufferSize = 65536;
const int kMaxComponents = 64;

// Set by the first COsFileImpl constructed (under s_spinlockFirst).
OSSPINLOCK s_spinlockFirst = 0;
bool s_blFirstConstruction = true;

// Trace file of Create, read once from QRB_TRACE_COSFILE_CREATE.
OSSPINLOCK s_spinlockTrace = 0;
std::atomic<bool> s_blTraceRead(false);
char s_szTraceFile[OS_SIZE_PATH];

// Status of a failed open or lock, from errno.
EOSSTS StatusFromOpenErrno(int a_iErrno)
{
  switch (a_iErrno)
  {
    case ENOENT:
      return EOSSTS_FILENOTFOUND;
    case EACCES:
      return EOSSTS_ACCESSDENIED;
    case EIO:
      return EOSSTS_IOERROR;
    case EWOULDBLOCK:
      return EOSSTS_INUSE;
    default:
      return EOSSTS_FAIL;
  }
}

// Stream mode for an access and a resolved open mode; null when none.
const char *StreamMode(EOSFILEACCESS a_eosfileaccess, EOSFILEOPEN a_eosfileopen)
{
  static const char *const s_aszExisting[] = {"re", "r+e", "r+e"};
  static const char *const s_aszCreate[] = {"r+e", "we", "w+e"};
  if ((a_eosfileaccess < EOSFILEACCESS_READ) || (a_eosfileaccess > EOSFILEACCESS_READWRITE))
  {
    return nullptr;
  }
  switch (a_eosfileopen)
  {
    case EOSFILEOPEN_EXISTING:
      return s_aszExisting[a_eosfileaccess - 1];
    case EOSFILEOPEN_CREATE:
    case EOSFILEOPEN_TEMPORARY:
      return s_aszCreate[a_eosfileaccess - 1];
    default:
      return nullptr;
  }
}

// Opens a file as a stream in a_szMode from the descriptor a_fd (taken
// over); null when a_fd is -1 or the stream cannot be made.
FILE *StreamFromDescriptor(int a_fd, const char *a_szMode)
{
  FILE *pfile = (a_fd >= 0) ? fdopen(a_fd, a_szMode) : nullptr;
  if (!pfile && (a_fd >= 0))
  {
    close(a_fd);
  }
  return pfile;
}

// Opens a file for reading under the link rule without blocking on a FIFO:
// anything but a regular file counts as missing (ENOENT).
int OpenForReading(const char *a_szFilename)
{
  OsFileWalk walk;
  struct stat statFile;
  if (OsFileWalkPath(walk, nullptr, a_szFilename, OS_WALK_FOLLOW | OS_WALK_READ))
  {
    return -1;
  }
  int fd = walk.fd;
  if (fstat(fd, &statFile) || !S_ISREG(statFile.st_mode))
  {
    OsFileWalkClose(walk);
    errno = ENOENT;
    return -1;
  }
  (void)fcntl(fd, F_SETFL, O_RDONLY);  // back to blocking mode
  return fd;  // the walk's descriptor is handed over
}

// Opens a file for writing: its directory walked under the link rule, the
// file itself never through a link nor anything but the caller's regular
// file (see OsFileOpenWriteAt).
int OpenForWriting(const char *a_szFilename, int a_iFlags)
{
  char szPath[OS_SIZE_PATH];
  char *szName = nullptr;
  OsFileWalk walkParent;
  if (snprintf(szPath, sizeof(szPath), "%s", a_szFilename) >= static_cast<int>(sizeof(szPath)))
  {
    errno = ENAMETOOLONG;
    return -1;
  }
  if (OsFileWalkParent(szPath, walkParent, &szName))
  {
    return -1;
  }
  int fd =
      OsFileOpenWriteAt(walkParent.fd, szName, a_iFlags, 0666 & ~OsFileCreationMask(), OS_WRITER_PRIVATE);
  const int iErrno = errno;
  OsFileWalkClose(walkParent);
  errno = iErrno;
  return fd;
}

// Opens a file as a stream in a fopen mode ("r", "r+", "w", "w+", with "e").
FILE *OpenSafeStream(const char *a_szFilename, const char *a_szMode)
{
  if ((a_szMode[0] == 'r') && (a_szMode[1] != '+'))
  {
    return StreamFromDescriptor(OpenForReading(a_szFilename), a_szMode);
  }
  const int iFlags = (a_szMode[0] == 'w') ? (O_CREAT | O_TRUNC) : 0;
  const int iAccess = (strchr(a_szMode, '+') || (a_szMode[0] == 'r')) ? O_RDWR : O_WRONLY;
  return StreamFromDescriptor(OpenForWriting(a_szFilename, iAccess | iFlags), a_szMode);
}

// A write open denied on a link, on something other than a regular file or
// on a file that is not the caller's own single link is a refusal, and said
// so at flag 1.
void LogIfRefused(const char *a_szFilename)
{
  struct stat statFile;
  if (!lstat(a_szFilename, &statFile) &&
      (!S_ISREG(statFile.st_mode) || (statFile.st_nlink > 1) || (statFile.st_uid != geteuid())))
  {
    OSLOG(EOSLOGFLAG_ERROR, "Open refused, not a regular file of the caller...<%s>", a_szFilename);
  }
}

// The trace file name of Create, read from the environment on first use.
const char *TraceFileName()
{
  if (!s_blTraceRead.load(std::memory_order_acquire))
  {
    COsSync::SpinLock(&s_spinlockTrace);
    if (!s_blTraceRead.load(std::memory_order_relaxed))
    {
      if (COsCfg::GetEnv("QRB_TRACE_COSFILE_CREATE", "", sizeof(s_szTraceFile), s_szTraceFile, false))
      {
        s_szTraceFile[0] = '\0';
      }
      s_blTraceRead.store(true, std::memory_order_release);
    }
    COsSync::SpinUnlock(&s_spinlockTrace);
  }
  return s_szTraceFile;
}

// The trace file of Create, opened for appending; never through a link nor
// a file another user prepared. A file that cannot be opened is reported.
FILE *OpenTraceFile()
{
  const char *szTrace = TraceFileName();
  if (!szTrace[0])
  {
    return nullptr;
  }
  FILE *pfile = StreamFromDescriptor(OsFileOpenWrite(szTrace, O_WRONLY | O_APPEND | O_CREAT,
                                                     0666 & ~OsFileCreationMask(), OS_WRITER_PRIVATE),
                                     "ae");
  if (!pfile)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Unable to open trace file...<%s>", szTrace);
  }
  return pfile;
}

}  // namespace

// The implementation of one file object.
class COsFileImpl
{
public:
  explicit COsFileImpl(COsFile *a_posfile);
  ~COsFileImpl();
  COsFileImpl(const COsFileImpl &) = delete;
  COsFileImpl &operator=(const COsFileImpl &) = delete;

  EOSSTS Open(const char *a_szFilename, EOSFILEOPEN a_eosfileopen, EOSFILEACCESS a_eosfileaccess,
              EOSFILESHARE a_eosfileshare);
  EOSSTS Write(const void *a_pvBuffer, uint32_t a_u32Size, uint32_t *a_pu32Written);
  int VPrintf(const char *a_szFormat, va_list a_valist);
  EOSSTS Close();

private:
  EOSSTS OpenStream(const char *a_szFilename, EOSFILEACCESS a_eosfileaccess, EOSFILESHARE a_eosfileshare);
  void ApplyRootPathMode(const char *a_szFilename);
  void StoreName(const char *a_szFilename);

  char m_szFileName[OS_SIZE_PATH];
  bool m_blRefused;  // the last open was refused (link, non-regular, another user's file)
  uint32_t m_u32PrintBufferSize;
  char *m_szPrintBuffer;
  COsFile *m_posfile;
  FILE *m_pfile;
  EOSFILEOPEN m_eosfileopen;
};

COsFileImpl::COsFileImpl(COsFile *a_posfile)
    : m_szFileName(),
      m_blRefused(false),
      m_u32PrintBufferSize(kPrintBufferSize),
      m_szPrintBuffer(nullptr),
      m_posfile(a_posfile),
      m_pfile(nullptr),
      m_eosfileopen(0)
{
  COsSync::SpinLock(&s_spinlockFirst);
  s_blFirstConstruction = false;
  COsSync::SpinUnlock(&s_spinlockFirst);
}

COsFileImpl::~COsFileImpl()
{
  Close();
}

EOSSTS COsFileImpl::Open(const char *a_szFilename, EOSFILEOPEN a_eosfileopen, EOSFILEACCESS a_eosfileaccess,
                         EOSFILESHARE a_eosfileshare)
{
  if (!a_szFilename)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szFilename is null...");
    return EOSSTS_BADARG;
  }
  if ((a_eosfileopen < EOSFILEOPEN_CREATE) || (a_eosfileopen > EOSFILEOPEN_NOMODE))
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_eosfileopen is bad...");
    return EOSSTS_BADARG;
  }
  if ((a_eosfileaccess < EOSFILEACCESS_READ) || (a_eosfileaccess > EOSFILEACCESS_EXECUTE))
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_eosfileaccess is bad...");
    return EOSSTS_BADARG;
  }
  if ((a_eosfileshare < EOSFILESHARE_EXCLUSIVE) || (a_eosfileshare > EOSFILESHARE_READWRITE))
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_eosfileshare is bad...");
    return EOSSTS_BADARG;
  }
  Close();
  StoreName(a_szFilename);
  m_blRefused = false;

  bool blReadable = (access(a_szFilename, R_OK) == 0);
  if (!blReadable && (a_eosfileopen == EOSFILEOPEN_EXISTING))
  {
    int iErrno = errno;
    OSLOGDBG("access failed...%d <%s>", iErrno, a_szFilename);
    return OsFileStatusFromErrno(iErrno);
  }
  m_eosfileopen = a_eosfileopen;
  if (m_eosfileopen == EOSFILEOPEN_ALWAYS)
  {
    m_eosfileopen = blReadable ? EOSFILEOPEN_EXISTING : EOSFILEOPEN_CREATE;
  }
  EOSSTS eosstsResult = OpenStream(a_szFilename, a_eosfileaccess, a_eosfileshare);
  if (eosstsResult != EOSSTS_INUSE)
  {
    ApplyRootPathMode(a_szFilename);
  }
  return eosstsResult;
}

// Opens the stream in the mode the table gives and takes the lock of share 1.
EOSSTS COsFileImpl::OpenStream(const char *a_szFilename, EOSFILEACCESS a_eosfileaccess,
                               EOSFILESHARE a_eosfileshare)
{
  const char *szMode = StreamMode(a_eosfileaccess, m_eosfileopen);
  if (!szMode)
  {
    return EOSSTS_FAIL;
  }
  m_pfile = OpenSafeStream(a_szFilename, szMode);
  if (!m_pfile)
  {
    int iErrno = errno;
    if ((iErrno == ENOENT) && (m_eosfileopen == EOSFILEOPEN_EXISTING) &&
        (a_eosfileaccess != EOSFILEACCESS_READ))
    {
      m_pfile = OpenSafeStream(a_szFilename, "w+e");
      iErrno = errno;
    }
    if (!m_pfile)
    {
      OSLOGDBG("fopen failed...%s <%s>", szMode, a_szFilename);
      if (iErrno == EACCES)
      {
        LogIfRefused(a_szFilename);
      }
      m_blRefused = (iErrno == EACCES);
      return StatusFromOpenErrno(iErrno);
    }
  }
  if ((a_eosfileshare == EOSFILESHARE_EXCLUSIVE) && flock(fileno(m_pfile), LOCK_EX | LOCK_NB) &&
      (errno == EWOULDBLOCK))
  {
    fclose(m_pfile);
    m_pfile = nullptr;
    OSLOGDBG("file inuse...<%s>", a_szFilename);
    return EOSSTS_INUSE;
  }
  return EOSSTS_OK;
}

// A file under the configured root path gets the configured permission bits.
// The open stream is changed through its descriptor. A name that failed to
// open is changed only when it is the caller's own regular file with a single
// link, through a descriptor of that very file (never through a link); a
// refused file is left alone.
void COsFileImpl::ApplyRootPathMode(const char *a_szFilename)
{
  bool blRootPath = false;
  const mode_t mode = OsCfgFileCreationMode(a_szFilename, &blRootPath);
  if (m_blRefused || !blRootPath)
  {
    return;
  }
  if (m_pfile)
  {
    (void)fchmod(fileno(m_pfile), mode);
    return;
  }
  int fd = open(a_szFilename, O_PATH | O_NOFOLLOW | O_CLOEXEC);
  struct stat statFile;
  if ((fd >= 0) && !fstat(fd, &statFile) && S_ISREG(statFile.st_mode) && (statFile.st_nlink == 1) &&
      (statFile.st_uid == geteuid()))
  {
    char szDescriptor[OS_SIZE_NAME];
    snprintf(szDescriptor, sizeof(szDescriptor), "/proc/self/fd/%d", fd);
    (void)chmod(szDescriptor, mode);
  }
  if (fd >= 0)
  {
    close(fd);
  }
}

void COsFileImpl::StoreName(const char *a_szFilename)
{
  snprintf(m_szFileName, sizeof(m_szFileName), "%s", a_szFilename);
}

EOSSTS COsFileImpl::Write(const void *a_pvBuffer, uint32_t a_u32Size, uint32_t *a_pu32Written)
{
  if (!m_pfile)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Need to open a file first...");
    return EOSSTS_BADARG;
  }
  if (!a_pvBuffer)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_pBuffer is NULL...");
    return EOSSTS_BADARG;
  }
  size_t sizetWritten = fwrite(a_pvBuffer, 1, a_u32Size, m_pfile);
  if (a_pu32Written)
  {
    *a_pu32Written = static_cast<uint32_t>(sizetWritten);
  }
  return EOSSTS_OK;
}

int COsFileImpl::VPrintf(const char *a_szFormat, va_list a_valist)
{
  if (!a_szFormat)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szFormat is null...");
    return -1;
  }
  if (!a_valist)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_valist is null...");
    return -1;
  }
  if (!m_szPrintBuffer)
  {
    m_szPrintBuffer = static_cast<char *>(OSMEMALLOC(m_u32PrintBufferSize, "COsFile print buffer"));
    if (!m_szPrintBuffer)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "OsMemAlloc failed...");
      return -1;
    }
  }
  int iFormatted = COsString::SStrVprintf(m_szPrintBuffer, m_u32PrintBufferSize, a_szFormat, a_valist);
  if (iFormatted < 1)
  {
    return -1;
  }
  uint32_t u32Written = 0;
  if (Write(m_szPrintBuffer, static_cast<uint32_t>(iFormatted), &u32Written) || !u32Written ||
      (u32Written > static_cast<uint32_t>(iFormatted)))
  {
    return -1;
  }
  m_szPrintBuffer[u32Written] = '\0';
  return static_cast<int>(u32Written);
}

EOSSTS COsFileImpl::Close()
{
  if (m_pfile)
  {
    fclose(m_pfile);
    m_pfile = nullptr;
    if (m_eosfileopen == EOSFILEOPEN_TEMPORARY)
    {
      m_eosfileopen = 0;
      unlink(m_szFileName);
    }
  }
  if (m_szPrintBuffer)
  {
    OSMEMFREE(m_szPrintBuffer);
    m_szPrintBuffer = nullptr;
  }
  return EOSSTS_OK;
}

// --- COsFile: forwarding ------------------------------------------------------

COsFile::COsFile() : m_posfileimpl(new COsFileImpl(this)) {}

COsFile::~COsFile()
{
  delete m_posfileimpl;
  m_posfileimpl = nullptr;
}

EOSSTS COsFile::Open(const char *a_szFilename, EOSFILEOPEN a_eosfileopen, EOSFILEACCESS a_eosfileaccess,
                     EOSFILESHARE a_eosfileshare)
{
  if (!m_posfileimpl)
  {
    OSLOG(EOSLOGFLAG_ERROR, "m_posfileimpl is null...");
    return EOSSTS_FAIL;
  }
  return m_posfileimpl->Open(a_szFilename, a_eosfileopen, a_eosfileaccess, a_eosfileshare);
}

EOSSTS COsFile::Write(const void *a_pvBuffer, uint32_t a_u32Size, uint32_t *a_pu32Written)
{
  if (!m_posfileimpl)
  {
    OSLOG(EOSLOGFLAG_ERROR, "m_posfileimpl is null...");
    return EOSSTS_FAIL;
  }
  return m_posfileimpl->Write(a_pvBuffer, a_u32Size, a_pu32Written);
}

int COsFile::Printf(const char *a_szFormat, ...)
{
  va_list valist;
  va_start(valist, a_szFormat);
  int iResult = VPrintf(a_szFormat, valist);
  va_end(valist);
  return iResult;
}

int COsFile::VPrintf(const char *a_szFormat, va_list a_valist)
{
  if (!m_posfileimpl)
  {
    OSLOG(EOSLOGFLAG_ERROR, "m_posfileimpl is null...");
    return -1;
  }
  return m_posfileimpl->VPrintf(a_szFormat, a_valist);
}

EOSSTS COsFile::Close()
{
  if (!m_posfileimpl)
  {
    OSLOG(EOSLOGFLAG_ERROR, "m_posfileimpl is null...");
    return EOSSTS_OK;
  }
  return m_posfileimpl->Close();
}

// --- Static operations ------------------------------------------------------

EOSSTS COsFile::Create(const char *a_szDirectory, const void *a_pvAttributes)
{
  (void)a_pvAttributes;
  if (!a_szDirectory)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szDirectory is NULL...");
    return EOSSTS_FAIL;
  }
  FILE *pfileTrace = OpenTraceFile();
  EOSSTS eosstsResult = EOSSTS_EXISTS;
  if (Exists(a_szDirectory))
  {
    if (pfileTrace)
    {
      fprintf(pfileTrace, "exists: %15.15s %15.15s %s\r\n", "", "", a_szDirectory);
      fflush(pfileTrace);
    }
  }
  else
  {
    OSLOGDBG("Creating directory...<%s>", a_szDirectory);
    char szPath[OS_SIZE_PATH];
    PathSet(szPath, sizeof(szPath), a_szDirectory);
    // Leading '.' and '/' belong to the first component; a path of nothing
    // else already exists.
    if (szPath[strspn(szPath, "./")])
    {
      OsFileWalk walk;
      eosstsResult = OsFileWalkPath(walk, nullptr, szPath, OS_WALK_FOLLOW | OS_WALK_CREATE, kMaxComponents)
                         ? OsFileStatusFromErrno(errno)
                         : EOSSTS_OK;
      OsFileWalkClose(walk);
      if (!eosstsResult)
      {
        errno = 0;
      }
    }
  }
  if (pfileTrace)
  {
    fclose(pfileTrace);
  }
  return eosstsResult;
}

bool COsFile::Exists(const char *a_szFilename)
{
  if (!a_szFilename)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szFilename is NULL");
    return false;
  }
  OsFileInfo osfileinfo;
  memset(&osfileinfo, 0, sizeof(osfileinfo));
  bool blFound = (FindFirst(a_szFilename, &osfileinfo) == EOSSTS_OK);
  FindClose(&osfileinfo);
  return blFound;
}

EOSSTS COsFile::SetAccess(const char *a_szFilename, EOSFILEACCESS a_eosfileaccess)
{
  return COsCfg::SetAccess(a_szFilename, a_eosfileaccess);
}

void COsFile::CleanStatic() {}

void COsFile::Shutdown() {}
