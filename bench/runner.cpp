#include "runner.h"

#include <benchmark/benchmark.h>
#include <sched.h>

#include <cerrno>
#include <ctime>
#include <system_error>

#include "silence.h"

namespace brairu::bench {
namespace {

// Collects what Google Benchmark would print.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                const bool byHand = !run.run_name.time_type.empty();
                times_[run.run_name.function_name].push_back(byHand ? run.GetAdjustedRealTime()
                                                                    : run.GetAdjustedCPUTime());
            }
        }
    }

    const Times& times() const { return times_; }

private:
    Times times_;
};

double secondsOf(Clock clock) {
    timespec time{};
    ::clock_gettime(clock == Clock::cpu ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void runOften(const Measurement& measurement, benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        measurement.once();
    }
}

void runByHand(const Measurement& measurement, benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        if (measurement.before) {
            measurement.before();
        }
        const double start = secondsOf(measurement.clock);
        measurement.once();
        state.SetIterationTime(secondsOf(measurement.clock) - start);
    }
}

void registerMeasurement(const Measurement& measurement) {
    // Making ready can cost many times what is timed.
    constexpr int kRunsByHand = 5;
    // A disk takes its time unevenly.
    constexpr int kRepetitionsOnTheWall = 33;
    const bool byHand = measurement.before || measurement.clock != Clock::cpu;
    auto* const registered = benchmark::RegisterBenchmark(
        measurement.name.c_str(), [measurement, run = byHand ? runByHand : runOften](
                                      benchmark::State& state) { run(measurement, state); });
    if (byHand) {
        registered->UseManualTime()->Iterations(kRunsByHand);
    }
    if (measurement.clock == Clock::wall) {
        registered->Repetitions(kRepetitionsOnTheWall);
    }
}

void initialize(const std::vector<std::string>& options) {
    std::vector<std::string> words{"brairu-bench", "--benchmark_repetitions=11",
                                   "--benchmark_min_time=0.1",
                                   "--benchmark_enable_random_interleaving=true"};
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    auto count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
}

}  // namespace

int pinToOneCore() {
    cpu_set_t cores;
    if (::sched_getaffinity(0, sizeof cores, &cores) != 0) {
        throw std::system_error(errno, std::generic_category(), "sched_getaffinity");
    }
    int core = CPU_SETSIZE - 1;
    while (core > 0 && !CPU_ISSET(core, &cores)) {
        --core;
    }
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    if (::sched_setaffinity(0, sizeof cores, &cores) != 0) {
        throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
    }
    return core;
}

Times timeAll(const Suite& suite, const std::vector<std::string>& options) {
    initialize(options);
    for (const Measurement& measurement : suite.measurements) {
        if (measurement.once) {
            registerMeasurement(measurement);
        }
    }
    Collector collector;
    {
        const Silence silence;
        benchmark::RunSpecifiedBenchmarks(&collector);
    }
    return collector.times();
}

}  // namespace brairu::bench
