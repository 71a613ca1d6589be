// What was logged, as text that a test can compare.
#ifndef TIOMIPRA_TESTS_LOG_CAPTURE_HPP
#define TIOMIPRA_TESTS_LOG_CAPTURE_HPP

#include <gmock/gmock.h>

#include <string>
#include <tevo/log.hpp>
#include <vector>

namespace tiomipra::test {

// Keeps all messages that are logged while it exists, then restores the default output and level.
class LogCapture {
  public:
    explicit LogCapture(tevo::LogLevel level = tevo::LogLevel::verbose);
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture();

    // The lines since the last call, as in
    // "error vision.stereo setWindowSize: Invalid window size (4)."
    std::vector<std::string> takeLines();

  private:
    std::vector<std::string> _lines;
};

// Matches a function object that throws exactly `Exception`, with the text `text`.
template <typename Exception>
auto Refuses(const std::string& text) {
    return testing::Throws<Exception>(
        testing::Property("what()", &Exception::what, testing::StrEq(text)));
}

}  // namespace tiomipra::test

#endif
