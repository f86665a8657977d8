// os_coslog.h: the process's single diagnostic log.
//
// Contract: one COsLog exists per process, reachable through g_poslog. Every
// component writes with Message(file, line, flag, format, ...), passing its
// own source-file name and line; each call appends exactly one line to the
// log file, which is opened and closed around the line. Logging never reports
// a failure and never changes errno as the caller sees it. Callers test
// g_poslog for null first (the OSLOG macros below do), and write information
// (flag 4) only when GetDebugLevel() is not zero. Buffers passed in are the
// caller's; the log copies what it keeps (Setup is the one exception: it
// cuts an "@" form in the caller's buffer in place).
//
// The log file is opened by path for every line. Symbolic links in its
// directories are followed; a symbolic link, FIFO, device or socket at the
// file's own name is never opened, nor a multiply linked file in a directory
// that others can write (another user's own log there is appended to): such
// a file counts as one that cannot be opened. A missing log directory loses
// lines until it exists; a file that cannot be opened at all makes the log
// "hopeless" (nothing written) until Setup or SetHopeless clears it. Modes
// are given explicitly (directories made with the ForceFileCreationMask
// value, a new file 0666); the process's creation mask is never changed.
//
// Threads: from the file's opening to the write a line is under one lock, so
// that a new log's general information block comes before any other line,
// counters follow the order of the lines, and a switch of file (Setup, or
// QRB_DEBUGDIR at a new log) sends each line whole to the old or the new
// file. Only the calling thread's own re-entry (logging while it logs) is
// dropped; the hopeless flag is not raised while the block is written,
// which would drop the other threads' lines. Control characters of a text
// other than tab are written escaped ("\n", "\r", "\x01"), so that one
// message is one line.
// Statuses: GetLogFile returns 0, or 3 for a null or too small buffer; every
// member returns 0 (1 for a status) when the implementation is missing.
#ifndef OS_COSLOG_H
#define OS_COSLOG_H

#include <cstdarg>
#include <cstdint>

#include "os_types.h"

class COsLogImpl;

class COsLog
{
public:
  // a_szName: the process's unique name; a_szLogFile: the log path or an
  // "@VAR@/name" form; a_iLevel: the debug level; a_szFilter: filter words.
  COsLog(const char *a_szName, const char *a_szLogFile, int a_iLevel, const char *a_szFilter);
  ~COsLog();
  COsLog(const COsLog &) = delete;
  COsLog &operator=(const COsLog &) = delete;

  // Reconfigures a running log. An "@" in a_szLogFile is cut in place.
  void Setup(char *a_szLogFile, int a_iLevel, const char *a_szFilter, uint8_t *a_pu8DsState);

  // Writes one line: header, the formatted text, CR LF.
  void Message(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat, ...)
      OS_PRINTF_FORMAT(5, 6);
  void VMessage(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat,
                va_list a_valist);

  // The debug level with the switch bits taken out; 0 when information
  // (flag 4) messages are not written.
  int GetDebugLevel();
  // Replaces the level as stored (the switch bits are not taken out again).
  void SetDebugLevel(int a_iLevel);
  // The switches taken out of the level: find messages (0x400), dumps
  // (0x100), DNS service discovery traces (0x2000), network-transfer traces
  // (0x4000); SetNetXfer turns the last one on or off.
  bool GetDebugFind();
  bool GetIsDump();
  bool GetIsMdns();
  bool GetIsNetXfer();
  void SetNetXfer(bool a_blNetXfer);
  // The caller's state byte shown in every line's "S" field (0-255; 1
  // when Setup was given none), and its setter (ignored without one).
  int GetDsState();
  void SetDsState(int a_iState);
  // 0 while the state byte is missing or still at its initial value 9, else
  // the state (a state of 0 reads as 1): non-zero once a driver session ran.
  int GetIsTWAIN();
  // True once level bit 0x4 turned on flushing every line.
  bool IsFlushing();
  // How argument faults (flag 64) are reported: the QRB_ASSERT value.
  void EnableAssert(int a_iAssert);
  // Sets the hopeless flag (nothing written while it is set); returns the
  // old value.
  int SetHopeless(int a_iHopeless);
  // Kept for the family's interface: this platform measures no stack use (0)
  // and logs no memory usage.
  int GetStackUsage();
  void LogMemoryUsage();
  // The log's path as it stands (cut to the buffer).
  void GetFilename(char *a_szFilename, uint32_t a_u32Size);
  // The same, all or nothing: 3 when the buffer is null or too small.
  [[nodiscard]] EOSSTS GetLogFile(char *a_szLogFile, uint32_t a_u32Size);
  // Opens the log file, forces it to disk and closes it (no-op without a path).
  void Flush();
  // How many bytes of a data block a trace shows: the configuration's
  // DebugDisplayLength (0 without a log or configuration).
  int DisplayLength();

private:
  COsLogImpl *m_poslogimpl;
};

// Writes a message under the given source name when the log exists.
#define OSLOGSRC(source, flag, ...)                           \
  do                                                          \
  {                                                           \
    if (g_poslog)                                             \
    {                                                         \
      g_poslog->Message(source, __LINE__, flag, __VA_ARGS__); \
    }                                                         \
  } while (0)

// Writes an information message under the given source name when the log
// exists and the debug level is not zero.
#define OSLOGSRCDBG(source, ...)                                         \
  do                                                                     \
  {                                                                      \
    if (g_poslog && g_poslog->GetDebugLevel())                           \
    {                                                                    \
      g_poslog->Message(source, __LINE__, EOSLOGFLAG_INFO, __VA_ARGS__); \
    }                                                                    \
  } while (0)

// The same under the calling source file's own name.
#define OSLOG(flag, ...) OSLOGSRC(__FILE__, flag, __VA_ARGS__)
#define OSLOGDBG(...) OSLOGSRCDBG(__FILE__, __VA_ARGS__)

#endif  // OS_COSLOG_H
