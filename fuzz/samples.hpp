// A whole file of every kind that the command reads, and the calls that read it.
#ifndef TIOMIPRA_FUZZ_SAMPLES_HPP
#define TIOMIPRA_FUZZ_SAMPLES_HPP

#include <string>
#include <vector>

namespace tiomipra::fuzz {

// What stands behind the program's name. "@FILE" stands for what that file holds.
using Call = std::vector<std::string>;

struct Sample {
    std::string file;
    std::vector<Call> calls;
};

// All samples by their names in the working folder.
std::vector<Sample> allSamples();

// Writes them, and what else the calls need, to the working folder. `run` is the command.
void writeSamples(int (*run)(const Call& call));

}  // namespace tiomipra::fuzz

#endif
