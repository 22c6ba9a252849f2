// The subcommands. Each Add function declares one with its options; when the command line names it,
// `fnRun` is set to what has to be done, which returns the exit code.

#ifndef LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H
#define LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

using RunFunction = std::function<int()>;

void AddRecord(CLI::App& stApp, RunFunction& fnRun);
void AddImport(CLI::App& stApp, RunFunction& fnRun);
void AddQuery(CLI::App& stApp, RunFunction& fnRun);
void AddTimeline(CLI::App& stApp, RunFunction& fnRun);
void AddExport(CLI::App& stApp, RunFunction& fnRun);
void AddStatus(CLI::App& stApp, RunFunction& fnRun);
void AddCheck(CLI::App& stApp, RunFunction& fnRun);
void AddRepair(CLI::App& stApp, RunFunction& fnRun);
void AddPrune(CLI::App& stApp, RunFunction& fnRun);
void AddDump(CLI::App& stApp, RunFunction& fnRun);

/// Declares the program: its own options and every subcommand.
void AddCommands(CLI::App& stApp, std::string& strLogDir, RunFunction& fnRun);

#endif  // LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H
