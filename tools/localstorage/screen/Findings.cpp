#include "screen/Findings.h"

#include "Catalogue/FolderInUse.h"
#include "base/Text.h"
#include "base/Times.h"
#include "screen/Json.h"
#include "screen/Table.h"
#include "screen/Terminal.h"

namespace {

JsonObject ToJson(const inspection& st, const finding& stFinding) {
    return {{"kind", "finding"},
            {"dir", st.strDir},
            {"finding", KindName(stFinding.eKind)},
            {"path", stFinding.strPath},
            {"why", stFinding.strWhy},
            {"files", stFinding.nFiles},
            {"bytes", stFinding.nBytes}};
}

JsonObject ToJson(const inspection& st) {
    return {{"kind", "directory"},
            {"dir", st.strDir},
            {"folder", st.bEmpty ? "" : st.strFolder},
            {"layout", st.bClientLayout ? "client" : "remote-backup"},
            {"in_use", st.bInUse},
            {"recordings", st.nRecordings},
            {"entries", st.nEntries},
            {"hidden", st.nHidden},
            {"findings", st.vFindings.size()},
            {"would_remove_files", st.RemovedFiles()},
            {"clean", st.IsClean()}};
}

std::string Counts(const inspection& st) {
    if (st.bEmpty) return "nothing recorded yet";
    const std::string strRecordings = Count(st.nRecordings, "recording");
    if (!st.mUnread.empty()) return strRecordings + " where it can be read";
    if (st.bClientLayout) return "client layout: " + strRecordings + " and no index";
    return strRecordings + ", " + Count(st.nEntries, "index entry", "index entries") +
           (st.bInUse ? ", a host is recording" : "");
}

std::string Summary(const inspection& st) {
    std::string strText = (st.bEmpty ? st.strDir : st.FolderPath()) +
                          (st.IsClean() ? ": clean, " : ": NOT clean, ") + Counts(st);
    if (st.nHidden) strText += "; no host finds another " + Count(st.nHidden, "recording");
    if (const auto nFiles = st.RemovedFiles()) {
        strText += "; a repair would remove " + Count(nFiles, "file");
    }
    return strText;
}

}  // namespace

void PrintInspections(const std::vector<inspection>& vInspections, bool bJson) {
    CTable objTable({{"FINDING"}, {"SIZE", CTable::RIGHT}, {"WHY"}, {"PATH"}});
    for (const inspection& st : vInspections) {
        for (const finding& stFinding : st.vFindings) {
            if (bJson) {
                PrintJson(ToJson(st, stFinding));
                continue;
            }
            const bool bSized =
                stFinding.eKind == findingKind::FOREIGN || stFinding.eKind == findingKind::HIDDEN;
            objTable.AddRow({KindName(stFinding.eKind),
                             bSized ? FormatBytes(stFinding.nBytes) : "-", stFinding.strWhy,
                             stFinding.strPath + (stFinding.bDirectory ? "/" : "")});
        }
    }
    if (!objTable.Empty()) {
        objTable.Print();
        PrintLine("");
    }
    for (const inspection& st : vInspections) {
        if (bJson) {
            PrintJson(ToJson(st));
        } else {
            PrintLine(Summary(st));
        }
    }
}

void TellUnread(const UnreadFolders& mUnread) {
    for (const auto& [strPath, nError] : mUnread) {
        PrintMessage("cannot read directory " + strPath + ": " + ErrorText(nError) +
                     "; what it holds is missing here");
    }
}

exitCode CodeWithout(const UnreadFolders& mUnread, exitCode eWhole) {
    return mUnread.empty() ? eWhole : EXIT_FAILED;
}

void TellHidden(const std::vector<std::string>& vDirs, const std::vector<recording>& vFound) {
    for (const hiddenRecordings& st : FindHidden(vDirs, vFound)) {
        PrintMessage(st.strDir + ": hosts use " + st.strInUse + " and do not find " +
                     Count(st.nCount, "recording") + " in " + st.strFolder +
                     "; see \"localstorage check\"");
    }
}

void TellNothingFound(const std::string& strCamera, const timeSpan& stRange,
                      const std::string& strOutcome) {
    PrintMessage("no recording of " + strCamera + " between " + FormatTime(stRange.tStart) +
                 " and " + FormatTime(stRange.tEnd) + "; " + strOutcome);
}
