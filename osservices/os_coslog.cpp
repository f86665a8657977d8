// os_coslog.cpp: TEMPORARY placeholder so that the library links while the
// real log is being written; it writes nothing. Replaced by the log object.
#include "os_coslog.h"

COsLog::COsLog(const char *, const char *, int, const char *) : m_poslogimpl(nullptr) {}
COsLog::~COsLog() {}
void COsLog::Setup(char *, int, const char *, uint8_t *) {}
void COsLog::Message(const char *, int, EOSLOGFLAG, const char *, ...) {}
void COsLog::VMessage(const char *, int, EOSLOGFLAG, const char *, va_list) {}
int COsLog::GetDebugLevel() { return 0; }
void COsLog::SetDebugLevel(int) {}
bool COsLog::GetDebugFind() { return false; }
bool COsLog::GetIsDump() { return false; }
bool COsLog::GetIsMdns() { return false; }
bool COsLog::GetIsNetXfer() { return false; }
void COsLog::SetNetXfer(bool) {}
int COsLog::GetDsState() { return 1; }
void COsLog::SetDsState(int) {}
int COsLog::GetIsTWAIN() { return 0; }
bool COsLog::IsFlushing() { return false; }
void COsLog::EnableAssert(int) {}
int COsLog::SetHopeless(int) { return 0; }
int COsLog::GetStackUsage() { return 0; }
void COsLog::LogMemoryUsage() {}
void COsLog::GetFilename(char *, uint32_t) {}
EOSSTS COsLog::GetLogFile(char *, uint32_t) { return EOSSTS_BADARG; }
void COsLog::Flush() {}
int COsLog::DisplayLength() { return 0; }
