// Options that several subcommands share: declared once, so that they read and behave alike.

#ifndef LOCALSTORAGE_TOOL_HELP_COMMONOPTIONS_H
#define LOCALSTORAGE_TOOL_HELP_COMMONOPTIONS_H

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "records/Catalogue.h"

/// The user's directory for program state, with this tool's folder in it.
std::string DefaultLogDir();

/// Declares a subcommand with its examples.
CLI::App* AddCommand(CLI::App& stApp, const std::string& strName, const std::string& strDescription,
                     const std::string& strExamples);

CLI::Option* AddDirs(CLI::App& stCommand, std::vector<std::string>& vecDirs);
CLI::Option* AddCameras(CLI::App& stCommand, std::vector<std::string>& vecCameras);
CLI::Option* AddJson(CLI::App& stCommand, bool& bJson);
/// `--delete-kind` or `--kind`.
CLI::Option* AddFileKind(CLI::App& stCommand, const std::string& strName, StoreFileType& eKind);
/// `--auto-delete/--no-auto-delete`; `bAutoDelete` holds the default.
CLI::Option* AddAutoDelete(CLI::App& stCommand, bool& bAutoDelete);
/// Kind of recording; 0 is allowed where it asks for every kind.
CLI::Option* AddType(CLI::App& stCommand, unsigned& nType, unsigned nLeast);
/// An option that takes a time, kept as it was typed.
CLI::Option* AddTime(CLI::App& stCommand, const std::string& strName, std::string& strTime,
                     const std::string& strDescription);
/// An option that takes a span such as `90`, `15m`.
CLI::Option* AddSpan(CLI::App& stCommand, const std::string& strName, std::string& strSpan,
                     const std::string& strDescription);

/// Which recordings: --dir, --camera, --from, --to, --type.
struct selection {
    std::vector<std::string> vecDirs;
    std::vector<std::string> vecCameras;
    std::string strFrom = "today", strTo = "now";
    unsigned nType = 0;

    /// The range as times; throws CUsageError when it is empty.
    timeSpan Range() const;
    recordingFilter Filter() const { return {vecCameras, Range(), nType}; }
};

/// `--from` (today unless given) and `--to` (now).
void AddRange(CLI::App& stCommand, selection& stSelection);

/// The time of an option that AddTime has checked.
LocalTime TimeOf(const std::string& strTime);
Seconds SpanOf(const std::string& strSpan);

/// Why a camera identifier cannot be used; empty when it can.
std::string CameraIdFault(const std::string& strCamera);

#endif  // LOCALSTORAGE_TOOL_HELP_COMMONOPTIONS_H
