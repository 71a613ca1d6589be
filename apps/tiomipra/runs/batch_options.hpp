// How a batch runs.
#ifndef TIOMIPRA_RUNS_BATCH_OPTIONS_HPP
#define TIOMIPRA_RUNS_BATCH_OPTIONS_HPP

#include <string>

namespace tiomipra {

struct BatchOptions {
    std::string output;
    unsigned jobs = 0;  // 0: as many as there are processors
    bool resume = false;
    bool json = false;
    bool isSynced = true;  // a pair is done when its files are on the disk
};

}  // namespace tiomipra

#endif
