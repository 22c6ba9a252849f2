// The name of the record folder below every record directory, one for the whole process.

#ifndef LOCALSTORAGE_INDEXMGR_RECDIRNAME_H
#define LOCALSTORAGE_INDEXMGR_RECDIRNAME_H

/// The record folder's name now, one of Names.h; g_pRecDirName read in one step. Every path is
/// built with it when it is needed, since the name can change once. Any thread.
const char* RecDirName();

/// Changes the name to BACKUP_FOLDER, for good. Only the initialisation of an index does this.
void SwitchToBackupFolder();

#endif  // LOCALSTORAGE_INDEXMGR_RECDIRNAME_H
