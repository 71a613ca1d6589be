#include "progress.hpp"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "text.hpp"

namespace tiomipra {
namespace {

constexpr std::size_t barWidth = 24;
constexpr std::chrono::milliseconds redrawInterval(100);
constexpr auto clearLine = "\r\x1b[K";

std::string formatCount(std::size_t done, std::size_t total) {
    std::string count = std::to_string(done);
    if (total == 0)
        return count;
    const std::string whole = std::to_string(total);
    return std::string(whole.size() - std::min(whole.size(), count.size()), ' ') + count + "/" +
           whole;
}

}  // namespace

ProgressOutput chooseProgressOutput(bool isOutputReserved, std::size_t total) {
    const bool hasBar = total != 1 && isatty(STDERR_FILENO) != 0;
    const bool areLinesOnTerminal = isOutputReserved || isatty(STDOUT_FILENO) != 0;
    ProgressOutput output;
    if (hasBar)
        output.bar = &std::cerr;
    const bool isLineWanted = total != 1 || !isOutputReserved;
    if (isLineWanted && (!hasBar || !areLinesOnTerminal))
        output.lines = isOutputReserved ? &std::cerr : &std::cout;
    return output;
}

ProgressOutput chooseBar(std::size_t total) {
    ProgressOutput output = chooseProgressOutput(true, total);
    output.lines = nullptr;
    return output;
}

void sayBesideBar(const std::string& line) {
    std::cerr << (isatty(STDERR_FILENO) != 0 ? clearLine : "") << line << std::endl;
}

std::string formatDuration(double seconds) {
    const auto whole = std::llround(seconds);
    if (whole < 60)
        return printed("%lld s", whole);
    if (whole < 3600)
        return printed("%lld min %02lld s", whole / 60, whole % 60);
    return printed("%lld h %02lld min", whole / 3600, whole / 60 % 60);
}

std::string formatBar(std::size_t done, std::size_t total, double perSecond) {
    const std::string rate = perSecond > 0 ? printed("  %.1f/s", perSecond) : "";
    if (total == 0)
        return formatCount(done, total) + rate;
    const std::size_t filled = std::min(barWidth, barWidth * done / total);
    const std::string bar = std::string(filled, '=') + std::string(barWidth - filled, ' ');
    const auto left = static_cast<double>(total - std::min(done, total));
    return "[" + bar + "]  " + formatCount(done, total) + rate +
           (perSecond > 0 ? "  " + formatDuration(left / perSecond) + " left" : "");
}

Progress::Progress(ProgressOutput output, std::size_t total) : _output(output), _total(total) {}

Progress::~Progress() {
    if (_output.bar != nullptr)
        *_output.bar << clearLine << std::flush;
}

void Progress::skip() {
    ++_done;
    ++_skipped;
    drawBar();
}

void Progress::advance(const std::string& what) {
    ++_done;
    if (_output.lines != nullptr) {
        const std::string count = _total == 1 ? "" : "[" + formatCount(_done, _total) + "] ";
        *_output.lines << count << what << std::endl;
    }
    drawBar();
}

void Progress::drawBar() {
    const auto now = Clock::now();
    if (_output.bar == nullptr || now - _lastDrawn < redrawInterval)
        return;
    _lastDrawn = now;
    const double elapsed = std::chrono::duration<double>(now - _start).count();
    const double perSecond = static_cast<double>(_done - _skipped) / std::max(elapsed, 1e-9);
    *_output.bar << clearLine << formatBar(_done, _total, perSecond) << std::flush;
}

}  // namespace tiomipra
