#include "runs/progress.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iostream>

#include "base/text.hpp"

namespace tiomipra {
namespace {

constexpr std::size_t barWidth = 24;
constexpr std::chrono::milliseconds redrawInterval(100);
constexpr auto clearLine = "\r\x1b[K";

// As in " 3/12"; without a total (0) only what is done.
std::string formatCount(std::size_t done, std::size_t total) {
    if (total == 0)
        return fmt::format("{}", done);
    return fmt::format("{:{}}/{}", done, fmt::formatted_size("{}", total), total);
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
    // In one piece, as several threads may say something.
    std::cerr << fmt::format("{}{}\n", isatty(STDERR_FILENO) != 0 ? clearLine : "", printable(line))
              << std::flush;
}

std::string formatDuration(double seconds) {
    const auto whole = std::llround(seconds);
    if (whole < 60)
        return fmt::format("{} s", whole);
    if (whole < 3600)
        return fmt::format("{} min {:02} s", whole / 60, whole % 60);
    return fmt::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
}

std::string formatBar(std::size_t done, std::size_t total, double perSecond) {
    const std::string rate = perSecond > 0 ? fmt::format("  {:.1f}/s", perSecond) : "";
    if (total == 0)
        return formatCount(done, total) + rate;
    const std::string bar(std::min(barWidth, barWidth * done / total), '=');
    const auto left = static_cast<double>(total - std::min(done, total));
    const std::string timeLeft =
        perSecond > 0 ? fmt::format("  {} left", formatDuration(left / perSecond)) : "";
    return fmt::format("[{:{}}]  {}{}{}", bar, barWidth, formatCount(done, total), rate, timeLeft);
}

StatusLine::~StatusLine() {
    if (_terminal != nullptr)
        *_terminal << clearLine << std::flush;
}

bool StatusLine::isDue() const {
    return _terminal != nullptr && Clock::now() - _lastShown >= redrawInterval;
}

void StatusLine::show(const std::string& text) {
    _lastShown = Clock::now();
    if (_terminal != nullptr)
        *_terminal << clearLine << text << std::flush;
}

Progress::Progress(const ProgressOutput& output, std::size_t total)
    : _lines(output.lines), _bar(output.bar), _total(total) {}

void Progress::skip() {
    ++_done;
    ++_skipped;
    drawBar();
}

void Progress::advance(const std::string& what) {
    ++_done;
    if (_lines != nullptr) {
        if (_total != 1)
            *_lines << fmt::format("[{}] ", formatCount(_done, _total));
        *_lines << printable(what) << std::endl;
    }
    drawBar();
}

void Progress::drawBar() {
    if (!_bar.isDue())
        return;
    const double elapsed = std::chrono::duration<double>(Clock::now() - _start).count();
    const double perSecond = static_cast<double>(_done - _skipped) / std::max(elapsed, 1e-9);
    _bar.show(formatBar(_done, _total, perSecond));
}

}  // namespace tiomipra
