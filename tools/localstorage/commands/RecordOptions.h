// What "record" is told, by its command line and its configuration file. What FFmpeg makes of it is
// none of this: other commands read the file, too.

#ifndef LOCALSTORAGE_TOOL_COMMANDS_RECORDOPTIONS_H
#define LOCALSTORAGE_TOOL_COMMANDS_RECORDOPTIONS_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "help/Command.h"
#include "host/Host.h"
#include "media/StreamWriter.h"

/// What each camera may have for itself.
struct cameraSettings {
    std::string strInput;
    std::string strWhere;  ///< where the file has it (FILE:LINE); empty: the command line
    std::string strSnapshotEvery, strStall = "10s", strPace = "real", strRtspTransport = "tcp";
    std::vector<std::string> vInputOptions;
    streamForm stForm;
    unsigned nKeepDays = 0, nSnapshotKeepDays = 0;  ///< 0: for ever
    bool bRetry = false;
};

struct recordOptions {
    configFile stConfig;
    std::vector<std::string> vDirs;
    hostSettings stHost{.eLayout = LOCAL_STORAGE_CLIENT, .bAnalyze = true, .bAutoDelete = true};
    std::string strDuration, strDeleteKind, strMetrics, strOnEvent;
    bool bJson = false, bPrintConfig = false;
    std::vector<std::string> vCameras;  ///< of the command line: ID=INPUT
    cameraSettings stCommon;            ///< what all cameras have, unless they have other
    std::map<std::string, cameraSettings> mTables;  ///< cameras of the file
};

/// The options and the tables of the file, with their values in `st`, which must outlive them.
std::vector<option> OptionsOfRecord(recordOptions& st);
configTable CameraTables(recordOptions& st);

/// What stands in front of and behind the first "=".
std::pair<std::string, std::string> SplitPair(const std::string& strText);

/// The cameras of the file, and those of the command line. Throws CUsageError where one is given
/// twice.
std::map<std::string, cameraSettings> AllCameras(const recordOptions& st);

/// All of it as a configuration file.
std::string ConfigText(recordOptions& st);
/// The options in which the two differ and which count from the start of the engine to its end.
std::vector<std::string> FixedDifferences(recordOptions& st, recordOptions& stOther);

#endif  // LOCALSTORAGE_TOOL_COMMANDS_RECORDOPTIONS_H
