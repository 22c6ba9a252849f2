// localstorage dump: one index file in words.

#include <memory>

#include "Catalogue/RecordingName.h"
#include "RecordTree/Names.h"
#include "base/Failure.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "records/IndexFault.h"
#include "screen/Json.h"
#include "screen/Table.h"

namespace {

constexpr const char* DUMP_EXAMPLES =
    "  localstorage dump /mnt/disk1/RecordFile/index01.bin\n"
    "  localstorage dump /mnt/disk1/RecordFile/20240305/door/index03.bin --json\n\n"
    "index01.bin lists the days of a record directory, index02.bin the channels of a day,\n"
    "index03.bin the recordings of a channel. Exit code 1: the file is damaged\n"
    "(or a running host is just writing it).";

/// The elements of one index file as a table, or as NDJSON.
class CDump {
public:
    explicit CDump(bool bJson) : m_bJson(bJson) {}

    indexFileVisitor Visitor() {
        return {[this](const indexLevel1Body& st) { return Day(st); },
                [this](const indexLevel2Body& st) { return Channel(st); },
                [this](const indexLevel3Body& st) { return File(st); }};
    }
    /// Prints the table.
    void Finish() const {
        if (m_optTable) m_optTable->Print();
    }

private:
    bool Day(const indexLevel1Body& st) {
        return Add({{"DAY"}}, {GetDirName(st.stDate)}, {{"day", GetDirName(st.stDate)}});
    }
    bool Channel(const indexLevel2Body& st) {
        return Add({{"CHANNEL"},
                    {"IDENTIFIER"},
                    {"NUMBER 1", CTable::RIGHT},
                    {"NUMBER 2", CTable::RIGHT},
                    {"FORM"}},
                   {GetDirName(st), st.szCameraID, std::to_string(st.wDirNum1),
                    std::to_string(st.byDirNum2), st.IsBare() ? "bare" : "numbered"},
                   {{"channel", GetDirName(st)},
                    {"identifier", st.szCameraID},
                    {"number1", st.wDirNum1},
                    {"number2", st.byDirNum2},
                    {"form", st.IsBare() ? "bare" : "numbered"}});
    }
    bool File(const indexLevel3Body& st) {
        const LocalTime tStart = FromFileTime(st.stStartTime), tEnd = FromFileTime(st.stEndTime);
        return Add({{"START"}, {"END"}, {"TYPE", CTable::RIGHT}, {"FILE"}},
                   {FormatTime(tStart), FormatTime(tEnd), std::to_string(st.enumRecFileType),
                    GetRecFileName(st)},
                   {{"start", FormatIso(tStart)},
                    {"end", FormatIso(tEnd)},
                    {"type", std::uint32_t(st.enumRecFileType)},
                    {"file", GetRecFileName(st)}});
    }
    bool Add(std::vector<CTable::column> vColumns, std::initializer_list<std::string_view> vCells,
             const JsonObject& js) {
        if (m_bJson) {
            PrintJson(js);
            return true;
        }
        if (!m_optTable) m_optTable.emplace(std::move(vColumns));
        m_optTable->AddRow(vCells);
        return true;
    }

    bool m_bJson;
    std::optional<CTable> m_optTable;
};

int Run(const std::string& strFile, bool bJson) {
    const std::string strName = strFile.substr(strFile.rfind('/') + 1);
    if (strName != INDEX_FILE_LEVEL1 && strName != INDEX_FILE_LEVEL2 &&
        strName != INDEX_FILE_LEVEL3) {
        throw CUsageError(strFile + " is no index file: index01.bin, index02.bin or index03.bin");
    }
    CDump objDump(bJson);
    indexFileFault stFault;
    const bool bWhole = ReadIndexFile(strFile, objDump.Visitor(), stFault);
    objDump.Finish();
    if (bWhole) return EXIT_OK;
    throw CFailure(
        strFile + ": " + IndexFaultText(stFault) +
        (stFault.nCount ? " (its head counts " + std::to_string(stFault.nCount) + ")" : ""));
}

}  // namespace

command DumpCommand() {
    const auto pFile = std::make_shared<std::string>();
    const auto pJson = std::make_shared<bool>(false);
    return {"dump",
            "Show one index file in words",
            DUMP_EXAMPLES,
            {JsonOption(*pJson), Required({"FILE", pFile.get(), "Index file"})},
            [=] { return Run(*pFile, *pJson); }};
}
