// What WriteData adds to the write(2) of the same pieces.

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

#include "EngineBench.h"
#include "Ratio.h"
#include "StreamProbe/StartCode.h"

namespace {

constexpr std::size_t TOTAL = std::size_t{128} << 20;  // bytes of a repetition

const CScratchDir& Scratch() {
    static const CScratchDir s_dir;
    return s_dir;
}

/// Calls `put(pData, nSize)` for every piece of the stream.
template <typename Put>
void ForPieces(const std::string& strStream, std::size_t nPiece, Put put) {
    for (std::size_t i = 0; i < strStream.size(); i += nPiece) {
        put(strStream.data() + i, std::min(nPiece, strStream.size() - i));
    }
}

/// A bare file, removed in the end.
class CBareFile {
public:
    explicit CBareFile(const std::string& strName)
        : m_strPath(Scratch() / strName),
          m_nFile(::open(m_strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
        Demand(m_nFile >= 0, "a bare file cannot be opened");
    }
    ~CBareFile() {
        ::close(m_nFile);
        ::unlink(m_strPath.c_str());
    }
    CBareFile(const CBareFile&) = delete;
    CBareFile& operator=(const CBareFile&) = delete;

    void Write(const char* pData, std::size_t nSize) const {
        Demand(::write(m_nFile, pData, nSize) == static_cast<ssize_t>(nSize), "write(2) failed");
    }

private:
    std::string m_strPath;
    int m_nFile;
};

/// A way to record; with an engine of its own for every repetition.
class CRow {
public:
    CRow(LocalStorageType eType, bool bAnalyze) {
        m_stInfo.enumStorageType = eType;
        m_stInfo.bAnalyze = bAnalyze;
        m_stInfo.nFileSize = 2048;
    }

    /// Seconds of `work(engine)` with these cameras open.
    template <typename Work>
    double Record(const std::vector<std::string>& vCamera, Work work) {
        CBenchEngine engine(Scratch().Path(), m_stInfo);
        for (const std::string& strCamera : vCamera) {
            engine.Open(strCamera);
            engine.Write(strCamera, 1, "", 0);
        }
        const double dSeconds = SecondsOf([&] { work(engine); });
        for (const std::string& strCamera : vCamera) engine.Close(strCamera);
        std::filesystem::remove_all(Scratch() / "disk/RecordFile");
        return dSeconds;
    }

private:
    tagStoreInfo m_stInfo;
};

const std::string CAMERA = "cam_1_0";

double RecordPieces(LocalStorageType eType, bool bAnalyze, const std::string& strStream,
                    std::size_t nPiece) {
    return CRow(eType, bAnalyze).Record({CAMERA}, [&](CBenchEngine& engine) {
        ForPieces(strStream, nPiece,
                  [&](const char* p, std::size_t n) { engine.Write(CAMERA, 0, p, n); });
    });
}

double WritePieces(const std::string& strStream, std::size_t nPiece) {
    const CBareFile file("bare");
    return SecondsOf([&] {
        ForPieces(strStream, nPiece, [&](const char* p, std::size_t n) { file.Write(p, n); });
    });
}

void Scan(const char* pData, std::size_t nSize) {
    const auto* p = reinterpret_cast<const std::uint8_t*>(pData);
    const std::uint8_t* const pEnd = p + nSize;
    while ((p = FindStartCode(p, pEnd)) != pEnd) p += 3;
}

double ScanAndWritePieces(const std::string& strStream, std::size_t nPiece) {
    const CBareFile file("bare");
    return SecondsOf([&] {
        ForPieces(strStream, nPiece, [&](const char* p, std::size_t n) {
            Scan(p, n);
            file.Write(p, n);
        });
    });
}

void AnalysisRow(const std::string& strKind, const std::string& strStream, std::size_t nPiece,
                 double dGoal) {
    Ratio(
        "2", "WriteData with analysis, " + strKind + ", " + SizeName(nPiece) + " pieces",
        "start-code scan, write(2)", AtMost(dGoal),
        [&strStream, nPiece] {
            return RecordPieces(LOCAL_STORAGE_CLIENT, true, strStream, nPiece);
        },
        [&strStream, nPiece] { return ScanAndWritePieces(strStream, nPiece); });
}

// --- Several cameras ---------------------------------------------------------------------------

constexpr std::size_t MANY_PIECE = 65536;

std::vector<std::string> Cameras(int nCount) {
    std::vector<std::string> vCamera;
    for (int i = 0; i < nCount; ++i) vCamera.push_back("cam_" + std::to_string(i) + "_0");
    return vCamera;
}

/// Runs `work(i)` on two threads.
template <typename Work>
void OnTwoThreads(Work work) {
    std::thread other([&] { work(1); });
    work(0);
    other.join();
}

double RecordOnTwoThreads(const std::string& strStream) {
    const auto vCamera = Cameras(2);
    return CRow(LOCAL_STORAGE_REMOTE_BACKUP, false).Record(vCamera, [&](CBenchEngine& engine) {
        OnTwoThreads([&](std::size_t i) {
            ForPieces(strStream, MANY_PIECE,
                      [&](const char* p, std::size_t n) { engine.Write(vCamera[i], 0, p, n); });
        });
    });
}

double WriteOnTwoThreads(const std::string& strStream) {
    const CBareFile aFile[2] = {CBareFile("bare0"), CBareFile("bare1")};
    return SecondsOf([&] {
        OnTwoThreads([&](std::size_t i) {
            ForPieces(strStream, MANY_PIECE,
                      [&](const char* p, std::size_t n) { aFile[i].Write(p, n); });
        });
    });
}

double RecordInTurn(const std::string& strStream) {
    const auto vCamera = Cameras(64);
    return CRow(LOCAL_STORAGE_REMOTE_BACKUP, false).Record(vCamera, [&](CBenchEngine& engine) {
        std::size_t i = 0;
        ForPieces(strStream, MANY_PIECE, [&](const char* p, std::size_t n) {
            engine.Write(vCamera[i++ % vCamera.size()], 0, p, n);
        });
    });
}

double WriteInTurn(const std::string& strStream) {
    std::vector<std::unique_ptr<CBareFile>> vFile;
    for (int i = 0; i < 64; ++i) {
        vFile.push_back(std::make_unique<CBareFile>("bare" + std::to_string(i)));
    }
    return SecondsOf([&] {
        std::size_t i = 0;
        ForPieces(strStream, MANY_PIECE,
                  [&](const char* p, std::size_t n) { vFile[i++ % vFile.size()]->Write(p, n); });
    });
}

/// Every host has threads, and system calls take longer where a process has more than one.
void HaveAnotherThread() {
    std::thread([] { ::pause(); }).detach();
}

}  // namespace

int main(int argc, char** argv) {
    HaveAnotherThread();
    static const std::string s_strStream = ReadStream("bench.h264", TOTAL);
    const struct {
        std::size_t nPiece;
        double dPlain, dAnalysed;
    } GOALS[] = {{65536, 1.05, 1.15}, {4096, 1.10, 1.20}, {1400, 1.15, 0}};
    for (const auto eType : {LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT}) {
        for (const auto& stGoal : GOALS) {
            Ratio(
                "1",
                std::string("WriteData, ") + SizeName(stGoal.nPiece) + " pieces, " +
                    (eType == LOCAL_STORAGE_CLIENT ? "client" : "backup") + " layout",
                "write(2)", AtMost(stGoal.dPlain),
                [=] { return RecordPieces(eType, false, s_strStream, stGoal.nPiece); },
                [=] { return WritePieces(s_strStream, stGoal.nPiece); });
        }
    }
    // A recording leaves out the packet in front of the first key frame. With it, nothing that we
    // write would lie on whole pages, but all that the baseline does.
    static const std::string s_strTransport = ReadStream("bench.ts", TOTAL).substr(188);
    for (const auto& stGoal : {GOALS[0], GOALS[1]}) {
        AnalysisRow("H.264", s_strStream, stGoal.nPiece, stGoal.dAnalysed);
        AnalysisRow("transport stream", s_strTransport, stGoal.nPiece, 1.2);
    }
    Ratio(
        "5", "WriteData on 2 threads, 2 cameras, 64 KiB pieces", "write(2)", AtLeast(0.95),
        [] { return RecordOnTwoThreads(s_strStream); },
        [] { return WriteOnTwoThreads(s_strStream); }, MANY_ROUNDS);
    Ratio(
        "5", "WriteData, 64 cameras in turn, 64 KiB pieces", "write(2)", AtLeast(0.95),
        [] { return RecordInTurn(s_strStream); }, [] { return WriteInTurn(s_strStream); },
        MANY_ROUNDS);
    return RunRatios(argc, argv);
}
