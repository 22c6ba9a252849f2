#include "commands/Commands.h"

#include <memory>

#include "help/CommonOptions.h"

namespace {

/// The library's formatter tells what a negated flag is made of as well.
class CHelpFormatter : public CLI::Formatter {
public:
    CHelpFormatter() { column_width(26); }

    std::string make_option_name(const CLI::Option* pOption, bool bPositional) const override {
        std::string strName = CLI::Formatter::make_option_name(pOption, bPositional);
        return strName.substr(0, strName.find('{'));
    }
};

}  // namespace

void AddCommands(CLI::App& stApp, std::string& strLogDir, RunFunction& fnRun) {
    stApp.name("localstorage");
    stApp.formatter(std::make_shared<CHelpFormatter>());
    stApp.description(
        "Records the video of cameras on local disks, finds it again, keeps it tidy.");
    stApp.set_version_flag("--version", std::string("localstorage ") + LOCALSTORAGE_VERSION,
                           "Print the version and exit");
    stApp.set_help_flag("-h,--help", "Print this help and exit");
    stApp.require_subcommand(1);
    // Options of the program may also stand behind the subcommand.
    stApp.fallthrough();
    strLogDir = DefaultLogDir();
    stApp
        .add_option("--log-dir", strLogDir,
                    "Directory of the library's log files; unless given, localstorage in the "
                    "user's state directory")
        ->type_name("DIR");
    for (const auto pAdd : {AddRecord, AddImport, AddQuery, AddTimeline, AddExport, AddStatus,
                            AddCheck, AddRepair, AddPrune, AddDump}) {
        pAdd(stApp, fnRun);
    }
    stApp.footer(
        "Times are local: 2024-03-05T08:00:00, \"2024-03-05 08:00\", 2024-03-05, 08:00, now, "
        "today,\n"
        "yesterday, \"yesterday 08:00\", or an age: -90s, -30m, -2h, -1d12h.\n\n"
        "Exit codes: 0 done, 1 failure, 2 wrong usage, 3 nothing found, 4 check: something is "
        "wrong.\n\n"
        "\"localstorage COMMAND --help\" tells more of each command, with examples.");
}
