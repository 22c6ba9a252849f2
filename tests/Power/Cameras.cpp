// Records cameras (Cameras.h), and compares what lies in a record directory with what its hosts
// noted:
//     cameras record NOTES LOG_DIR KEY=VALUE...
//         dir=D  layout=client|backup  cameras=N  bitrate=K (kbit/s of each)
//         restarts=N     so many of the cameras begin a new recording every five seconds
//         run=N          tells the hosts apart that record into one directory, one after the other
//         sync=MS  reserve=MIB     options of the library; left to it when absent
//         stamp=FILE     keeps the time in the last eight bytes of this file, the image of the
//         disk:
//                        a copy then tells of when it is
//     cameras cut LAYOUT DIR NOTES IMAGE    after a power cut; IMAGE ends with its time
//     cameras all LAYOUT DIR NOTES...       all that these hosts recorded there
//     cameras writes NOTES [BEGIN END]...   how long writes took, but those in these spans
// The last three print a line of figures; what is wrong goes to standard error, and the result
// is 1.
//
// After a cut, a camera has lost the time between the cut and the last accepted piece that is
// there, with all before it. Times are seconds since the machine's start.

#include "Power/Cameras.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <vector>

#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

bool g_bWrong = false;

void Complain(const std::string& strText) {
    std::cerr << strText << '\n';
    g_bWrong = true;
}

double Seconds(std::int64_t nNanoseconds) {
    return static_cast<double>(nNanoseconds) / static_cast<double>(SECOND);
}

/// What is there of each stream.
class CRecordings {
public:
    explicit CRecordings(const std::string& strDir) {
        for (const std::string& strPath : RecordFilesBelow(strDir)) Read(strPath);
    }
    bool HasPiece(const CNotes& notes, unsigned nCamera, unsigned nPiece) const {
        const std::uint64_t nBegin = notes.FirstWord(nCamera, nPiece);
        const auto it = m_mRuns.upper_bound(nBegin);
        return it != m_mRuns.begin() && nBegin + notes.WordsPerPiece() <= std::prev(it)->second;
    }

private:
    /// Every word is the camera's, in its order; but the last 4 KiB may be zeros.
    void Read(const std::string& strPath) {
        constexpr std::ptrdiff_t TAIL = 512;
        const std::string strCamera = std::filesystem::path(strPath).parent_path().filename();
        const auto nSize = static_cast<std::size_t>(std::filesystem::file_size(strPath));
        std::vector<std::uint64_t> vWords((nSize + 7) / 8);
        std::ifstream(strPath).read(reinterpret_cast<char*>(vWords.data()),
                                    static_cast<std::streamsize>(nSize));
        for (auto it = vWords.begin(); it != vWords.end();) {
            const auto itBegin = it;
            const auto IsStrange = [](std::uint64_t n) { return n != 0; };
            if (vWords.end() - it <= TAIL && std::none_of(it, vWords.end(), IsStrange)) return;
            if (*it == 0 || CameraName(CNotes::CameraOf(*it)) != strCamera) {
                return Complain(strPath + ": not the camera's from " +
                                std::to_string(8 * (it - vWords.begin())) + " on");
            }
            for (++it; it != vWords.end() && *it == it[-1] + 1;) ++it;
            std::uint64_t& nLast = m_mLast[CNotes::StreamOf(*itBegin)];
            if (*itBegin < nLast) Complain(strPath + ": out of order");
            nLast = m_mRuns[*itBegin] = it[-1] + 1;
        }
    }

    std::map<std::uint64_t, std::uint64_t> m_mRuns;  // of words: first, one behind the last
    std::map<std::uint64_t, std::uint64_t> m_mLast;  // of each stream
};

/// The next start finds every recording, deletes none, and brings the index up.
void StartAnew(LocalStorageType eLayout, const std::string& strDir) {
    const std::vector<std::string> vBefore = RecordFilesBelow(strDir);
    const CTempDir log;
    tagStoreInfo stInfo;
    stInfo.enumStorageType = eLayout;
    AddRecordDir(stInfo, strDir);
    std::vector<std::string> vFound;
    {
        CRecordingHost host(stInfo, log.Path());
        for (unsigned n = 0; n < MAX_CAMERAS; ++n) {
            for (const std::string& strPath : host.Recordings(CameraName(n))) {
                vFound.push_back(strPath);
            }
        }
    }
    std::sort(vFound.begin(), vFound.end());
    if (RecordFilesBelow(strDir) != vBefore) Complain("the next start deleted recordings");
    if (eLayout == LOCAL_STORAGE_CLIENT || vBefore.empty()) return;
    if (vFound != vBefore) {
        Complain("the next start finds " + std::to_string(vFound.size()) + " of " +
                 std::to_string(vBefore.size()) + " recordings");
    }
    const std::string strIndex = strDir + "/RecordFile/index";
    if (!std::filesystem::exists(strIndex + "01.bin") ||
        std::filesystem::exists(strIndex + ".dirty")) {
        Complain("the next start left no index");
    }
}

void CheckCut(const std::string& strDir, const char* pNotes, const char* pImage) {
    std::ifstream image(pImage);
    std::int64_t nStamp = 0, nWorst = 0, nSum = 0;
    image.seekg(-static_cast<std::streamoff>(sizeof(nStamp)), std::ios::end);
    if (!image.read(reinterpret_cast<char*>(&nStamp), sizeof(nStamp))) {
        return Complain(std::string("cannot read ") + pImage);
    }
    const CNotes& notes = MapNotes(pNotes);
    const std::int64_t nCut = std::max(notes.nBegun, nStamp + STAMP_INTERVAL);
    const CRecordings recordings(strDir);
    for (unsigned nCamera = 0; nCamera < notes.nCameras; ++nCamera) {
        std::int64_t nLast = notes.nBegun;
        for (unsigned n = 0; n < notes.nPieces[nCamera]; ++n) {
            const CPiece& piece = notes.objPieces[nCamera][n];
            if (piece.nReturned > nCut) break;
            if (!piece.nAccepted) continue;
            if (!recordings.HasPiece(notes, nCamera, n)) break;
            nLast = piece.nReturned;
        }
        nSum += nCut - nLast;
        nWorst = std::max(nWorst, nCut - nLast);
    }
    std::cout << Seconds(nWorst) << ' ' << Seconds(nSum / notes.nCameras) << '\n';
}

/// Writes; refused ones, those of the last two seconds, messages of them; refused openings; longest
/// write. Then, in seconds of the camera that it hits most: what was accepted and is not there;
/// that and what was refused.
void CheckAll(const CRecordings& recordings, const CNotes& notes) {
    unsigned nWrites = 0, nRefused = 0, nRefusedLast = 0, nWorstLost = 0, nWorstMissed = 0;
    std::uint32_t nLongest = 0;
    for (unsigned nCamera = 0; nCamera < notes.nCameras; ++nCamera) {
        const unsigned nPieces = notes.nPieces[nCamera];
        unsigned nRefusedHere = 0, nLost = 0;
        for (unsigned n = 0; n < nPieces; ++n) {
            const CPiece& piece = notes.objPieces[nCamera][n];
            nLongest = std::max(nLongest, piece.nMicroseconds);
            nRefusedHere += !piece.nAccepted;
            nRefusedLast += !piece.nAccepted && n + 2 * PIECES_PER_SECOND >= nPieces;
            nLost += piece.nAccepted && !recordings.HasPiece(notes, nCamera, n);
        }
        nWrites += nPieces;
        nRefused += nRefusedHere;
        nWorstLost = std::max(nWorstLost, nLost);
        nWorstMissed = std::max(nWorstMissed, nLost + nRefusedHere);
    }
    std::cout << nWrites << ' ' << nRefused << ' ' << nRefusedLast << ' ' << notes.nWriteFails
              << ' ' << notes.nRefusedOpens << ' ' << nLongest / 1e6 << ' '
              << nWorstLost / double(PIECES_PER_SECOND) << ' '
              << nWorstMissed / double(PIECES_PER_SECOND) << '\n';
}

/// Median, 99.9 % and longest in ms; the host's processor time in % of one.
void TellWrites(const CNotes& notes, char** ppSpans) {
    std::vector<double> vMilliseconds;
    for (unsigned nCamera = 0; nCamera < notes.nCameras; ++nCamera) {
        for (unsigned n = 0; n < notes.nPieces[nCamera]; ++n) {
            const CPiece& piece = notes.objPieces[nCamera][n];
            const double dCalled = Seconds(piece.nReturned) - piece.nMicroseconds / 1e6;
            bool bDisturbed = false;
            for (char** pp = ppSpans; *pp; pp += 2) {
                bDisturbed |=
                    dCalled < std::stod(pp[1]) && std::stod(pp[0]) < Seconds(piece.nReturned);
            }
            if (!bDisturbed) vMilliseconds.push_back(piece.nMicroseconds / 1e3);
        }
    }
    if (vMilliseconds.empty()) return Complain("nothing was written");
    std::sort(vMilliseconds.begin(), vMilliseconds.end());
    for (const double dPart : {0.5, 0.999, 1.0}) {
        std::cout
            << vMilliseconds[static_cast<std::size_t>(dPart * double(vMilliseconds.size() - 1))]
            << ' ';
    }
    std::cout << 100 * Seconds(notes.nProcessor) / Seconds(notes.nEnded - notes.nBegun) << '\n';
}

}  // namespace

int main(int nArguments, char** argv) try {
    if (nArguments < 3) return 2;
    const std::string strCommand = argv[1], strLayout = argv[2];
    std::cout << std::fixed << std::setprecision(3);
    if (strCommand == "record") {
        RecordCameras(argv + 2);
    } else if (strCommand == "writes") {
        TellWrites(MapNotes(argv[2]), argv + 3);
    } else {
        if (strCommand == "cut") {
            CheckCut(argv[3], argv[4], argv[5]);
        } else {
            const CRecordings recordings(argv[3]);
            for (char** pp = argv + 4; *pp; ++pp) CheckAll(recordings, MapNotes(*pp));
        }
        StartAnew(strLayout == "client" ? LOCAL_STORAGE_CLIENT : LOCAL_STORAGE_REMOTE_BACKUP,
                  argv[3]);
    }
    return g_bWrong;
} catch (const std::exception& error) {
    std::cerr << "cameras: " << error.what() << '\n';
    return 1;
}
