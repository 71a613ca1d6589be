// Times each stage of the library in turns with the same work done by OpenCV alone.
//
//   tiomipra_benchmarks FOLDER [--benchmark_...]
//
// FOLDER holds OpenCV's sample photographs. A repetition calls both in turns for a while and counts
// the fastest call of each, which leaves out those that other processes interrupted, and their
// ratio, so that a machine that slows down for a while slows both. Reported are the medians over
// the repetitions. With one thread the time is that thread's processor time, for the same reason.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "measurement.hpp"

namespace {

constexpr int repetitions = 5;

void runInTurns(benchmark::State& state, const Stage& stage, int threads) {
    cv::setNumThreads(threads);
    const clockid_t clock = threads == 1 ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC;
    double own = std::numeric_limits<double>::infinity();
    double reference = own;
    bool isOwnFirst = true;
    for ([[maybe_unused]] auto iteration : state) {
        const double first = measureSeconds(isOwnFirst ? stage.run : stage.runReference, clock);
        const double second = measureSeconds(isOwnFirst ? stage.runReference : stage.run, clock);
        own = std::min(own, isOwnFirst ? first : second);
        reference = std::min(reference, isOwnFirst ? second : first);
        state.SetIterationTime(first + second);
        isOwnFirst = !isOwnFirst;
    }
    state.counters["own_ms"] = own * 1e3;
    state.counters["reference_ms"] = reference * 1e3;
    state.counters["ratio"] = reference / own;
}

std::string format(const cv::Size& size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

struct MeasuredStage {
    Stage stage;
    double ownPeak = 0;  // megabytes
    double referencePeak = 0;
};

// The stages of one size and number of disparities, made when the first of them is run; the last
// ones made are kept, as those of one size are run one after the other.
class Workbench {
  public:
    explicit Workbench(Photographs photographs) : _photographs(std::move(photographs)) {}

    const MeasuredStage& find(const std::string& name, const StageOptions& options) {
        if (options.size != _options.size || options.disparityNumber != _options.disparityNumber ||
            options.windowSize != _options.windowSize) {
            _measured.clear();
            _stages = makeStages(_photographs, options);
            _options = options;
        }
        const auto found = _measured.find(name);
        return found != _measured.end() ? found->second : measure(name);
    }

  private:
    const MeasuredStage& measure(const std::string& name) {
        const auto stage = std::find_if(_stages.begin(), _stages.end(),
                                        [&](const Stage& other) { return other.name == name; });
        cv::setNumThreads(cv::getNumberOfCPUs());
        checkResult(*stage);
        const double ownPeak = measurePeakMegabytes(stage->run);
        const double referencePeak = measurePeakMegabytes(stage->runReference);
        return _measured[name] = MeasuredStage{*stage, ownPeak, referencePeak};
    }

    Photographs _photographs;
    StageOptions _options{};
    std::vector<Stage> _stages;
    std::map<std::string, MeasuredStage> _measured;
};

void registerStage(const std::shared_ptr<Workbench>& workbench, const std::string& stage,
                   const StageOptions& options, int threads) {
    const std::string name = stage + "/" + format(options.size) + "/" +
                             std::to_string(options.disparityNumber) + "/" +
                             std::to_string(options.windowSize) + "/" + std::to_string(threads);
    const auto run = [=](benchmark::State& state) {
        const MeasuredStage& measured = workbench->find(stage, options);
        runInTurns(state, measured.stage, threads);
        state.counters["own_peak_mb"] = measured.ownPeak;
        state.counters["reference_peak_mb"] = measured.referencePeak;
    };
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.1)
        ->Repetitions(repetitions)
        ->ReportAggregatesOnly();
}

void registerAll(const std::string& folder) {
    const auto workbench = std::make_shared<Workbench>(readPhotographs(folder));
    const std::set<int> threadNumbers{1, cv::getNumberOfCPUs()};
    for (const cv::Size size : {cv::Size(320, 240), {640, 480}, {1280, 960}, {1920, 1440}}) {
        for (const char* stage : {"rectification", "disparity BM", "disparity SGBM", "depth",
                                  "depth beside copying", "frame BM", "frame SGBM"}) {
            for (const int threads : threadNumbers)
                registerStage(workbench, stage, {size}, threads);
        }
    }
    // The sums of block matching over windows of more than 25 pixels don't fit 16 bits.
    for (const char* stage : {"disparity BM", "disparity SGBM"}) {
        for (const int disparityNumber : {16, 32, 64, 128, 256})
            registerStage(workbench, stage, {{640, 480}, disparityNumber}, 1);
        for (const int windowSize : {5, 11, 25, 27, 51})
            registerStage(workbench, stage, {{640, 480}, 80, windowSize}, 1);
    }
    for (const int threads : threadNumbers)
        registerStage(workbench, "disparity SGBM fullDP", {{640, 480}}, threads);
}

std::string readProcessorName() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line;
    while (std::getline(cpuinfo, line)) {
        if (line.rfind("model name", 0) == 0)
            return line.substr(line.find(':') + 2);
    }
    return "unknown";
}

// A row of a Markdown table for each benchmark.
class TableReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& context) override {
        std::printf(
            "%s, %d cores; OpenCV %s; medians of %d repetitions, spread = standard "
            "deviation / mean of the ratio\n\n",
            readProcessorName().c_str(), context.cpu_info.num_cpus, CV_VERSION, repetitions);
        std::puts(
            "| Stage | Size | Disparities | Window | Threads | ms | OpenCV ms | OpenCV / own | "
            "Spread | "
            "Peak MB | OpenCV peak MB |\n"
            "|---|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|");
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        const Run* const median = find(runs, "median");
        const Run* const spread = find(runs, "cv");
        if (median == nullptr || spread == nullptr)
            return;
        const auto value = [&](const char* name) { return median->counters.at(name).value; };
        std::string cells = median->run_name.function_name;
        for (std::size_t slash = 0; (slash = cells.find('/')) != std::string::npos;)
            cells.replace(slash, 1, " | ");
        std::printf("| %s | %.3f | %.3f | %.2f | %.1f %% | %.1f | %.1f |\n", cells.c_str(),
                    value("own_ms"), value("reference_ms"), value("ratio"),
                    spread->counters.at("ratio").value * 100, value("own_peak_mb"),
                    value("reference_peak_mb"));
        std::fflush(stdout);
    }

  private:
    static const Run* find(const std::vector<Run>& runs, const std::string& aggregate) {
        for (const Run& run : runs) {
            if (run.aggregate_name == aggregate)
                return &run;
        }
        return nullptr;
    }
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (argc != 2) {
        std::cerr << "usage: tiomipra_benchmarks FOLDER [--benchmark_...]\n";
        return 2;
    }
    try {
        registerAll(argv[1]);
        benchmark::AddCustomContext("processor", readProcessorName());
        benchmark::AddCustomContext("opencv", CV_VERSION);
        TableReporter table;
        benchmark::RunSpecifiedBenchmarks(&table);
    } catch (const std::exception& exception) {
        std::cerr << "tiomipra_benchmarks: " << exception.what() << "\n";
        return 1;
    }
    return 0;
}
