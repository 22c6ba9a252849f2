// What the tool asks of the operating system for itself: signals, the terminal, processes.

#ifndef LOCALSTORAGE_TOOL_BASE_SYSTEM_H
#define LOCALSTORAGE_TOOL_BASE_SYSTEM_H

#include <atomic>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

/// Catches SIGINT, SIGTERM and SIGHUP (the terminal was closed) from now on and returns the flag
/// that they set. A second one ends the process at once. A reader of standard output that goes away
/// is no longer fatal.
const std::atomic<bool>& CatchStopSignals();

/// Catches SIGHUP from now on, which asks a service to read its configuration again.
void CatchReloadSignal();
/// Whether one has come since this was called last.
bool TakeReloadSignal();

enum class outputStream { OUT, ERR };

bool IsTerminal(outputStream eStream);
/// Whether what goes there is read by the journal, which notes times by itself.
bool IsReadByJournal(outputStream eStream);

struct terminalSize {
    unsigned nColumns = 0, nLines = 0;
};
/// Of the terminal behind a stream; `stElse` when it is none.
terminalSize TerminalSize(outputStream eStream, terminalSize stElse = {80, 24});

/// Has the disk write a file, or what a folder lists. False: see errno.
bool MakeDurable(const std::string& strPath);

/// Variables of an environment.
using Environment = std::vector<std::pair<std::string, std::string>>;

/// Where the file of the running program lies, whatever link it was called by; empty where the
/// system does not tell.
std::string ProgramFolder();
/// Goes on as another program, in this process and with these arguments. Returns where that fails:
/// see errno.
void BecomeProgram(const std::string& strPath, char* const* ppArguments);

/// Runs a command by the shell, with nothing on standard input and these variables besides those of
/// this program. The process' number, or -1: see errno.
int StartShell(const std::string& strCommand, const Environment& vMore);
/// Waits until it has ended; its number stays its own until CollectProcess.
void AwaitProcess(int nProcess);
void CollectProcess(int nProcess);
/// Ends it and those that it started.
void EndProcess(int nProcess);

/// Who runs this, as user@host.
std::string UserAtHost();

/// Opens a new file of a directory that never gets a name. -1 where the system or its file system
/// has none: see errno.
int OpenNamelessFile(const std::string& strDir);

/// The nanoseconds of a file's last change, behind its whole seconds.
long NanosecondsOfChange(const struct stat& st);

/// Where programs keep their logs, below the user's home.
extern const char* const STATE_BELOW_HOME;

#endif  // LOCALSTORAGE_TOOL_BASE_SYSTEM_H
