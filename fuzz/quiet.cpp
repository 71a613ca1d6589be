// What both fuzzers start with: everything is formatted, nothing is printed.
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>
#include <tevo/log.hpp>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
    cv::setNumThreads(1);
    tevo::log::setSink([](const tevo::log::Record&) {});
    tevo::log::setLevel(tevo::LogLevel::debug);
    return 0;
}
