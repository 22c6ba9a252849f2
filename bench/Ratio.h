// A row of the benchmark table: our cost against a baseline's, measured in the same run.
//
//     int main(int argc, char** argv) {
//         Ratio("11a", "WriteLog, burst, 1 thread", "spdlog async", AtMost(0.25), Ours, Theirs);
//         return RunRatios(argc, argv);
//     }
//
// Both functions do one repetition of the same work and return what it cost: seconds (or bytes, or
// whatever grows when it gets worse), without their preparation. They take turns, so that whatever
// else the machine does hits both; what counts is the median of each. After Google Benchmark's own
// report each row prints one line on standard output:
//
//     ROW <number> | <what> | <baseline> | <ratio> | <goal>

#ifndef LOCALSTORAGE_BENCH_RATIO_H
#define LOCALSTORAGE_BENCH_RATIO_H

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

/// What a row's ratio is, and what it should be.
struct RatioGoal {
    double dLimit;
    bool bSpeed;  ///< false: our cost over theirs, at most; true: our speed over theirs, at least
};
inline RatioGoal AtMost(double dLimit) {
    return {dLimit, false};
}
inline RatioGoal AtLeast(double dLimit) {
    return {dLimit, true};
}

/// One repetition; returns its cost.
using RatioRun = std::function<double()>;

/// Repetitions of each; and of those in which the kernel's own threads take a processor every
/// second or third time.
constexpr int ROUNDS = 7, MANY_ROUNDS = 21;

/// Seconds that `run` takes.
template <typename Run>
double SecondsOf(Run run) {
    const auto tStart = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
}

inline double Median(std::vector<double> vValue) {
    std::sort(vValue.begin(), vValue.end());
    const std::size_t nMiddle = vValue.size() / 2;
    if (vValue.size() % 2 == 1) return vValue[nMiddle];
    return (vValue[nMiddle - 1] + vValue[nMiddle]) / 2;
}

/// The lines of the rows that ran, in order.
inline std::vector<std::string>& RatioLines() {
    static std::vector<std::string> s_vecLine;
    return s_vecLine;
}

/// Registers a row.
inline void Ratio(const std::string& strNumber, const std::string& strWhat,
                  const std::string& strBaseline, RatioGoal stGoal, RatioRun ours,
                  RatioRun baseline, int nRepetitions = ROUNDS) {
    const auto Run = [=](benchmark::State& state) {
        std::vector<double> vOurs, vBaseline;
        for (auto _ : state) {
            const bool bOursFirst = vOurs.size() % 2 == 0;
            if (bOursFirst) vOurs.push_back(ours());
            vBaseline.push_back(baseline());
            if (!bOursFirst) vOurs.push_back(ours());
            state.SetIterationTime(vOurs.back());
        }
        const double dOurs = Median(vOurs), dBaseline = Median(vBaseline);
        const double dRatio = stGoal.bSpeed ? dBaseline / dOurs : dOurs / dBaseline;
        state.counters["ours"] = dOurs;
        state.counters["baseline"] = dBaseline;
        state.counters["ratio"] = dRatio;
        char szEnd[64];
        std::snprintf(szEnd, sizeof(szEnd), "%.3f | %s %g", dRatio,
                      stGoal.bSpeed ? ">=" : "<=", stGoal.dLimit);
        RatioLines().push_back("ROW " + strNumber + " | " + strWhat + " | " + strBaseline + " | " +
                               szEnd);
    };
    benchmark::RegisterBenchmark((strNumber + " " + strWhat).c_str(), Run)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(nRepetitions);
}

/// Runs the rows that --benchmark_filter leaves and prints their lines; the result of main.
inline int RunRatios(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    for (const std::string& strLine : RatioLines()) std::printf("%s\n", strLine.c_str());
    return 0;
}

#endif  // LOCALSTORAGE_BENCH_RATIO_H
