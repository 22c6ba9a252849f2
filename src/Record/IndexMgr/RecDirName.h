// The name of the record folder, as hosts see it: g_pRecDirName.
//
// Every index manager chooses its own at its start and keeps it, so what one engine of a process
// goes over to changes no path of another. This one is that of the last start.

#ifndef LOCALSTORAGE_INDEXMGR_RECDIRNAME_H
#define LOCALSTORAGE_INDEXMGR_RECDIRNAME_H

/// g_pRecDirName read in one step. Any thread.
const char* RecDirName();

/// Tells hosts a name that lives as long as the process. Any thread.
void SetRecDirName(const char* pName);

#endif  // LOCALSTORAGE_INDEXMGR_RECDIRNAME_H
