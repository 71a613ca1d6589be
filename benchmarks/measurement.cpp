#include "measurement.hpp"

#include <malloc.h>

#include <cstring>
#include <fstream>
#include <stdexcept>

namespace {

double readSeconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// A value in kB out of /proc/self/status.
double readStatus(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    double value = 0;
    while (status >> word) {
        if (word == name + ":" && status >> value)
            return value;
    }
    throw std::runtime_error("/proc/self/status has no " + name);
}

void resetPeak() {
    std::ofstream file("/proc/self/clear_refs");
    file << "5" << std::flush;
    if (!file)
        throw std::runtime_error("/proc/self/clear_refs can't be written");
}

bool areSame(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && a.isContinuous() && b.isContinuous() &&
           std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

}  // namespace

double measureSeconds(const std::function<Images()>& run, clockid_t clock) {
    const double start = readSeconds(clock);
    const Images images = run();  // cppcheck-suppress unreadVariable; freed after the clock is read
    return readSeconds(clock) - start;
}

double measurePeakMegabytes(const std::function<Images()>& run) {
    malloc_trim(0);
    resetPeak();
    const double before = readStatus("VmRSS");
    run();
    return (readStatus("VmHWM") - before) * 1024 / 1e6;
}

void checkResult(const Stage& stage) {
    const Images own = stage.run();
    const Images reference = stage.runReference();
    for (std::size_t image = 0; image < own.size(); ++image) {
        if (stage.givesSameImages && !areSame(own[image], reference[image]))
            throw std::runtime_error(stage.name + " differs from what OpenCV gives");
    }
}
