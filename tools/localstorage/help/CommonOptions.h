// Options that several subcommands share: declared once, so that they read and behave alike.

#ifndef LOCALSTORAGE_TOOL_HELP_COMMONOPTIONS_H
#define LOCALSTORAGE_TOOL_HELP_COMMONOPTIONS_H

#include <string>
#include <vector>

#include "Catalogue/Catalogue.h"
#include "help/Command.h"

/// The user's directory for program state, with this tool's folder in it.
std::string DefaultLogDir();

/// An option without which the command does nothing; it has no default.
option Required(option stOption);

option DirsOption(std::vector<std::string>& vDirs);
option CamerasOption(std::vector<std::string>& vCameras);
option CameraOption(std::string& strCamera, const std::string& strDescription);
option JsonOption(bool& bJson);
/// `--delete-kind` or `--kind`.
option FileKindOption(const std::string& strName, std::string& strKind);
StoreFileType FileKindOf(const std::string& strKind);
/// `--auto-delete/--no-auto-delete`; `bAutoDelete` holds the default.
option AutoDeleteOption(bool& bAutoDelete);
/// How a stream is kept: `--container`, `--audio/--no-audio`, `--stamps/--no-stamps`; the arguments
/// hold the defaults.
option ContainerOption(std::string& strContainer);
option AudioOption(bool& bAudio);
option StampsOption(bool& bStamps);
/// Kind of recording; 0 is allowed where it asks for every kind.
option TypeOption(unsigned& nType, unsigned nLeast);
/// An option that takes a time, kept as it was typed.
option TimeOption(const std::string& strName, std::string& strTime,
                  const std::string& strDescription);
/// An option that takes a span such as `90`, `15m`.
option SpanOption(const std::string& strName, std::string& strSpan,
                  const std::string& strDescription);

/// Which recordings: --dir, --camera, --from, --to, --type.
struct selection {
    std::vector<std::string> vDirs;
    std::vector<std::string> vCameras;
    std::string strFrom = "today", strTo = "now";
    unsigned nType = 0;

    /// The range as times; throws CUsageError when it is empty.
    timeSpan Range() const;
    recordingFilter Filter() const { return {vCameras, Range(), nType}; }
};

/// `--from` (today unless given) and `--to` (now).
option FromOption(selection& stSelection);
option ToOption(selection& stSelection);

/// The time of an option that was checked; of one that comes twice the first.
UtcTime TimeOf(const std::string& strTime);
Seconds SpanOf(const std::string& strSpan);

/// Why a camera identifier cannot be used; empty when it can.
std::string CameraIdFault(const std::string& strCamera);

#endif  // LOCALSTORAGE_TOOL_HELP_COMMONOPTIONS_H
