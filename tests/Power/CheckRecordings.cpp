// Compares what lies in a record directory with what its hosts noted (Cameras.h):
//     check_recordings cut LAYOUT DIR NOTES IMAGE    after a power cut; IMAGE ends with its time
//     check_recordings all LAYOUT DIR NOTES...       all that these hosts recorded there
//     check_recordings writes NOTES [BEGIN END]...   how long writes took, but those in these spans
// Prints one line of figures; what is wrong goes to standard error, and the result is 1.
//
// After a cut, a camera has lost the time between the cut and the last accepted piece that is
// there, with all before it. Times are seconds since the machine's start.

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "Power/Cameras.h"
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
std::int64_t Nanoseconds(const char* pSeconds) {
    return static_cast<std::int64_t>(std::stod(pSeconds) * static_cast<double>(SECOND));
}

std::set<std::string> Files(const std::string& strDir) {
    std::set<std::string> setFiles;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(strDir)) {
        if (entry.path().extension() == ".mp4") setFiles.insert(entry.path());
    }
    return setFiles;
}

/// What is there of each stream.
class CRecordings {
public:
    explicit CRecordings(const std::set<std::string>& setFiles) {
        for (const std::string& strPath : setFiles) Read(strPath);
    }
    bool HasPiece(const CNotes& notes, unsigned nCamera, unsigned nPiece) const {
        const std::uint64_t nWords = notes.nPieceSize / sizeof(std::uint64_t);
        const std::uint64_t nBegin =
            CWord{notes.nRun * MAX_CAMERAS + nCamera, nPiece * nWords}.Number();
        const auto it = m_mRuns.upper_bound(nBegin);
        return it != m_mRuns.begin() && nBegin + nWords <= std::prev(it)->second;
    }

private:
    /// Every byte is the camera's, in its order; but the last 4 KiB may be zeros.
    void Read(const std::string& strPath) {
        constexpr std::size_t TAIL = 4096;
        const std::string strCamera = std::filesystem::path(strPath).parent_path().filename();
        std::string strFile(std::filesystem::file_size(strPath), '\0');
        const auto nSize = strFile.size();
        if (!std::ifstream(strPath).read(strFile.data(), static_cast<std::streamsize>(nSize))) {
            return Complain("cannot read " + strPath);
        }
        std::size_t nStrange = 0;
        for (std::size_t nPos = 0; nPos < nSize;) {
            const std::string_view left = std::string_view(strFile).substr(nPos);
            const std::size_t nRun = ReadRun(strCamera, left);
            const bool bTail = left.size() <= TAIL && left.find_first_not_of('\0') == left.npos;
            if (nRun == 0 && bTail) break;
            if (nRun == 0 && nStrange++ == 0) {
                Complain(strPath + ": not the camera's from " + std::to_string(nPos) + " on");
            }
            nPos += std::max<std::size_t>(nRun, 1);
        }
        if (nStrange > 0) Complain(std::to_string(nStrange) + " bytes of " + std::to_string(nSize));
    }

    /// The bytes that begin with a word of the camera and go on as its stream does; 0: none.
    std::size_t ReadRun(const std::string& strCamera, std::string_view data) {
        std::uint64_t nEncoded;
        if (data.size() < sizeof(nEncoded)) return 0;
        std::memcpy(&nEncoded, data.data(), sizeof(nEncoded));
        CWord word = CWord::Decoded(nEncoded);
        if (word.nStream >= MAX_RUNS * MAX_CAMERAS ||
            CameraName(static_cast<unsigned>(word.nStream % MAX_CAMERAS)) != strCamera) {
            return 0;
        }
        const std::uint64_t nBegin = word.Number();
        std::size_t nRun = 0, nSame = sizeof(nEncoded);
        for (; nSame == sizeof(nEncoded) && nRun < data.size(); nRun += nSame) {
            nEncoded = word.Encoded();
            const auto* const pWord = reinterpret_cast<const char*>(&nEncoded);
            const char* const pEnd = pWord + std::min(sizeof(nEncoded), data.size() - nRun);
            nSame = static_cast<std::size_t>(std::mismatch(pWord, pEnd, data.data() + nRun).first -
                                             pWord);
            word.nOffset += nSame / sizeof(nEncoded);
        }
        Add(strCamera, nBegin, word.Number());
        return nRun;
    }

    void Add(const std::string& strCamera, std::uint64_t nBegin, std::uint64_t nEnd) {
        if (nBegin < m_mLast[strCamera]) Complain(strCamera + ": out of order");
        m_mLast[strCamera] = nEnd;
        m_mRuns[nBegin] = nEnd;
    }

    std::map<std::uint64_t, std::uint64_t> m_mRuns;  // of words: first, one behind the last
    std::map<std::string, std::uint64_t> m_mLast;    // of each camera
};

/// The next start finds every recording, deletes none, and brings the index up.
void StartAnew(LocalStorageType eLayout, const std::string& strDir) {
    const std::set<std::string> setBefore = Files(strDir);
    const CTempDir log;
    tagStoreInfo stInfo;
    stInfo.enumStorageType = eLayout;
    AddRecordDir(stInfo, strDir);
    {
        CRecordingHost host(stInfo, log.Path());
        std::set<std::string> setFound;
        if (eLayout == LOCAL_STORAGE_REMOTE_BACKUP) {
            for (unsigned n = 0; n < MAX_CAMERAS; ++n) {
                for (const std::string& strPath : host.Recordings(CameraName(n))) {
                    setFound.insert(strPath);
                }
            }
            if (setFound != setBefore) {
                Complain("the next start finds " + std::to_string(setFound.size()) + " of " +
                         std::to_string(setBefore.size()) + " recordings");
            }
        }
    }
    if (Files(strDir) != setBefore) Complain("the next start deleted recordings");
    const std::string strIndex = strDir + "/RecordFile/index";
    if (eLayout == LOCAL_STORAGE_REMOTE_BACKUP && !setBefore.empty() &&
        (!std::filesystem::exists(strIndex + "01.bin") ||
         std::filesystem::exists(strIndex + ".dirty"))) {
        Complain("the next start left no index");
    }
}

void CheckCut(LocalStorageType eLayout, const std::string& strDir, const char* pNotes,
              const char* pImage) {
    std::ifstream image(pImage);
    std::int64_t nStamp = 0;
    image.seekg(-static_cast<std::streamoff>(sizeof(nStamp)), std::ios::end);
    if (!image.read(reinterpret_cast<char*>(&nStamp), sizeof(nStamp))) {
        return Complain(std::string("cannot read ") + pImage);
    }
    const CNotes& notes = MapNotes(pNotes);
    const std::int64_t nCut = std::max(notes.nBegun, nStamp + STAMP_INTERVAL);
    const CRecordings recordings(Files(strDir));
    std::int64_t nWorst = 0, nSum = 0;
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
    StartAnew(eLayout, strDir);
}

/// Per host: writes; refused ones, those of its last two seconds, messages of them; refused
/// openings; longest write. Then, in seconds of the camera that it hits most: what was accepted and
/// is not there; that and what was refused.
void CheckAll(LocalStorageType eLayout, const std::string& strDir, char** ppNotes) {
    const CRecordings recordings(Files(strDir));
    for (; *ppNotes; ++ppNotes) {
        const CNotes& notes = MapNotes(*ppNotes);
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
    StartAnew(eLayout, strDir);
}

/// Median, 99.9 % and longest in ms; the host's processor time in % of one.
void TellWrites(const char* pNotes, char** ppSpans) {
    const CNotes& notes = MapNotes(pNotes);
    std::vector<std::pair<std::int64_t, std::int64_t>> vSpans;
    for (; *ppSpans; ppSpans += 2) {
        vSpans.emplace_back(Nanoseconds(ppSpans[0]), Nanoseconds(ppSpans[1]));
    }
    std::vector<double> vMilliseconds;
    for (unsigned nCamera = 0; nCamera < notes.nCameras; ++nCamera) {
        for (unsigned n = 0; n < notes.nPieces[nCamera]; ++n) {
            const CPiece& piece = notes.objPieces[nCamera][n];
            const std::int64_t nCalled = piece.nReturned - piece.nMicroseconds * SECOND / 1000000;
            const auto IsDisturbed = [&](const auto& span) {
                return nCalled < span.second && span.first < piece.nReturned;
            };
            if (!std::any_of(vSpans.begin(), vSpans.end(), IsDisturbed)) {
                vMilliseconds.push_back(piece.nMicroseconds / 1e3);
            }
        }
    }
    if (vMilliseconds.empty()) return Complain("nothing was written");
    std::sort(vMilliseconds.begin(), vMilliseconds.end());
    const auto Quantile = [&](double dPart) {
        return vMilliseconds[static_cast<std::size_t>(dPart * double(vMilliseconds.size() - 1))];
    };
    std::cout << Quantile(0.5) << ' ' << Quantile(0.999) << ' ' << Quantile(1) << ' '
              << 100 * Seconds(notes.nProcessor) / Seconds(notes.nEnded - notes.nBegun) << '\n';
}

}  // namespace

int main(int nArguments, char** argv) try {
    const std::string strCommand = nArguments > 2 ? argv[1] : "";
    std::cout << std::fixed << std::setprecision(3);
    if (strCommand == "writes") {
        TellWrites(argv[2], argv + 3);
        return g_bWrong;
    }
    if (nArguments < 5 || (strCommand == "cut" && nArguments < 6)) return 2;
    const LocalStorageType eLayout =
        argv[2] == std::string("client") ? LOCAL_STORAGE_CLIENT : LOCAL_STORAGE_REMOTE_BACKUP;
    if (strCommand == "cut") {
        CheckCut(eLayout, argv[3], argv[4], argv[5]);
    } else {
        CheckAll(eLayout, argv[3], argv + 4);
    }
    return g_bWrong;
} catch (const std::exception& error) {
    std::cerr << "check_recordings: " << error.what() << '\n';
    return 1;
}
